// `corvix-cli preview`: what a conversion would do, record by record. The conversion itself runs, over a file
// system that keeps every change in memory, so that the answer is exact and nothing is written.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddPreview(CLI::App& app, Work& work);

}  // namespace corvix::cli
