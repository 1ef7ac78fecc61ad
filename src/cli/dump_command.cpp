#include "cli/dump_command.h"

#include <cstdio>
#include <fmt/format.h>
#include <memory>

#include "cli/data_path.h"
#include "common/error.h"
#include "core/json_form.h"
#include "storage/base/posix_file.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "storage/jet/jet_database.h"

namespace corvix::cli {
namespace {

/// The record set to dump; `database` keeps what it stands on.
std::unique_ptr<core::RecordSet> OpenRecords(storage::FileSystem& files, const DumpOptions& options,
                                             std::shared_ptr<core::Database>& database) {
  const std::filesystem::path path(options.path);
  if (files.IsDirectory(path)) return foxpro::OpenFoxProTable(files, path, options.table);
  if (FindData(files, path).front().kind == DataKind::FoxProTable) {
    return foxpro::OpenFoxProTable(files, path.parent_path(), path.filename().string());
  }
  database = jet::OpenJetDatabase(files, path, core::Access::ReadOnly);
  return database->OpenTable(options.table);
}

}  // namespace

ExitCode Dump(const DumpOptions& options) {
  storage::PosixFileSystem files;
  std::shared_ptr<core::Database> database;
  try {
    const auto records = OpenRecords(files, options, database);
    for (; !records->PastEnd(); records->MoveNext()) {
      std::string line = core::RowAsJson(*records);
      line += '\n';
      if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) return ExitCode::Failed;
    }
  } catch (const common::Error& error) {
    std::fflush(stdout);
    fmt::print(stderr, "corvix-cli: error {}: {}.\n", error.number(), error.what());
    return ExitCode::Failed;
  }
  return ExitCode::Done;
}

}  // namespace corvix::cli
