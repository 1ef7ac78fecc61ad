// The seam to the operating system: files and directories as the engines use them. Everything that touches a
// disk goes through FileSystem, so that tests can run engines in memory or on a file system that fails.
//
// Failure rule: every operation throws common::Error with a number that the error convention knows (53 no
// such file, 58 a file has the name already, 76 no such directory, 70 permission, 61 disk full, 57 I/O error,
// 68 device gone, 71 device not ready) and the path as place. Objects are for one thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvix::storage {

enum class OpenMode {
  Read,          ///< must exist
  ReadWrite,     ///< must exist
  Create,        ///< read and write; created, or emptied when it exists
  CreateOrOpen,  ///< read and write; created when missing, kept when it exists
  CreateNew,     ///< read and write; error 58 when anything has the name, be it a link that leads nowhere
};

enum class LockKind { Shared, Exclusive };

class File {
 public:
  virtual ~File() = default;

  virtual std::uint64_t Size() const = 0;
  /// Reads up to out.size() bytes from `offset`; fewer only at the end of the file. Returns the number read.
  virtual std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) = 0;
  /// Writes all bytes at `offset`; a gap behind the old end reads as zeros.
  virtual void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
  virtual void Truncate(std::uint64_t size) = 0;
  /// Returns when everything written is on the device.
  virtual void Sync() = 0;
  /// Takes an advisory lock on bytes [offset, offset + length) without waiting; length 0 means to the end of
  /// all offsets. False when another opener holds a conflicting one. Locks belong to this File object and end
  /// with it. Error 3251 where the file system has no locks.
  virtual bool TryLock(LockKind kind, std::uint64_t offset, std::uint64_t length) = 0;
  virtual void Unlock(std::uint64_t offset, std::uint64_t length) = 0;
  /// True when another opener holds an exclusive lock on one of these bytes. Takes none.
  virtual bool IsLockedByAnother(std::uint64_t offset, std::uint64_t length) {
    if (!TryLock(LockKind::Shared, offset, length)) return true;
    Unlock(offset, length);
    return false;
  }
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  virtual std::unique_ptr<File> Open(const std::filesystem::path& path, OpenMode mode) = 0;
  /// Opens by CreateNew a file that stands beside or for `model`: with its permissions, owner and group, as
  /// far as this user may give them. Where the group cannot be given, it gets the permissions of others, so
  /// that nobody may do more than with the model.
  virtual std::unique_ptr<File> CreateLike(const std::filesystem::path& path,
                                           const std::filesystem::path& model [[maybe_unused]]) {
    return Open(path, OpenMode::CreateNew);
  }
  /// Gives a file the times of `model`, where the file system has times and this user may set them.
  virtual void CopyTimes(const std::filesystem::path& path [[maybe_unused]],
                         const std::filesystem::path& model [[maybe_unused]]) {}
  /// Errors: those of a device that does not answer.
  virtual bool Exists(const std::filesystem::path& path) = 0;
  /// True for anything of that name, a link that leads nowhere included: what CreateNew refuses.
  virtual bool IsTaken(const std::filesystem::path& path) { return Exists(path); }
  virtual bool IsLink(const std::filesystem::path&) { return false; }
  virtual bool IsDirectory(const std::filesystem::path& path) = 0;
  /// True when the owner's permissions say that the file may be written (a read-only attribute counts even
  /// for a privileged user).
  virtual bool IsWritable(const std::filesystem::path& path) = 0;
  virtual void Remove(const std::filesystem::path& path) = 0;
  /// Replaces `to` when it exists.
  virtual void Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
  /// Makes creations, removals and renames in the directory durable.
  virtual void SyncDirectory(const std::filesystem::path& directory) = 0;
  virtual std::vector<std::string> List(const std::filesystem::path& directory) = 0;
  /// A text that is equal for two paths exactly when they reach the same file; none when there is no file.
  virtual std::optional<std::string> Identity(const std::filesystem::path& path) = 0;
  /// The path with symbolic links followed, so that all names of a file give one path; unchanged when there
  /// is nothing to follow.
  virtual std::filesystem::path Resolve(const std::filesystem::path& path) { return path; }
  virtual std::uint64_t FreeSpace(const std::filesystem::path& directory) = 0;
  /// When the file was written last, as finely as is known.
  virtual std::optional<std::chrono::system_clock::time_point> ChangedAt(const std::filesystem::path&) {
    return std::nullopt;
  }
};

}  // namespace corvix::storage
