#include "cli/inspect_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/data_path.h"
#include "cli/inspect_database.h"
#include "cli/inspect_table.h"
#include "cli/output.h"
#include "common/error.h"
#include "storage/base/posix_file.h"

namespace corvix::cli {
namespace {

struct InspectOptions {
  std::string path;
  bool json = false;
};

ExitCode Inspect(const InspectOptions& options) {
  storage::PosixFileSystem files;
  ExitCode code = ExitCode::Done;
  try {
    for (const DataFile& file : FindData(files, options.path)) {
      try {
        Print(file.kind == DataKind::Database ? DescribeDatabase(files, file.path, options.json)
                                              : DescribeTable(files, file.path, options.json));
      } catch (const common::Error& error) {  // the others can be told all the same
        SayError(error);
        code = ExitCode::Failed;
      }
    }
  } catch (const common::Error& error) {
    SayError(error);
    return ExitCode::Failed;
  }
  return code;
}

}  // namespace

void AddInspect(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("inspect", "Tell what tables and databases are made of");
  const auto options = std::make_shared<InspectOptions>();
  command.add_option("PATH", options->path, "A database, a table file, or a directory of them")->required();
  command.add_flag("--json", options->json, "Print one JSON object a line: a table, or a relationship");
  command.footer(
      "Examples:\n"
      "  corvix-cli inspect old/data\n"
      "  corvix-cli inspect new/data/FOLVANE.MDB --json");
  command.callback([options, &work] { work = [options] { return Inspect(*options); }; });
}

}  // namespace corvix::cli
