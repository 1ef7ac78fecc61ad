// `corvix-cli dump`: the rows of one table, a JSON object a line, in table order.
#pragma once

#include <string>

#include "cli/exit_code.h"

namespace corvix::cli {

struct DumpOptions {
  std::string path;   ///< a database, a directory of FoxPro tables, or one of its tables
  std::string table;  ///< may be empty where the path names one table
};

ExitCode Dump(const DumpOptions& options);

}  // namespace corvix::cli
