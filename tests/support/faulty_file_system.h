// A file system in memory that fails on demand: the power is cut at a chosen operation, or operations raise
// device errors. What is on the device after a cut follows what was synced:
//
//   - what a file held at its last Sync is there;
//   - of each write and truncation since, all, nothing, or (writes) any of its 512-byte sectors may be there;
//   - what a Sync failed to write is not written by the next one either; a failed write has done its first
//   half;
//   - a name that was created or removed since the last SyncDirectory may be there or not.
//
// Operations that change something are counted and logged by their kind. Others fail by hooks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "common/error.h"
#include "storage/base/bytes.h"
#include "storage/base/memory_file.h"

namespace corvix::test {

/// Thrown at the cut, and by every operation after it. No Error, so that nothing settles it.
struct PowerCut {};

enum class Unsynced { Kept, Dropped, Mixed };

enum class Change { Write, Truncate, Sync, Create, Remove, Rename, SyncDirectory };

class FaultyFileSystem : public storage::FileSystem {
 public:
  using Path = std::filesystem::path;
  using Bytes = std::vector<std::byte>;

  /// Puts a file on the device, durably.
  void Put(const Path& path, Bytes bytes) {
    auto node = std::make_shared<Node>();
    node->current = node->durable = std::move(bytes);
    names_[path] = durable_names_[path] = node;
  }
  const Bytes& Contents(const Path& path) const { return names_.at(path)->current; }

  /// The power fails at operation number `operation`, counted from 0.
  void CutAt(std::uint64_t operation) { cut_at_ = operation; }
  /// Operations `first` to `first + count - 1` raise the error instead of being done.
  void FailAt(std::uint64_t first, std::uint64_t count, common::ErrorNumber number) {
    fail_first_ = first, fail_count_ = count, fail_number_ = number;
  }
  /// Called before each of these operations; what it throws leaves the operation undone.
  std::function<void(const Path&, storage::OpenMode)> before_open = [](auto&&...) {};
  std::function<void()> before_remove = [] {}, before_lock = [] {};
  /// Called with what was read of a file, which it may change.
  std::function<void(const Path&, storage::ByteSpan)> on_read = [](auto&&...) {};

  std::uint64_t operations() const { return log_.size(); }
  /// The operations so far, one that failed or was cut included.
  const std::vector<Change>& log() const { return log_; }

  /// The device as it may be found after the cut.
  std::map<Path, Bytes> AfterCut(Unsynced unsynced, unsigned seed = 0) const {
    std::mt19937 random(seed);
    const auto kept = [&] {
      return unsynced == Unsynced::Kept || (unsynced == Unsynced::Mixed && random() % 2 == 0);
    };
    auto names = durable_names_;
    for (const auto& [path, node] : name_changes_) {
      if (!kept()) continue;
      if (node) {
        names[path] = node;
      } else {
        names.erase(path);
      }
    }
    std::map<Path, Bytes> device;
    for (const auto& [path, node] : names) {
      Bytes bytes = node->durable;
      for (const Pending& change : node->pending) Apply(change, bytes, kept);
      device[path] = std::move(bytes);
    }
    return device;
  }

  std::unique_ptr<storage::File> Open(const Path& path, storage::OpenMode mode) override {
    before_open(path, mode);
    const bool create = mode != storage::OpenMode::Read && mode != storage::OpenMode::ReadWrite;
    if (names_.contains(path)) {
      if (mode == storage::OpenMode::CreateNew) throw common::Error(common::kFileExists);
    } else {
      if (!create) throw common::Error(common::kFileNotFound);
      Count(Change::Create);
      names_[path] = std::make_shared<Node>();
      name_changes_.emplace_back(path, names_[path]);
    }
    auto file = std::make_unique<FaultyFile>(*this, path, names_[path]);
    if (mode == storage::OpenMode::Create) file->Truncate(0);
    return file;
  }
  bool Exists(const Path& path) override { return names_.contains(path); }
  bool IsDirectory(const Path& path) override { return !names_.contains(path); }
  bool IsWritable(const Path& path) override { return names_.contains(path); }
  void Remove(const Path& path) override {
    before_remove();
    Count(Change::Remove);
    if (names_.erase(path) == 0) throw common::Error(common::kFileNotFound);
    name_changes_.emplace_back(path, nullptr);
  }
  void Rename(const Path& from, const Path& to) override {
    Count(Change::Rename);
    names_[to] = names_.at(from);
    names_.erase(from);
    name_changes_.emplace_back(to, names_[to]);
    name_changes_.emplace_back(from, nullptr);
  }
  void SyncDirectory(const Path&) override {
    Count(Change::SyncDirectory);
    durable_names_ = names_;
    name_changes_.clear();
  }
  std::vector<std::string> List(const Path&) override {
    std::vector<std::string> list;
    for (const auto& [path, node] : names_) list.push_back(path.filename().string());
    return list;
  }
  std::optional<std::string> Identity(const Path& path) override {
    return names_.contains(path) ? std::optional(path.string()) : std::nullopt;
  }
  std::uint64_t FreeSpace(const Path&) override { return std::uint64_t{1} << 40; }

 private:
  struct Pending {
    std::uint64_t offset = 0;  // or the new size
    Bytes bytes;
    bool truncates = false;
    bool forgotten = false;  // a Sync failed on it
  };
  struct Node {
    Bytes current;
    Bytes durable;
    std::vector<Pending> pending;  // since the last Sync
  };

  static void Apply(const Pending& change, Bytes& bytes, const std::function<bool()>& kept) {
    constexpr std::size_t kSector = 512;
    if (change.truncates) {
      if (kept()) bytes.resize(change.offset);
      return;
    }
    for (std::size_t at = 0; at < change.bytes.size(); at += kSector) {
      if (!kept()) continue;
      const std::size_t end = std::min(at + kSector, change.bytes.size());
      if (bytes.size() < change.offset + end) bytes.resize(change.offset + end);
      std::copy(change.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                change.bytes.begin() + static_cast<std::ptrdiff_t>(end),
                bytes.begin() + static_cast<std::ptrdiff_t>(change.offset + at));
    }
  }

  class FaultyFile : public storage::File {
   public:
    FaultyFile(FaultyFileSystem& files, Path path, std::shared_ptr<Node> node)
        : files_(files), path_(std::move(path)), node_(std::move(node)) {}
    std::uint64_t Size() const override { return node_->current.size(); }
    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
      if (offset >= node_->current.size()) return 0;
      const std::size_t count = std::min<std::size_t>(out.size(), node_->current.size() - offset);
      std::copy_n(node_->current.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
      files_.on_read(path_, out.first(count));
      return count;
    }
    void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
      Pending change{offset, Bytes(bytes.begin(), bytes.end()), false, false};
      const auto make = [&] {
        node_->pending.push_back(change);
        Apply(change, node_->current, [] { return true; });
      };
      try {
        files_.Count(Change::Write, make);
      } catch (const common::Error&) {
        change.bytes.resize(change.bytes.size() / 2);
        make();
        throw;
      }
    }
    void Truncate(std::uint64_t size) override {
      files_.Count(Change::Truncate, [&] { node_->pending.push_back({size, {}, true, false}); });
      node_->current.resize(size);
    }
    void Sync() override {
      try {
        files_.Count(Change::Sync);
      } catch (const common::Error&) {
        for (Pending& change : node_->pending) change.forgotten = true;
        throw;
      }
      for (const Pending& change : node_->pending) {
        Apply(change, node_->durable, [&] { return !change.forgotten; });
      }
      node_->pending.clear();
    }
    bool TryLock(storage::LockKind, std::uint64_t, std::uint64_t) override {
      files_.before_lock();
      return true;
    }
    void Unlock(std::uint64_t, std::uint64_t) override {}

   private:
    FaultyFileSystem& files_;
    const Path path_;
    std::shared_ptr<Node> node_;
  };

  /// `change` is noted also when the power fails at it: it may reach the device all the same.
  void Count(
      Change kind, const std::function<void()>& change = [] {}) {
    if (cut_at_ && log_.size() > *cut_at_) throw PowerCut{};
    const std::uint64_t operation = log_.size();
    log_.push_back(kind);
    if (operation >= fail_first_ && operation - fail_first_ < fail_count_) {
      throw common::Error(fail_number_);
    }
    change();
    if (cut_at_ && operation == *cut_at_) throw PowerCut{};
  }

  std::map<Path, std::shared_ptr<Node>> names_;
  std::map<Path, std::shared_ptr<Node>> durable_names_;
  std::vector<std::pair<Path, std::shared_ptr<Node>>> name_changes_;  // null: removed
  std::vector<Change> log_;
  std::optional<std::uint64_t> cut_at_;
  std::uint64_t fail_first_ = 0, fail_count_ = 0;
  common::ErrorNumber fail_number_ = 0;
};

}  // namespace corvix::test
