#include "storage/base/memory_file.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

#include "common/error.h"

namespace corvix::storage {
namespace {

namespace fs = std::filesystem;

class MemoryFile;

struct HeldLock {
  const MemoryFile* owner;
  LockKind kind;
  std::uint64_t first;
  std::uint64_t last;
};

std::uint64_t LastOf(std::uint64_t offset, std::uint64_t length) {
  return length == 0 ? std::numeric_limits<std::uint64_t>::max() : offset + length - 1;
}

}  // namespace

struct MemoryFileSystem::Node {
  std::vector<std::byte> bytes;
  std::vector<HeldLock> locks;
};

namespace {

class MemoryFile : public File {
 public:
  explicit MemoryFile(std::shared_ptr<MemoryFileSystem::Node> node) : node_(std::move(node)) {}
  ~MemoryFile() override {
    std::erase_if(node_->locks, [&](const HeldLock& lock) { return lock.owner == this; });
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::uint64_t Size() const override { return node_->bytes.size(); }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
    if (offset >= node_->bytes.size()) return 0;
    const auto begin = node_->bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    const std::size_t count = std::min<std::size_t>(out.size(), node_->bytes.size() - offset);
    std::copy_n(begin, count, out.begin());
    return count;
  }

  void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
    if (offset + bytes.size() > node_->bytes.size()) node_->bytes.resize(offset + bytes.size());
    std::ranges::copy(bytes, node_->bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }

  void Truncate(std::uint64_t size) override { node_->bytes.resize(size); }
  void Sync() override {}

  bool TryLock(LockKind kind, std::uint64_t offset, std::uint64_t length) override {
    const HeldLock wanted{this, kind, offset, LastOf(offset, length)};
    const bool refused = std::ranges::any_of(node_->locks, [&](const HeldLock& held) {
      return held.owner != this && held.first <= wanted.last && wanted.first <= held.last &&
             (held.kind == LockKind::Exclusive || kind == LockKind::Exclusive);
    });
    if (refused) return false;
    Unlock(offset, length);
    node_->locks.push_back(wanted);
    return true;
  }

  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    std::erase_if(node_->locks, [&](const HeldLock& lock) {
      return lock.owner == this && lock.first == offset && lock.last == LastOf(offset, length);
    });
  }

 private:
  std::shared_ptr<MemoryFileSystem::Node> node_;
};

[[noreturn]] void ThrowMissing(const fs::path& path) {
  throw common::Error(common::kFileNotFound, std::string(common::ErrorText(common::kFileNotFound)),
                      path.string());
}

}  // namespace

std::unique_ptr<File> MemoryFileSystem::Open(const fs::path& path, OpenMode mode) {
  auto found = files_.find(path);
  const bool may_create = mode != OpenMode::Read && mode != OpenMode::ReadWrite;
  if (found == files_.end()) {
    if (!may_create) ThrowMissing(path);
    found = files_.emplace(path, std::make_shared<Node>()).first;
  } else if (mode == OpenMode::CreateNew) {
    throw common::Error(common::kFileExists, std::string(common::ErrorText(common::kFileExists)),
                        path.string());
  } else if (mode == OpenMode::Create) {
    found->second->bytes.clear();
  }
  return std::make_unique<MemoryFile>(found->second);
}

bool MemoryFileSystem::Exists(const fs::path& path) { return files_.contains(path); }

bool MemoryFileSystem::IsDirectory(const fs::path& path) { return !files_.contains(path); }

bool MemoryFileSystem::IsWritable(const fs::path& path) { return files_.contains(path); }

void MemoryFileSystem::Remove(const fs::path& path) {
  if (files_.erase(path) == 0) ThrowMissing(path);
}

void MemoryFileSystem::Rename(const fs::path& from, const fs::path& to) {
  const auto found = files_.find(from);
  if (found == files_.end()) ThrowMissing(from);
  auto node = found->second;
  files_.erase(found);
  files_[to] = std::move(node);
}

void MemoryFileSystem::SyncDirectory(const fs::path&) {}

std::vector<std::string> MemoryFileSystem::List(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& [path, node] : files_) {
    if (path.parent_path() == directory) names.push_back(path.filename().string());
  }
  return names;
}

std::optional<std::string> MemoryFileSystem::Identity(const fs::path& path) {
  const auto found = files_.find(path);
  if (found == files_.end()) return std::nullopt;
  return fmt::format("memory:{}", static_cast<const void*>(found->second.get()));
}

std::uint64_t MemoryFileSystem::FreeSpace(const fs::path&) {
  return std::numeric_limits<std::uint64_t>::max();
}

std::vector<std::byte>& MemoryFileSystem::Contents(const fs::path& path) {
  const auto found = files_.find(path);
  if (found == files_.end()) ThrowMissing(path);
  return found->second->bytes;
}

}  // namespace corvix::storage
