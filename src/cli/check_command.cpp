#include "cli/check_command.h"

#include <fmt/format.h>

#include "cli/data_path.h"
#include "common/error.h"
#include "storage/base/posix_file.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/jet/jet_check.h"
#include "storage/jet/pager.h"

namespace corvix::cli {
namespace {

jet::CheckReport CheckPages(storage::FileSystem& files, const std::filesystem::path& path) {
  auto file = files.Open(path, storage::OpenMode::Read);
  if (!file->TryLock(storage::LockKind::Shared, 0, 0)) {
    throw common::Error(common::kFileInUse,
                        "The database is being written by another program; close it there and try again",
                        path.string());
  }
  jet::Pager pager(std::move(file), path, {.read_only = true});
  return jet::CheckDatabase(pager);
}

// Both return the number of problems that were printed or counted.

std::size_t CheckDatabaseFile(storage::FileSystem& files, const std::filesystem::path& path, bool notes) {
  const jet::CheckReport report = CheckPages(files, path);
  const auto print = [&](const char* kind, const std::vector<jet::Finding>& findings, std::size_t left_out) {
    for (const jet::Finding& finding : findings) {
      fmt::print("{}: {}: page {}: {}\n", path.string(), kind, finding.page, finding.text);
    }
    if (left_out > 0) fmt::print("{}: {}: {} more\n", path.string(), kind, left_out);
  };
  print("problem", report.problems, report.problems_left_out);
  if (notes) print("note", report.notes, report.notes_left_out);
  const std::size_t problems = report.problems.size() + report.problems_left_out;
  fmt::print("{}: {} pages, {} tables, {} rows, {} indexes, {} index entries: {}\n", path.string(),
             report.pages, report.tables, report.rows, report.indexes, report.index_entries,
             problems == 0 ? "no problem" : fmt::format("{} problems", problems));
  return problems;
}

std::size_t CheckTableFile(storage::FileSystem& files, const std::filesystem::path& path, bool notes) {
  using Severity = foxpro::Finding::Severity;
  const foxpro::TableReport report = foxpro::CheckTable(files, path.parent_path(), path.filename().string());
  std::size_t problems = 0;
  for (const foxpro::Finding& finding : report.findings) {
    const bool is_problem = finding.severity == Severity::Problem;
    if (is_problem) ++problems;
    if (is_problem || notes) {
      fmt::print("{}: {}: {}: {}\n", path.string(), is_problem ? "problem" : "note", finding.place,
                 finding.text);
    }
  }
  fmt::print("{}: {} records, {} deleted, {} tags: {}\n", path.string(), report.facts.records,
             report.facts.deleted, report.facts.tags.size(),
             problems == 0 ? "no problem" : fmt::format("{} problems", problems));
  return problems;
}

}  // namespace

ExitCode Check(const CheckOptions& options) {
  storage::PosixFileSystem files;
  bool sound = true;
  for (const std::string& path : options.paths) {
    try {
      for (const DataFile& file : FindData(files, path)) {
        const std::size_t problems = file.kind == DataKind::Database
                                         ? CheckDatabaseFile(files, file.path, options.notes)
                                         : CheckTableFile(files, file.path, options.notes);
        sound = sound && problems == 0;
      }
    } catch (const common::Error& error) {
      fmt::print(stderr, "corvix-cli: error {}: {}.\n", error.number(), error.what());
      sound = false;
    }
  }
  return sound ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace corvix::cli
