#include "storage/foxpro/memo_file.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace corvix::foxpro {
namespace {

using storage::ReadBig;
using storage::ReadLittle;

[[noreturn]] void ThrowDamaged(const std::string& what, const std::string& place) {
  throw common::Error(common::kDamagedDatabase,
                      what + "; copy the memo file and its table together from where they came from", place);
}

}  // namespace

MemoKind MemoKindOf(DbfVersion version) {
  switch (version) {
    case DbfVersion::DBase3Memo:
      return MemoKind::DBase3;
    case DbfVersion::DBase4Memo:
      return MemoKind::DBase4;
    default:
      return MemoKind::FoxPro;
  }
}

std::string_view MemoExtension(MemoKind kind) { return kind == MemoKind::FoxPro ? ".FPT" : ".DBT"; }

MemoFile::MemoFile(std::unique_ptr<storage::File> file, MemoKind kind, std::string place)
    : file_(std::move(file)), kind_(kind), place_(std::move(place)), size_(file_->Size()) {
  std::array<std::byte, fpt::kHeaderSize> header{};
  if (file_->ReadAt(0, header) < header.size()) {
    ThrowDamaged(fmt::format("The memo file has {} bytes, fewer than its header", size_), place_);
  }
  if (kind_ == MemoKind::FoxPro) {
    next_free_ = ReadBig<std::uint32_t>(header, fpt::kNextFree);
    block_size_ = std::max<std::uint32_t>(1, ReadBig<std::uint16_t>(header, fpt::kBlockSize));
    return;
  }
  next_free_ = ReadLittle<std::uint32_t>(header, dbt::kNextFree);
  block_size_ = kind_ == MemoKind::DBase4 ? ReadLittle<std::uint16_t>(header, dbt::kBlockSize) : 0;
  if (block_size_ == 0) block_size_ = dbt::kDefaultBlockSize;
}

MemoFile::Head MemoFile::ReadHead(std::uint32_t block) {
  const std::uint64_t offset = std::uint64_t{block} * block_size_;
  const std::uint64_t first_possible = kind_ == MemoKind::FoxPro ? fpt::kHeaderSize : block_size_;
  std::array<std::byte, fpt::kMemoHeaderSize> bytes{};
  const std::uint64_t needed = kind_ == MemoKind::FoxPro ? bytes.size() : 1;
  if (offset < first_possible || offset + needed > size_) {
    ThrowDamaged(fmt::format("Memo block {} is outside the memo file, which has {} bytes", block, size_),
                 place_);
  }
  if (kind_ == MemoKind::DBase3) return {.data = offset, .length = FindEnd(offset) - offset};
  const std::size_t read = file_->ReadAt(offset, bytes);
  if (kind_ == MemoKind::FoxPro) {
    if (read < bytes.size()) ThrowDamaged(fmt::format("Memo block {} cannot be read in full", block), place_);
    const auto type = ReadBig<std::uint32_t>(bytes, fpt::kMemoType);
    if (type > fpt::kObject) ThrowDamaged(fmt::format("No memo begins at memo block {}", block), place_);
    return {.data = offset + bytes.size(),
            .length = ReadBig<std::uint32_t>(bytes, fpt::kMemoLength),
            .type = type};
  }
  const bool has_head = read == bytes.size() && ReadLittle<std::uint32_t>(bytes, 0) == dbt::kMemoMark;
  if (!has_head) return {.data = offset, .length = FindEnd(offset) - offset};
  const std::uint32_t whole = ReadLittle<std::uint32_t>(bytes, fpt::kMemoLength);
  return {.data = offset + bytes.size(), .length = whole < bytes.size() ? 0 : whole - bytes.size()};
}

std::uint64_t MemoFile::FindEnd(std::uint64_t offset) {
  const auto known = searched_.lower_bound(offset);
  if (known != searched_.end() && known->second <= offset) return known->first;
  const std::uint64_t stop = known == searched_.end() ? size_ : known->second;
  std::array<std::byte, 4096> buffer;
  for (std::uint64_t at = offset; at < stop;) {
    const auto wanted = std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), stop - at));
    const std::size_t read = file_->ReadAt(at, wanted);
    const std::size_t end = storage::AsText(wanted.first(read)).find(dbt::kMemoEnd);
    if (end != std::string_view::npos || read < wanted.size()) {
      const std::uint64_t found = at + std::min(end, read);
      searched_[found] = offset;
      return found;
    }
    at += read;
  }
  if (known == searched_.end()) {
    searched_[stop] = offset;
    return stop;
  }
  known->second = offset;  // the stretches join
  return known->first;
}

Memo MemoFile::Read(std::uint32_t block) {
  const Head head = ReadHead(block);
  std::uint64_t there = std::min(head.length, size_ - std::min(size_, head.data));
  if (there < head.length) there = std::min(there, kLongestCutMemo);
  if (there > kLongestMemo) {
    ThrowDamaged(
        fmt::format("The memo at block {} claims {} bytes, more than a memo has", block, head.length),
        place_);
  }
  Memo memo{.type = head.type, .bytes = std::string(there, '\0')};
  const std::size_t read = file_->ReadAt(head.data, std::as_writable_bytes(std::span(memo.bytes)));
  if (read < there) ThrowDamaged(fmt::format("Memo block {} cannot be read in full", block), place_);
  return memo;
}

MemoExtent MemoFile::Extent(std::uint32_t block) {
  const Head head = ReadHead(block);
  return {.begin = std::uint64_t{block} * block_size_, .end = head.data + head.length};
}

}  // namespace corvix::foxpro
