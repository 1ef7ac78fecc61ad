#include "storage/base/scratch_file.h"

#include <algorithm>

#include "storage/base/posix_file.h"

namespace corvix::storage {

std::uint64_t ScratchFile::Size() const { return file_ ? file_->Size() : bytes_.size(); }

std::size_t ScratchFile::ReadAt(std::uint64_t offset, std::span<std::byte> out) {
  if (file_) return file_->ReadAt(offset, out);
  if (offset >= bytes_.size()) return 0;
  const std::size_t count = std::min<std::size_t>(out.size(), bytes_.size() - offset);
  std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
  return count;
}

void ScratchFile::WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) {
  MakeRoom(offset + bytes.size());
  if (file_) return file_->WriteAt(offset, bytes);
  if (offset + bytes.size() > bytes_.size()) bytes_.resize(offset + bytes.size());
  std::ranges::copy(bytes, bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
}

void ScratchFile::Truncate(std::uint64_t size) {
  MakeRoom(size);
  if (file_) return file_->Truncate(size);
  bytes_.resize(size);
}

void ScratchFile::MakeRoom(std::uint64_t size) {
  if (file_ || size <= limit_) return;
  auto file = OpenUnnamedFile();
  file->WriteAt(0, bytes_);
  file_ = std::move(file);
  bytes_ = {};
}

}  // namespace corvix::storage
