// `corvix-cli restore`: puts a copy of FOLVANE.MDB back in its place.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddRestore(CLI::App& app, Work& work);

}  // namespace corvix::cli
