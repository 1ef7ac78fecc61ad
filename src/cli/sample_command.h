// `corvix-cli sample`: an invented office to try things on.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddSample(CLI::App& app, Work& work);

}  // namespace corvix::cli
