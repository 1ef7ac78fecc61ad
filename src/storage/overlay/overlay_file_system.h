// A file system that reads through to another one and keeps every change in memory: an engine can do all its
// work over it while nothing is written anywhere. That makes a preview exact, since it is the real engine
// that does it, and cheap, since only changed blocks take memory.
//
//   OverlayFileSystem overlay(files);
//   auto database = jet::OpenJetDatabase(overlay, path, core::Access::ReadWrite);   // `path` stays as it is
//
// What is opened for writing is opened for reading below. Locks are taken on the file below as shared ones,
// so that a writer is noticed and readers are not disturbed. Changes last as long as the file system object.
#pragma once

#include <map>
#include <memory>

#include "storage/base/file.h"

namespace corvix::storage {

class OverlayFileSystem : public FileSystem {
 public:
  /// `below` must outlive this.
  explicit OverlayFileSystem(FileSystem& below);
  ~OverlayFileSystem() override;

  std::unique_ptr<File> Open(const std::filesystem::path& path, OpenMode mode) override;
  bool Exists(const std::filesystem::path& path) override;
  bool IsTaken(const std::filesystem::path& path) override;
  bool IsLink(const std::filesystem::path& path) override;
  bool IsDirectory(const std::filesystem::path& path) override;
  /// True for every file that exists: a change goes to memory.
  bool IsWritable(const std::filesystem::path& path) override;
  void Remove(const std::filesystem::path& path) override;
  void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  void SyncDirectory(const std::filesystem::path& directory) override;
  std::vector<std::string> List(const std::filesystem::path& directory) override;
  std::optional<std::string> Identity(const std::filesystem::path& path) override;
  std::filesystem::path Resolve(const std::filesystem::path& path) override;
  std::uint64_t FreeSpace(const std::filesystem::path& directory) override;
  std::optional<std::chrono::system_clock::time_point> ChangedAt(const std::filesystem::path& path) override;

  struct Content;

 private:
  FileSystem& below_;
  std::map<std::filesystem::path, std::shared_ptr<Content>> contents_;  // null: removed
};

}  // namespace corvix::storage
