// A file without a name, for what a program works out and needs only while it runs: in memory up to a limit,
// beyond it in a temporary file that has no name either, so that nothing is left behind whatever happens.
#pragma once

#include <memory>
#include <vector>

#include "storage/base/file.h"

namespace corvix::storage {

class ScratchFile : public File {
 public:
  /// `limit`: bytes that are kept in memory.
  explicit ScratchFile(std::size_t limit) : limit_(limit) {}

  std::uint64_t Size() const override;
  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override;
  void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override;
  void Truncate(std::uint64_t size) override;
  void Sync() override {}
  // Nobody else can open it.
  bool TryLock(LockKind, std::uint64_t, std::uint64_t) override { return true; }
  void Unlock(std::uint64_t, std::uint64_t) override {}

 private:
  /// Goes over to a temporary file when the content would outgrow the limit.
  void MakeRoom(std::uint64_t size);

  std::size_t limit_;
  std::vector<std::byte> bytes_;
  std::unique_ptr<File> file_;  // null: the content is in bytes_
};

}  // namespace corvix::storage
