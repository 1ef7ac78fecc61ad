// `corvix-cli convert`: the main job on a directory of source tables and the directory of FOLVANE.MDB.
#pragma once

#include <cstdint>
#include <string>

#include "cli/exit_code.h"

namespace corvix::cli {

struct ConvertOptions {
  std::string source;           ///< host directory of CENTRAL, COMPS and PHOTO
  std::string target;           ///< host directory of FOLVANE.MDB
  std::int16_t duplicates = 0;  ///< run::kUseSource ...
  bool photos = true;
  bool yes = false;
  bool json = false;
};

ExitCode Convert(const ConvertOptions& options);

}  // namespace corvix::cli
