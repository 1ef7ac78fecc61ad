// FileSystem over the operating system. The only place of the project that makes system calls on files.
#pragma once

#include <memory>

#include "storage/base/file.h"

namespace corvix::storage {

/// Locks are open-file-description locks: they belong to the File object, also between two of one process,
/// and a lock over the whole file conflicts with the whole-file lock that other programs take by flock as
/// well.
class PosixFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::filesystem::path& path, OpenMode mode) override;
  std::unique_ptr<File> CreateLike(const std::filesystem::path& path,
                                   const std::filesystem::path& model) override;
  void CopyTimes(const std::filesystem::path& path, const std::filesystem::path& model) override;
  bool Exists(const std::filesystem::path& path) override;
  bool IsTaken(const std::filesystem::path& path) override;
  bool IsLink(const std::filesystem::path& path) override;
  bool IsDirectory(const std::filesystem::path& path) override;
  bool IsWritable(const std::filesystem::path& path) override;
  void Remove(const std::filesystem::path& path) override;
  void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  void SyncDirectory(const std::filesystem::path& directory) override;
  std::vector<std::string> List(const std::filesystem::path& directory) override;
  std::optional<std::string> Identity(const std::filesystem::path& path) override;
  std::filesystem::path Resolve(const std::filesystem::path& path) override;
  std::uint64_t FreeSpace(const std::filesystem::path& directory) override;
  std::optional<std::chrono::system_clock::time_point> ChangedAt(const std::filesystem::path& path) override;
};

/// A new empty file in the directory for temporary files that has no name: it is gone when it is closed.
std::unique_ptr<File> OpenUnnamedFile();

}  // namespace corvix::storage
