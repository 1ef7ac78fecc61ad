#include "cli/dump_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/data_path.h"
#include "cli/database_file.h"
#include "cli/output.h"
#include "common/error.h"
#include "core/json_form.h"
#include "storage/base/posix_file.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "storage/jet/jet_database.h"

namespace corvix::cli {
namespace {

struct DumpOptions {
  std::string path;   ///< a database, a directory of FoxPro tables, or one of its tables
  std::string table;  ///< may be empty where the path names one table
};

/// The record set to dump; `database` keeps what it stands on.
std::unique_ptr<core::RecordSet> OpenRecords(storage::FileSystem& files, const DumpOptions& options,
                                             std::shared_ptr<core::Database>& database) {
  const std::filesystem::path path(options.path);
  if (files.IsDirectory(path)) {
    if (options.table.empty()) {
      throw common::Error(common::kInvalidCall, "Name the table of the directory that is to be dumped",
                          options.path);
    }
    return foxpro::OpenFoxProTable(files, path, options.table);
  }
  if (FindData(files, path).front().kind == DataKind::FoxProTable) {
    return foxpro::OpenFoxProTable(files, path.parent_path(), path.filename().string());
  }
  database = jet::OpenJetDatabase(files, path, core::Access::ReadOnly, {.recovered = SayRecovery});
  if (options.table.empty()) {
    throw common::Error(common::kInvalidCall,
                        "Name the table of the database that is to be dumped; the command inspect lists them",
                        options.path);
  }
  return database->OpenTable(options.table);
}

ExitCode Dump(const DumpOptions& options) {
  storage::PosixFileSystem files;
  std::shared_ptr<core::Database> database;
  try {
    const auto records = OpenRecords(files, options, database);
    for (; !records->PastEnd(); records->MoveNext()) Print(core::RowAsJson(*records) + '\n');
  } catch (const common::Error& error) {
    SayError(error);
    return ExitCode::Failed;
  }
  return ExitCode::Done;
}

}  // namespace

void AddDump(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("dump", "Print the rows of a table, a JSON object a line");
  const auto options = std::make_shared<DumpOptions>();
  command.add_option("PATH", options->path, "A database, a directory of tables, or a table file")->required();
  command.add_option("TABLE", options->table, "The table, where PATH does not name one");
  command.footer(
      "Examples:\n"
      "  corvix-cli dump new/data/FOLVANE.MDB COMPS\n"
      "  corvix-cli dump old/data CENTRAL | head -1");
  command.callback([options, &work] { work = [options] { return Dump(*options); }; });
}

}  // namespace corvix::cli
