#include "storage/overlay/overlay_file_system.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>
#include <unordered_map>

#include "common/error.h"

namespace corvix::storage {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlock = 4096;
using Block = std::array<std::byte, kBlock>;

[[noreturn]] void ThrowMissing(const fs::path& path) {
  throw common::Error(common::kFileNotFound, std::string(common::ErrorText(common::kFileNotFound)),
                      path.string());
}

}  // namespace

/// One file as it stands: the file below, if there is one, and the blocks that differ from it.
struct OverlayFileSystem::Content {
  std::unique_ptr<File> below;  // none: the file exists in memory only
  std::uint64_t size = 0;
  std::uint64_t valid_below = 0;  // bytes of the file below that still show through
  std::unordered_map<std::uint64_t, std::unique_ptr<Block>> changed;

  /// The bytes of a block as they are without a change.
  void Load(std::uint64_t number, Block& block) {
    block.fill(std::byte{0});
    const std::uint64_t offset = number * kBlock;
    if (!below || offset >= valid_below) return;
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, valid_below - offset));
    below->ReadAt(offset, std::span(block).first(length));
  }

  Block& Change(std::uint64_t number) {
    std::unique_ptr<Block>& block = changed[number];
    if (!block) {
      block = std::make_unique<Block>();
      Load(number, *block);
    }
    return *block;
  }
};

namespace {

/// Calls `visit(block number, offset in the block, part)` for each block that [offset, offset + part)
/// touches.
template <typename Bytes, typename Visit>
void ForEachBlock(std::uint64_t offset, Bytes bytes, Visit visit) {
  while (!bytes.empty()) {
    const auto inside = static_cast<std::size_t>(offset % kBlock);
    const std::size_t length = std::min(bytes.size(), kBlock - inside);
    visit(offset / kBlock, inside, bytes.first(length));
    offset += length;
    bytes = bytes.subspan(length);
  }
}

class OverlayFile : public File {
 public:
  explicit OverlayFile(std::shared_ptr<OverlayFileSystem::Content> content) : content_(std::move(content)) {}

  std::uint64_t Size() const override { return content_->size; }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
    if (offset >= content_->size) return 0;
    out = out.first(static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), content_->size - offset)));
    ForEachBlock(offset, out, [&](std::uint64_t number, std::size_t inside, std::span<std::byte> part) {
      const auto found = content_->changed.find(number);
      Block loaded;
      if (found == content_->changed.end()) content_->Load(number, loaded);
      const Block& block = found == content_->changed.end() ? loaded : *found->second;
      std::ranges::copy(std::span(block).subspan(inside, part.size()), part.begin());
    });
    return out.size();
  }

  void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
    ForEachBlock(
        offset, bytes, [&](std::uint64_t number, std::size_t inside, std::span<const std::byte> part) {
          std::ranges::copy(part, content_->Change(number).begin() + static_cast<std::ptrdiff_t>(inside));
        });
    content_->size = std::max(content_->size, offset + bytes.size());
  }

  void Truncate(std::uint64_t size) override {
    if (size < content_->size) {
      std::erase_if(content_->changed, [&](const auto& entry) { return entry.first * kBlock >= size; });
      if (size % kBlock != 0) {
        Block& last = content_->Change(size / kBlock);
        std::fill(last.begin() + static_cast<std::ptrdiff_t>(size % kBlock), last.end(), std::byte{0});
      }
      content_->valid_below = std::min(content_->valid_below, size);
    }
    content_->size = size;
  }

  void Sync() override {}

  bool TryLock(LockKind, std::uint64_t offset, std::uint64_t length) override {
    return !content_->below || content_->below->TryLock(LockKind::Shared, offset, length);
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    if (content_->below) content_->below->Unlock(offset, length);
  }
  bool IsLockedByAnother(std::uint64_t offset, std::uint64_t length) override {
    return content_->below && content_->below->IsLockedByAnother(offset, length);
  }

 private:
  std::shared_ptr<OverlayFileSystem::Content> content_;
};

}  // namespace

OverlayFileSystem::OverlayFileSystem(FileSystem& below) : below_(below) {}
OverlayFileSystem::~OverlayFileSystem() = default;

std::unique_ptr<File> OverlayFileSystem::Open(const fs::path& path, OpenMode mode) {
  const auto found = contents_.find(path);
  const bool exists = Exists(path);
  const bool may_create = mode != OpenMode::Read && mode != OpenMode::ReadWrite;
  if (found == contents_.end() && (mode == OpenMode::Read || (!exists && !may_create))) {
    return below_.Open(path, OpenMode::Read);
  }
  if (!exists && !may_create) ThrowMissing(path);
  if (mode == OpenMode::CreateNew && IsTaken(path)) {
    throw common::Error(common::kFileExists, std::string(common::ErrorText(common::kFileExists)),
                        path.string());
  }
  std::shared_ptr<Content>& content = contents_[path];
  if (!content || mode == OpenMode::Create) {
    auto fresh = std::make_shared<Content>();
    if (exists && mode != OpenMode::Create) {
      fresh->below = below_.Open(path, OpenMode::Read);
      fresh->size = fresh->valid_below = fresh->below->Size();
    }
    content = std::move(fresh);
  }
  return std::make_unique<OverlayFile>(content);
}

bool OverlayFileSystem::Exists(const fs::path& path) {
  const auto found = contents_.find(path);
  return found == contents_.end() ? below_.Exists(path) : found->second != nullptr;
}

bool OverlayFileSystem::IsTaken(const fs::path& path) {
  const auto found = contents_.find(path);
  return found == contents_.end() ? below_.IsTaken(path) : found->second != nullptr;
}

bool OverlayFileSystem::IsLink(const fs::path& path) {
  return !contents_.contains(path) && below_.IsLink(path);
}

bool OverlayFileSystem::IsDirectory(const fs::path& path) { return below_.IsDirectory(path); }

bool OverlayFileSystem::IsWritable(const fs::path& path) { return Exists(path); }

void OverlayFileSystem::Remove(const fs::path& path) {
  if (!Exists(path)) ThrowMissing(path);
  contents_[path] = nullptr;
}

void OverlayFileSystem::Rename(const fs::path& from, const fs::path& to) {
  Open(from, OpenMode::ReadWrite);  // brings the file into this layer
  contents_[to] = contents_[from];
  contents_[from] = nullptr;
}

void OverlayFileSystem::SyncDirectory(const fs::path&) {}

std::vector<std::string> OverlayFileSystem::List(const fs::path& directory) {
  const std::vector<std::string> listed = below_.List(directory);
  std::set<std::string> names(listed.begin(), listed.end());
  for (const auto& [path, content] : contents_) {
    if (path.parent_path() != directory) continue;
    if (content) {
      names.insert(path.filename().string());
    } else {
      names.erase(path.filename().string());
    }
  }
  return {names.begin(), names.end()};
}

std::optional<std::string> OverlayFileSystem::Identity(const fs::path& path) {
  if (!Exists(path)) return std::nullopt;
  // A file of this layer must not be taken for the one below, which another opener of the process may hold.
  const std::string below = below_.Identity(path).value_or(path.string());
  return fmt::format("overlay {}:{}", static_cast<const void*>(this), below);
}

fs::path OverlayFileSystem::Resolve(const fs::path& path) { return below_.Resolve(path); }

std::uint64_t OverlayFileSystem::FreeSpace(const fs::path& directory) { return below_.FreeSpace(directory); }

std::optional<std::chrono::system_clock::time_point> OverlayFileSystem::ChangedAt(const fs::path& path) {
  return below_.ChangedAt(path);
}

}  // namespace corvix::storage
