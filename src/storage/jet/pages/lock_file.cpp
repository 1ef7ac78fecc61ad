#include "storage/jet/pages/lock_file.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>

#include "common/error.h"
#include "common/text.h"
#include "storage/base/bytes.h"
#include "storage/base/computer_name.h"

namespace corvix::jet {
namespace {

namespace fs = std::filesystem;
using common::Error;
using storage::ByteView;
using storage::File;
using storage::FileSystem;
using storage::LockKind;
using storage::OpenMode;

constexpr std::uint64_t kMaxUsers = 255;
constexpr std::uint64_t kUserLocks = 0x10000001;
constexpr std::size_t kEntrySize = 64;
constexpr std::size_t kNameSize = 32;
constexpr std::string_view kSecurityName = "Admin";

[[noreturn]] void ThrowDenied(const std::string& why, const fs::path& path) {
  throw Error(common::kFileInUse, why, path.string());
}

fs::path DirectoryOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// Where the lock file is, whatever the case of its letters, or where it would be.
fs::path LockFilePath(FileSystem& files, const fs::path& database) {
  fs::path path = files.Resolve(database);
  path.replace_extension(".ldb");
  if (files.Exists(path)) return path;
  try {
    for (const std::string& name : files.List(path.parent_path())) {
      if (common::EqualIgnoringCase(name, path.filename().string())) return path.parent_path() / name;
    }
  } catch (const Error& error) {
    if (error.number() != common::kPermissionDenied) throw;  // a directory that may not be listed
  }
  return path;
}

/// A name of an entry as it may be shown.
std::string ShownName(ByteView bytes) {
  std::string name(storage::AsText(bytes));
  name.resize(std::min(name.size(), name.find('\0')));
  for (char& character : name) {
    if (character < ' ' || character > '~') character = '?';
  }
  return std::string(common::Trim(name));
}

using Entry = std::array<std::byte, kEntrySize>;

Entry OwnEntry() {
  Entry entry{};
  const auto put = [&](std::size_t at, std::string_view name) {
    std::ranges::copy(storage::AsBytes(name.substr(0, kNameSize - 1)),
                      entry.begin() + static_cast<std::ptrdiff_t>(at));
  };
  put(0, storage::ComputerName());
  put(kNameSize, kSecurityName);
  return entry;
}

/// What is left when the device failed while the first entry was written.
bool IsStartOf(const Entry& entry, File& file) {
  Entry content{};
  const std::size_t size = file.ReadAt(0, content);
  return size == file.Size() &&
         std::ranges::equal(ByteView(content).first(size), ByteView(entry).first(size));
}

/// Another opener that holds a user lock, by what its entry says.
std::optional<std::string> FindUser(File& lock_file) {
  if (!lock_file.IsLockedByAnother(kUserLocks, kMaxUsers)) return std::nullopt;
  std::uint64_t user = 0;
  while (user + 1 < kMaxUsers && !lock_file.IsLockedByAnother(kUserLocks + user, 1)) ++user;
  Entry entry{};
  lock_file.ReadAt(user * kEntrySize, entry);
  const std::string computer = ShownName(ByteView(entry).first(kNameSize));
  const std::string name = ShownName(ByteView(entry).subspan(kNameSize));
  if (computer.empty()) return "another program";
  return fmt::format("user {} on computer {}", name.empty() ? "unknown" : name, computer);
}

/// The same of a database. None too when the lock file cannot be read: it is then no help.
std::optional<std::string> FindUser(FileSystem& files, const fs::path& database) {
  const fs::path path = LockFilePath(files, database);
  if (!files.Exists(path)) return std::nullopt;
  try {
    return FindUser(*files.Open(path, OpenMode::Read));
  } catch (const Error& error) {
    if (common::IsDeviceError(error.number())) throw;
    return std::nullopt;
  }
}

[[noreturn]] void ThrowInUse(const std::string& by, const fs::path& path) {
  ThrowDenied("The database is in use by " + by + "; close it there and try again", path);
}

[[noreturn]] void ThrowNoLockFile(const fs::path& path) {
  ThrowDenied("The file has the name of the database's lock file and is none; give it another name", path);
}

/// The lock file that is there, or a new one with the rights of the database.
std::unique_ptr<File> OpenOrCreate(FileSystem& files, const fs::path& path, const fs::path& database) {
  if (files.IsTaken(path)) {
    if (files.IsLink(path)) ThrowNoLockFile(path);
    try {
      return files.Open(path, OpenMode::ReadWrite);
    } catch (const Error& error) {
      if (files.IsDirectory(path) || error.number() == common::kBadFileName) ThrowNoLockFile(path);
      if (error.number() != common::kPermissionDenied) throw;
      files.Remove(path);  // left over by another user of this computer; nobody uses the database
    }
  }
  return files.CreateLike(path, database);
}

void CheckWritable(FileSystem& files, const fs::path& path) {
  if (!files.Exists(path)) return;  // opening it says that best
  if (!files.IsWritable(path)) {
    ThrowDenied("The database is read-only; allow writing to the file and try again", path);
  }
  const fs::path directory = DirectoryOf(path);
  if (files.Exists(directory) && !files.IsWritable(directory)) {
    ThrowDenied(
        "The directory of the database is read-only, so that its journal cannot be written; allow writing to "
        "the directory and try again",
        path);
  }
}

/// False where the file system has no locks.
bool Lock(FileSystem& files, File& file, LockKind kind, const fs::path& path) {
  try {
    if (file.TryLock(kind, 0, 0)) return true;
  } catch (const Error& error) {
    if (error.number() != common::kUnsupported) throw;
    return false;
  }
  ThrowInUse(FindUser(files, path).value_or("another program"), path);
}

}  // namespace

std::unique_ptr<File> OpenLocked(FileSystem& files, const fs::path& database, core::Access access) {
  const bool writing = access == core::Access::ReadWrite;
  if (writing) CheckWritable(files, database);
  std::unique_ptr<File> file;
  try {
    file = files.Open(database, writing ? OpenMode::ReadWrite : OpenMode::Read);
  } catch (const Error& error) {
    if (error.number() != common::kPermissionDenied) throw;
    ThrowDenied("Access to the database is denied; check the permissions of the file", database);
  }
  if (!Lock(files, *file, writing ? LockKind::Exclusive : LockKind::Shared, database) && writing) {
    ThrowDenied(
        "The file system of the database has no locks, so that two programs could change the database at "
        "once; mount it with locks, or copy the database to a disk of this computer",
        database);
  }
  if (const auto user = FindUser(files, database)) ThrowInUse(*user, database);
  return file;
}

LockFile::LockFile(FileSystem& files, const fs::path& database)
    : files_(files), path_(LockFilePath(files, database)) {
  try {
    file_ = OpenOrCreate(files, path_, database);
  } catch (const Error& error) {
    if (error.number() != common::kPermissionDenied) throw;
    ThrowDenied("The lock file of the database cannot be written; when nobody uses the database, remove it",
                path_);
  }
  const Entry entry = OwnEntry();
  const bool has_entries = file_->Size() % kEntrySize == 0 && file_->Size() <= kMaxUsers * kEntrySize;
  if (!has_entries && !IsStartOf(entry, *file_)) ThrowNoLockFile(path_);
  std::uint64_t user = 0;
  while (user < kMaxUsers && !file_->TryLock(LockKind::Exclusive, kUserLocks + user, 1)) ++user;
  if (const auto other = FindUser(*file_)) ThrowInUse(*other, database);

  try {
    file_->WriteAt(user * kEntrySize, entry);
  } catch (const Error&) {
    files.Remove(path_);
    throw;
  }
}

LockFile::~LockFile() {
  try {
    if (!file_->IsLockedByAnother(kUserLocks, kMaxUsers)) files_.Remove(path_);
  } catch (...) {
    // An entry without its lock does no harm.
  }
}

}  // namespace corvix::jet
