// `corvix-cli check`: every structural rule of the formats, one line a problem.
#pragma once

#include <string>
#include <vector>

#include "cli/exit_code.h"

namespace corvix::cli {

struct CheckOptions {
  std::vector<std::string> paths;  ///< databases, tables, or directories of them
  bool notes = false;              ///< also print what is worth knowing and no fault
};

/// Failed when there was any problem, or a file could not be read.
ExitCode Check(const CheckOptions& options);

}  // namespace corvix::cli
