#include "storage/base/posix_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "common/error.h"

namespace corvix::storage {
namespace {

namespace fs = std::filesystem;
using common::Error;

/// Errors that a person can mend while the program waits (disk full, device gone or not ready) have numbers
/// of their own; of what is not listed nothing better is known than that the device failed.
common::ErrorNumber NumberOf(int code) {
  switch (code) {
    case ENOENT:
      return common::kFileNotFound;
    case ENOTDIR:
      return common::kPathNotFound;
    case EEXIST:
      return common::kFileExists;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return common::kDiskFull;
    case EACCES:
    case EPERM:
    case EROFS:
    case EBUSY:
    case ETXTBSY:
      return common::kPermissionDenied;
    case ENAMETOOLONG:
    case EINVAL:
    case ELOOP:
      return common::kBadFileName;
    case ENODEV:
    case ENXIO:
    case ESTALE:
    case ENOTCONN:
      return common::kDeviceUnavailable;
    case ENOMEDIUM:
    case ETIMEDOUT:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENETDOWN:
    case ENETUNREACH:
      return common::kDiskNotReady;
    default:
      return common::kDeviceIo;
  }
}

std::string_view CureOf(common::ErrorNumber number) {
  switch (number) {
    case common::kFileNotFound:
    case common::kPathNotFound:
    case common::kBadFileName:
      return "; check the path";
    case common::kFileExists:
      return "; move the file of that name away and try again";
    case common::kDiskFull:
      return "; make room on the disk and try again";
    case common::kDeviceUnavailable:
    case common::kDiskNotReady:
      return "; connect the disk and try again";
    case common::kDeviceIo:
      return "; check the disk and try again";
    case common::kPermissionDenied:
      return "; check the permissions and try again";
    default:
      return "";
  }
}

[[noreturn]] void ThrowSystemError(int code, std::string_view action, const fs::path& path) {
  const auto number = NumberOf(code);
  throw Error(number,
              fmt::format("{}: could not {} ({}){}", common::ErrorText(number), action,
                          std::generic_category().message(code), CureOf(number)),
              path.string());
}

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto Retrying(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

class PosixFile : public File {
 public:
  PosixFile(int descriptor, fs::path path) : descriptor_(descriptor), path_(std::move(path)) {}
  ~PosixFile() override { ::close(descriptor_); }
  PosixFile(const PosixFile&) = delete;
  PosixFile& operator=(const PosixFile&) = delete;

  /// Permissions, owner and group of another file, as FileSystem::CreateLike says.
  void TakeRights(const struct stat& model) {
    const bool has_group = ::fchown(descriptor_, static_cast<uid_t>(-1), model.st_gid) == 0;
    mode_t permissions = model.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    constexpr int kOthersToGroup = 3;
    if (!has_group) permissions &= ~S_IRWXG | ((model.st_mode & S_IRWXO) << kOthersToGroup);
    // A file system without owners or permissions refuses both, and lets in whom it lets in. The owner comes
    // last, since only the owner may change the permissions.
    [[maybe_unused]] const int changed_permissions = ::fchmod(descriptor_, permissions);
    [[maybe_unused]] const int changed_owner = ::fchown(descriptor_, model.st_uid, static_cast<gid_t>(-1));
  }

  std::uint64_t Size() const override {
    struct stat info {};
    if (::fstat(descriptor_, &info) != 0) ThrowSystemError(errno, "read the size", path_);
    return static_cast<std::uint64_t>(info.st_size);
  }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
    std::size_t done = 0;
    while (done < out.size()) {
      const auto count = Retrying([&] {
        return ::pread(descriptor_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
      });
      if (count < 0) ThrowSystemError(errno, "read", path_);
      if (count == 0) break;
      done += static_cast<std::size_t>(count);
    }
    return done;
  }

  void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const auto count = Retrying([&] {
        return ::pwrite(descriptor_, bytes.data() + done, bytes.size() - done,
                        static_cast<off_t>(offset + done));
      });
      if (count < 0) ThrowSystemError(errno, "write", path_);
      done += static_cast<std::size_t>(count);
    }
  }

  void Truncate(std::uint64_t size) override {
    if (Retrying([&] { return ::ftruncate(descriptor_, static_cast<off_t>(size)); }) != 0) {
      ThrowSystemError(errno, "change the size", path_);
    }
  }

  void Sync() override {
    if (Retrying([&] { return ::fdatasync(descriptor_); }) != 0) ThrowSystemError(errno, "write", path_);
  }

  bool TryLock(LockKind kind, std::uint64_t offset, std::uint64_t length) override {
    struct flock range = Range(offset, length);
    range.l_type = kind == LockKind::Shared ? F_RDLCK : F_WRLCK;
    if (Retrying([&] { return ::fcntl(descriptor_, F_OFD_SETLK, &range); }) != 0) {
      if (errno == EAGAIN || errno == EACCES) return false;
      ThrowLockError(errno);
    }
    if (!IsWholeFile(offset, length)) return true;
    const int whole = (kind == LockKind::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    if (Retrying([&] { return ::flock(descriptor_, whole); }) == 0) return true;
    const int code = errno;
    Unlock(offset, length);
    if (code == EWOULDBLOCK) return false;
    ThrowLockError(code);
  }

  bool IsLockedByAnother(std::uint64_t offset, std::uint64_t length) override {
    struct flock range = Range(offset, length);
    range.l_type = F_RDLCK;
    if (::fcntl(descriptor_, F_OFD_GETLK, &range) != 0) ThrowLockError(errno);
    return range.l_type != F_UNLCK;
  }

  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    struct flock range = Range(offset, length);
    range.l_type = F_UNLCK;
    if (Retrying([&] { return ::fcntl(descriptor_, F_OFD_SETLK, &range); }) != 0) {
      ThrowSystemError(errno, "unlock", path_);
    }
    if (IsWholeFile(offset, length)) Retrying([&] { return ::flock(descriptor_, LOCK_UN); });
  }

 private:
  [[noreturn]] void ThrowLockError(int code) const {
    if (code == ENOLCK || code == ENOSYS || code == EOPNOTSUPP || code == EINVAL) {
      throw Error(common::kUnsupported, "The file system has no locks for this file", path_.string());
    }
    ThrowSystemError(code, "lock", path_);
  }

  static bool IsWholeFile(std::uint64_t offset, std::uint64_t length) { return offset == 0 && length == 0; }

  static struct flock Range(std::uint64_t offset, std::uint64_t length) {
    struct flock range {};
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(offset);
    range.l_len = static_cast<off_t>(length);
    return range;
  }

  int descriptor_;
  fs::path path_;
};

int OpenFlags(OpenMode mode) {
  switch (mode) {
    case OpenMode::Read:
      return O_RDONLY;
    case OpenMode::ReadWrite:
      return O_RDWR;
    case OpenMode::Create:
      return O_RDWR | O_CREAT | O_TRUNC;
    case OpenMode::CreateOrOpen:
      return O_RDWR | O_CREAT;
    case OpenMode::CreateNew:
      return O_RDWR | O_CREAT | O_EXCL;
  }
  return O_RDONLY;
}

std::unique_ptr<PosixFile> OpenFile(const fs::path& path, OpenMode mode, mode_t permissions) {
  const int descriptor =
      Retrying([&] { return ::open(path.c_str(), OpenFlags(mode) | O_CLOEXEC | O_NONBLOCK, permissions); });
  if (descriptor < 0) {
    const int code = errno;
    const fs::path directory = path.has_parent_path() ? path.parent_path() : fs::path(".");
    std::error_code error;
    if (code == ENOENT && !fs::is_directory(directory, error)) ThrowSystemError(ENOTDIR, "open", path);
    ThrowSystemError(code, "open", path);
  }
  auto file = std::make_unique<PosixFile>(descriptor, path);
  struct stat info {};
  if (::fstat(descriptor, &info) != 0) ThrowSystemError(errno, "open", path);
  if (!S_ISREG(info.st_mode)) {
    throw Error(common::kBadFileName, "Not a regular file; choose a file of the expected kind",
                path.string());
  }
  return file;
}

constexpr mode_t kNewPermissions = 0666;

}  // namespace

std::unique_ptr<File> PosixFileSystem::Open(const fs::path& path, OpenMode mode) {
  return OpenFile(path, mode, kNewPermissions);
}

std::unique_ptr<File> OpenUnnamedFile() {
  std::error_code error;
  fs::path directory = fs::temp_directory_path(error);
  if (error) directory = "/tmp";
  std::string name = (directory / "corvix-XXXXXX").string();
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) ThrowSystemError(errno, "make a temporary file", directory);
  auto file = std::make_unique<PosixFile>(descriptor, name);
  if (::unlink(name.c_str()) != 0) ThrowSystemError(errno, "remove the name of the temporary file", name);
  return file;
}

std::unique_ptr<File> PosixFileSystem::CreateLike(const fs::path& path, const fs::path& model) {
  struct stat info {};
  if (::stat(model.c_str(), &info) != 0) return Open(path, OpenMode::CreateNew);
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  auto file = OpenFile(path, OpenMode::CreateNew, kPrivate);
  file->TakeRights(info);
  return file;
}

void PosixFileSystem::CopyTimes(const fs::path& path, const fs::path& model) {
  struct stat info {};
  if (::stat(model.c_str(), &info) != 0) return;
  const std::array times{info.st_atim, info.st_mtim};
  // Only the owner may set times; a file without them is as good.
  [[maybe_unused]] const int changed = ::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

bool PosixFileSystem::Exists(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0) return true;
  // A device that does not answer must not be taken for a missing file: that could be a journal.
  const int code = errno;
  if (common::IsDeviceError(NumberOf(code))) ThrowSystemError(code, "look for the file", path);
  return false;
}

bool PosixFileSystem::IsTaken(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 || Exists(path);
}

bool PosixFileSystem::IsLink(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

bool PosixFileSystem::IsDirectory(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool PosixFileSystem::IsWritable(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return false;
  constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
  return (info.st_mode & kAnyWrite) != 0 && ::access(path.c_str(), W_OK) == 0;
}

void PosixFileSystem::Remove(const fs::path& path) {
  if (::unlink(path.c_str()) != 0) ThrowSystemError(errno, "remove", path);
}

void PosixFileSystem::Rename(const fs::path& from, const fs::path& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) ThrowSystemError(errno, "rename to " + to.string(), from);
}

void PosixFileSystem::SyncDirectory(const fs::path& directory) {
  const fs::path opened = directory.empty() ? fs::path(".") : directory;
  const int descriptor = Retrying([&] { return ::open(opened.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) ThrowSystemError(errno, "open", opened);
  const int result = Retrying([&] { return ::fsync(descriptor); });
  const int code = errno;
  ::close(descriptor);
  // Some file systems cannot sync a directory; their entries are then as durable as they make them.
  if (result != 0 && code != EINVAL) ThrowSystemError(code, "write", opened);
}

std::vector<std::string> PosixFileSystem::List(const fs::path& directory) {
  std::error_code error;
  std::vector<std::string> names;
  const fs::path listed = directory.empty() ? fs::path(".") : directory;
  for (fs::directory_iterator entry(listed, error), end; !error && entry != end; entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error) ThrowSystemError(error.value() == ENOENT ? ENOTDIR : error.value(), "list", listed);
  std::ranges::sort(names);
  return names;
}

std::optional<std::string> PosixFileSystem::Identity(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return fmt::format("{}:{}", info.st_dev, info.st_ino);
}

fs::path PosixFileSystem::Resolve(const fs::path& path) {
  std::error_code error;
  fs::path resolved = fs::canonical(path, error);
  return error ? path : resolved;
}

std::uint64_t PosixFileSystem::FreeSpace(const fs::path& directory) {
  std::error_code error;
  const auto space = fs::space(directory.empty() ? fs::path(".") : directory, error);
  if (error) ThrowSystemError(error.value(), "read the free space", directory);
  return space.available;
}

std::optional<std::chrono::system_clock::time_point> PosixFileSystem::ChangedAt(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  const auto since_epoch =
      std::chrono::seconds(info.st_mtim.tv_sec) + std::chrono::nanoseconds(info.st_mtim.tv_nsec);
  return std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(since_epoch));
}

}  // namespace corvix::storage
