// `corvix-cli inspect`: what a table or database is made of: fields, types, sizes, records, indexes.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddInspect(CLI::App& app, Work& work);

}  // namespace corvix::cli
