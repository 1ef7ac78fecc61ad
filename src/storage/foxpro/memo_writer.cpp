#include "storage/foxpro/memo_writer.h"

#include <array>

#include "storage/base/bytes.h"
#include "storage/foxpro/memo_file.h"

namespace corvix::foxpro {
namespace {

constexpr std::size_t kBufferSize = std::size_t{64} << 10;

}  // namespace

MemoWriter::MemoWriter(std::unique_ptr<storage::File> file, std::uint16_t block_size)
    : file_(std::move(file)),
      block_size_(block_size),
      next_block_(static_cast<std::uint32_t>((fpt::kHeaderSize + block_size - 1) / block_size)),
      buffer_start_(std::uint64_t{next_block_} * block_size) {}

std::uint32_t MemoWriter::Append(std::uint32_t type, std::string_view bytes) {
  const std::uint32_t block = next_block_;
  std::array<std::byte, fpt::kMemoHeaderSize> head;
  storage::WriteBig<std::uint32_t>(head, fpt::kMemoType, type);
  storage::WriteBig<std::uint32_t>(head, fpt::kMemoLength, static_cast<std::uint32_t>(bytes.size()));
  const auto data = storage::AsBytes(bytes);
  const std::size_t blocks = (head.size() + data.size() + block_size_ - 1) / block_size_;
  const std::size_t end = buffer_.size() + blocks * block_size_;
  buffer_.insert(buffer_.end(), head.begin(), head.end());
  buffer_.insert(buffer_.end(), data.begin(), data.end());
  buffer_.resize(end);
  next_block_ += static_cast<std::uint32_t>(blocks);
  if (buffer_.size() >= kBufferSize) Flush();
  return block;
}

void MemoWriter::Flush() {
  if (!buffer_.empty()) file_->WriteAt(buffer_start_, buffer_);
  buffer_start_ += buffer_.size();
  buffer_.clear();
}

void MemoWriter::Finish() {
  std::array<std::byte, fpt::kHeaderSize> header{};
  storage::WriteBig<std::uint32_t>(header, fpt::kNextFree, next_block_);
  storage::WriteBig<std::uint16_t>(header, fpt::kBlockSize, block_size_);
  file_->WriteAt(0, header);
  // Without a memo the file still reaches to its first block.
  if (buffer_.empty() && buffer_start_ > file_->Size()) file_->Truncate(buffer_start_);
  Flush();
}

}  // namespace corvix::foxpro
