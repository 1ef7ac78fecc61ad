// `corvix-cli dump`: the rows of one table, a JSON object a line, in table order.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddDump(CLI::App& app, Work& work);

}  // namespace corvix::cli
