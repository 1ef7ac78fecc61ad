#include "cli/safe_copy.h"

#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/database_file.h"
#include "cli/whole_copy.h"
#include "common/error.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/lock_file.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;
using common::Error;
using core::Access;
using storage::File;
using storage::FileSystem;

constexpr std::string_view kReplaced = "-replaced";

/// The path with its directory, also where that is the current one.
fs::path WithDirectory(const fs::path& path) { return path.has_parent_path() ? path : fs::path(".") / path; }

/// NAME-STAMP.EXT beside the database; with a number behind it where that name is taken.
fs::path DatedName(FileSystem& files, const fs::path& database, std::string_view middle,
                   std::string_view stamp) {
  for (int number = 1;; ++number) {
    fs::path name = database.parent_path() / fmt::format("{}{}-{}{}{}", database.stem().string(), middle,
                                                         stamp, number > 1 ? fmt::format("-{}", number) : "",
                                                         database.extension().string());
    if (!files.IsTaken(name) && !files.IsTaken(TemporaryName(name))) return name;
  }
}

/// True for the temporary name of a dated copy of the database, whatever its date.
bool IsTemporaryOf(const fs::path& database, std::string_view name) {
  const std::string begin = database.stem().string();
  const std::string end = TemporaryName(database.extension()).string();
  if (!name.starts_with(begin) || !name.ends_with(end) || name.size() < begin.size() + end.size())
    return false;
  name = name.substr(begin.size(), name.size() - begin.size() - end.size());
  if (name.starts_with(kReplaced)) name.remove_prefix(kReplaced.size());
  return name.starts_with('-') && name.find_first_not_of("-0123456789") == std::string_view::npos;
}

/// Removes what copies of the database left that were killed; not in a directory that may not be listed.
void ClearUnfinished(FileSystem& files, const fs::path& database) {
  const fs::path directory = database.parent_path();
  std::vector<std::string> names;
  try {
    names = files.List(directory);
  } catch (const Error& error) {
    if (error.number() != common::kPermissionDenied) throw;
  }
  for (const std::string& name : names) {
    if (IsTemporaryOf(database, name)) RemoveUnfinished(files, directory / name);
  }
}

/// Opens a database for reading and checks it all; it stays locked against writers as long as the pager
/// lives. Error 3343 or 3049 unless it is sound; `what` is what the message calls it.
std::unique_ptr<jet::Pager> OpenSound(FileSystem& files, const fs::path& path, std::string_view what) {
  auto pager = OpenForReading(files, path);
  ReadHeader(*pager);
  const jet::CheckReport report = jet::CheckDatabase(*pager, {.max_findings = 1});
  if (report.IsClean()) return pager;
  const jet::Finding& first = report.problems.front();
  throw Error(
      common::kDamagedDatabase,
      fmt::format("The {} is no sound database: page {}: {}{}; see what the command check says of it", what,
                  first.page, first.text,
                  report.problems_left_out > 0 ? fmt::format(", and {} more", report.problems_left_out) : ""),
      path.string());
}

void RequireComps(jet::Pager& copy) {
  if (jet::Catalog(copy).FindTable("COMPS") != nullptr) return;
  throw Error(common::kObjectNotFound, "The copy has no table COMPS; choose a copy of FOLVANE.MDB",
              copy.path().string());
}

/// The database, locked for writing, as its last checkpoint: a journal of its own is rolled back first, so
/// that none is left that could take back what comes in its place. One that is not of this file stays.
std::unique_ptr<File> OpenRolledBack(FileSystem& files, const fs::path& database) {
  try {
    auto opened =
        jet::OpenJournaled(files, database, jet::OpenLocked(files, database, Access::ReadWrite), false);
    if (opened.recovery) SayRecovery(*opened.recovery);
    return std::move(opened.file);
  } catch (const Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    return jet::OpenLocked(files, database, Access::ReadWrite);
  }
}

/// Keeps the database that is about to be replaced, and with it a journal that is not of its state.
fs::path KeepReplaced(FileSystem& files, const fs::path& database, File& locked, std::string_view stamp) {
  const fs::path kept = DatedName(files, database, kReplaced, stamp);
  WholeCopy(files, locked, kept, {.rights = database, .times = database}).Publish();
  const fs::path journal = jet::JournalPath(files, database);
  if (files.Exists(journal)) {
    files.Rename(journal, jet::JournalPath(files, kept));
    files.SyncDirectory(database.parent_path());
  }
  return kept;
}

}  // namespace

std::string TimeStamp() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  return fmt::format("{:%Y%m%d-%H%M%S}", fmt::localtime(now));
}

fs::path BackUp(FileSystem& files, const fs::path& database, std::string_view stamp) {
  const fs::path real = WithDirectory(files.Resolve(database));
  const auto checked = OpenSound(files, real, "database");
  ClearUnfinished(files, real);
  fs::path copy = DatedName(files, real, "", stamp);
  WholeCopy(files, checked->file(), copy, {.rights = real, .times = real}).Publish();
  return copy;
}

Restored Restore(FileSystem& files, const fs::path& copy, const fs::path& database, std::string_view stamp) {
  const fs::path real = WithDirectory(files.Resolve(database));
  if (!files.IsDirectory(real.parent_path())) {
    throw Error(common::kPathNotFound, "There is no such directory; check the path",
                real.parent_path().string());
  }
  const bool is_there = files.Exists(real);
  if (is_there && files.Identity(copy) == files.Identity(real)) {
    throw Error(common::kInvalidCall, "The copy and the database are one file; choose another copy",
                copy.string());
  }
  const auto checked = OpenSound(files, copy, "copy");
  RequireComps(*checked);
  if (is_there && !files.IsWritable(real)) {
    throw Error(common::kFileInUse, "The database is read-only; allow writing to the file and try again",
                real.string());
  }
  ClearUnfinished(files, real);
  RemoveUnfinished(files, TemporaryName(real));
  WholeCopy fresh(files, checked->file(), real, {.rights = is_there ? real : copy, .times = copy});

  // No step from here on leaves a journal beside the restored file, wherever it is broken off.
  Restored restored{.database = real, .replaced = std::nullopt};
  std::unique_ptr<File> replaced;
  if (is_there) {
    replaced = OpenRolledBack(files, real);
    restored.replaced = KeepReplaced(files, real, *replaced, stamp);
  } else {
    jet::RemoveJournal(files, real);
  }
  fresh.Publish();
  return restored;
}

}  // namespace corvix::cli
