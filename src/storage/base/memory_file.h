// FileSystem in memory: for engine tests, and for anything that must not touch a disk. Directories are not
// created: every parent of a file exists. Locks between two File objects of one path work as on a disk.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "storage/base/file.h"

namespace corvix::storage {

class MemoryFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::filesystem::path& path, OpenMode mode) override;
  bool Exists(const std::filesystem::path& path) override;
  bool IsDirectory(const std::filesystem::path& path) override;
  bool IsWritable(const std::filesystem::path& path) override;
  void Remove(const std::filesystem::path& path) override;
  void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  void SyncDirectory(const std::filesystem::path& directory) override;
  std::vector<std::string> List(const std::filesystem::path& directory) override;
  std::optional<std::string> Identity(const std::filesystem::path& path) override;
  std::uint64_t FreeSpace(const std::filesystem::path& directory) override;

  /// The bytes of a file, to look at or to damage.
  std::vector<std::byte>& Contents(const std::filesystem::path& path);

  struct Node;

 private:
  std::map<std::filesystem::path, std::shared_ptr<Node>> files_;
};

}  // namespace corvix::storage
