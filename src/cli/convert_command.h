// `corvix-cli convert`: the main job on a directory of source tables and the directory of FOLVANE.MDB, or on
// many of them.
#pragma once

#include "cli/command.h"

namespace corvix::cli {

void AddConvert(CLI::App& app, Work& work);

}  // namespace corvix::cli
