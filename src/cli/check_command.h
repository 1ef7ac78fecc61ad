// `corvix-cli check`: every structural rule of the formats, one line a problem.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddCheck(CLI::App& app, Work& work);

}  // namespace corvix::cli
