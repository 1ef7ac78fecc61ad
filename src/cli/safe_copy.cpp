#include "cli/safe_copy.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <utility>
#include <vector>

#include "cli/database_file.h"
#include "common/error.h"
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
using storage::OpenMode;

constexpr std::size_t kBlock = std::size_t{1} << 20;

fs::path DirectoryOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// NAME-STAMP.EXT beside the database; with a number behind it where that name is taken.
fs::path DatedName(FileSystem& files, const fs::path& database, std::string_view middle,
                   std::string_view stamp) {
  for (int number = 1;; ++number) {
    fs::path name = database.parent_path() / fmt::format("{}{}-{}{}{}", database.stem().string(), middle,
                                                         stamp, number > 1 ? fmt::format("-{}", number) : "",
                                                         database.extension().string());
    if (!files.Exists(name)) return name;
  }
}

/// Removes a file that was not finished; that it stays is no reason to fail anew.
class Unfinished {
 public:
  Unfinished(FileSystem& files, fs::path path) : files_(files), path_(std::move(path)) {}
  ~Unfinished() {
    if (path_.empty()) return;
    try {
      if (files_.Exists(path_)) files_.Remove(path_);
    } catch (...) {  // it bears a temporary name, and nothing reads it
      return;
    }
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  const fs::path& path() const { return path_; }
  void Keep() { path_.clear(); }

 private:
  FileSystem& files_;
  fs::path path_;
};

void CopyBytes(File& from, File& to) {
  std::vector<std::byte> block(kBlock);
  for (std::uint64_t offset = 0;;) {
    const std::size_t count = from.ReadAt(offset, block);
    if (count == 0) return;
    to.WriteAt(offset, std::span(block).first(count));
    offset += count;
  }
}

bool IsEqual(File& one, File& other) {
  if (one.Size() != other.Size()) return false;
  std::vector<std::byte> block(kBlock), second(kBlock);
  for (std::uint64_t offset = 0;;) {
    const std::size_t count = one.ReadAt(offset, block);
    if (other.ReadAt(offset, second) != count) return false;
    if (count == 0) return true;
    if (!std::ranges::equal(std::span(block).first(count), std::span(second).first(count))) return false;
    offset += count;
  }
}

/// A durable copy of `from` at `path`, which may be replaced.
void WriteCopy(FileSystem& files, File& from, const fs::path& path) {
  const std::uint64_t free = files.FreeSpace(DirectoryOf(path));
  if (free < from.Size()) {
    throw Error(common::kDiskFull,
                fmt::format("The copy needs {} bytes, the disk has {} free; make room and try again",
                            from.Size(), free),
                path.string());
  }
  auto to = files.Open(path, OpenMode::Create);
  CopyBytes(from, *to);
  to->Sync();
  if (!IsEqual(from, *to)) {
    throw Error(common::kDeviceIo, "The copy differs from the database; the disk may be failing",
                path.string());
  }
}

void CopyTo(FileSystem& files, File& from, const fs::path& path) {
  Unfinished unfinished(files, path.string() + ".part");
  WriteCopy(files, from, unfinished.path());
  files.Rename(unfinished.path(), path);
  unfinished.Keep();
  files.SyncDirectory(DirectoryOf(path));
}

/// Error 3343 or 3049 unless the file is a sound database.
void RequireSound(FileSystem& files, const fs::path& copy) {
  const auto pager = OpenForReading(files, copy);
  ReadHeader(*pager);
  const jet::CheckReport report = jet::CheckDatabase(*pager, {.max_findings = 1});
  if (report.IsClean()) return;
  const jet::Finding& first = report.problems.front();
  throw Error(
      common::kDamagedDatabase,
      fmt::format("The copy is no sound database: page {}: {}{}; see what the command check says of it",
                  first.page, first.text,
                  report.problems_left_out > 0 ? fmt::format(", and {} more", report.problems_left_out) : ""),
      copy.string());
}

/// Keeps the database that is about to be replaced. `locked` receives the file, still locked.
fs::path KeepReplaced(FileSystem& files, const fs::path& database, std::string_view stamp,
                      std::unique_ptr<File>& locked) {
  fs::path kept = DatedName(files, database, "-replaced", stamp);
  try {
    locked = OpenView(files, database, Access::ReadWrite);
  } catch (const Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    // The journal is not of this file: its bytes as they are.
    locked = jet::OpenLocked(files, database, Access::ReadWrite);
  }
  CopyTo(files, *locked, kept);
  return kept;
}

}  // namespace

std::string TimeStamp() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  return fmt::format("{:%Y%m%d-%H%M%S}", fmt::localtime(now));
}

fs::path BackUp(FileSystem& files, const fs::path& database, std::string_view stamp) {
  const fs::path real = files.Resolve(database);
  const auto from = OpenView(files, real, Access::ReadOnly);
  fs::path copy = DatedName(files, real, "", stamp);
  CopyTo(files, *from, copy);
  return copy;
}

Restored Restore(FileSystem& files, const fs::path& copy, const fs::path& database, std::string_view stamp) {
  if (!files.IsDirectory(DirectoryOf(database))) {
    throw Error(common::kPathNotFound, "There is no such directory; check the path",
                DirectoryOf(database).string());
  }
  const fs::path real = files.Resolve(database);
  const bool is_there = files.Exists(real);
  if (is_there && files.Identity(copy) == files.Identity(real)) {
    throw Error(common::kInvalidCall, "The copy and the database are one file; choose another copy",
                copy.string());
  }
  RequireSound(files, copy);
  if (is_there && !files.IsWritable(real)) {
    throw Error(common::kFileInUse, "The database is read-only; allow writing to the file and try again",
                real.string());
  }
  const auto from = OpenView(files, copy, Access::ReadOnly);
  Unfinished fresh(files, real.string() + ".part");
  WriteCopy(files, *from, fresh.path());

  Restored restored{.database = real, .replaced = std::nullopt};
  std::unique_ptr<File> locked;
  if (is_there) restored.replaced = KeepReplaced(files, real, stamp, locked);
  files.Rename(fresh.path(), real);
  fresh.Keep();
  // A journal belongs to the database that was replaced; its copy counts it in.
  jet::RemoveJournal(files, real);
  files.SyncDirectory(DirectoryOf(real));
  return restored;
}

}  // namespace corvix::cli
