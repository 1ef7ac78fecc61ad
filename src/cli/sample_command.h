// `corvix-cli sample`: an invented office to try things on.
#pragma once

#include <string>

#include "cli/exit_code.h"
#include "sample/office.h"

namespace corvix::cli {

struct SampleOptions {
  std::string directory;  ///< made when it does not exist
  sample::OfficeOptions office;
};

ExitCode Sample(const SampleOptions& options);

}  // namespace corvix::cli
