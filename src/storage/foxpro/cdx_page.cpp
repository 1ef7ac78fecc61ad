#include "storage/foxpro/cdx_page.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace corvix::foxpro {

using storage::ByteView;
using storage::ReadBig;
using storage::ReadByte;
using storage::ReadLittle;

void ThrowDamagedIndex(const std::string& what, const std::string& place) {
  throw common::Error(
      common::kDamagedDatabase,
      "The index is damaged: " + what +
          "; rebuild it in the program that the table comes from, and copy table and index again",
      place);
}

int CompareEntries(ByteView key_a, std::uint32_t record_a, ByteView key_b, std::uint32_t record_b) {
  const int order = std::memcmp(key_a.data(), key_b.data(), std::min(key_a.size(), key_b.size()));
  if (order != 0) return order;
  return record_a < record_b ? -1 : record_a > record_b ? 1 : 0;
}

CdxPage::CdxPage(ByteView bytes, std::size_t key_length, std::byte pad, PagePlace place)
    : key_length_(key_length),
      attributes_(ReadLittle<std::uint16_t>(bytes, cdx::kAttributes)),
      left_(ReadLittle<std::uint32_t>(bytes, cdx::kLeft)),
      right_(ReadLittle<std::uint32_t>(bytes, cdx::kRight)) {
  if (attributes_ > (cdx::kRootPage | cdx::kLeafPage | cdx::kUnknownAttribute)) {
    ThrowDamagedIndex(fmt::format("page attributes 0x{:X}", attributes_), place.Text());
  }
  const std::size_t count = ReadLittle<std::uint16_t>(bytes, cdx::kKeyCount);
  if (IsLeaf()) {
    DecodeLeaf(bytes, count, pad, place);
  } else {
    DecodeInterior(bytes, count, place);
  }
}

void CdxPage::DecodeInterior(ByteView bytes, std::size_t count, PagePlace place) {
  const std::size_t entry_size = key_length_ + cdx::kInteriorExtra;
  if (cdx::kInteriorEntries + count * entry_size > bytes.size()) {
    ThrowDamagedIndex(fmt::format("{} keys of {} bytes do not fit a page", count, key_length_), place.Text());
  }
  keys_.reserve(count * key_length_);
  records_.reserve(count);
  children_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const ByteView entry = bytes.subspan(cdx::kInteriorEntries + i * entry_size, entry_size);
    keys_.insert(keys_.end(), entry.begin(), entry.begin() + static_cast<std::ptrdiff_t>(key_length_));
    records_.push_back(ReadBig<std::uint32_t>(entry, key_length_));
    children_.push_back(ReadBig<std::uint32_t>(entry, key_length_ + 4));
  }
}

void CdxPage::DecodeLeaf(ByteView bytes, std::size_t count, std::byte pad, PagePlace place) {
  if (count == 0) return;  // the widths of an empty page may be anything
  const unsigned record_bits = ReadByte(bytes, cdx::kRecordBits);
  const unsigned duplicate_bits = ReadByte(bytes, cdx::kDuplicateBits);
  const unsigned trailing_bits = ReadByte(bytes, cdx::kTrailingBits);
  const std::size_t entry_bytes = ReadByte(bytes, cdx::kEntryBytes);
  const bool widths_agree =
      record_bits <= 32 && duplicate_bits <= 8 && trailing_bits <= 8 &&
      record_bits + duplicate_bits + trailing_bits == 8 * entry_bytes && entry_bytes > 0 &&
      ReadLittle<std::uint32_t>(bytes, cdx::kRecordMask) == (std::uint64_t{1} << record_bits) - 1 &&
      ReadByte(bytes, cdx::kDuplicateMask) == (1u << duplicate_bits) - 1 &&
      ReadByte(bytes, cdx::kTrailingMask) == (1u << trailing_bits) - 1;
  const std::size_t entries_end = cdx::kLeafEntries + count * entry_bytes;
  if (!widths_agree || entries_end > bytes.size()) {
    ThrowDamagedIndex(fmt::format("the {} entries of the page do not agree with their widths", count),
                      place.Text());
  }

  keys_.resize(count * key_length_);
  records_.resize(count);
  std::size_t own_begin = bytes.size();  // the keys' own bytes lie downwards from the end
  const std::byte* previous = nullptr;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t entry = 0;
    for (std::size_t b = entry_bytes; b-- > 0;) {
      entry = entry << 8 | std::to_integer<std::uint64_t>(bytes[cdx::kLeafEntries + i * entry_bytes + b]);
    }
    records_[i] = static_cast<std::uint32_t>(entry & ((std::uint64_t{1} << record_bits) - 1));
    const std::size_t duplicate = entry >> record_bits & ((1u << duplicate_bits) - 1);
    const std::size_t trailing = entry >> (record_bits + duplicate_bits) & ((1u << trailing_bits) - 1);
    if (duplicate + trailing > key_length_ || (previous == nullptr && duplicate > 0)) {
      ThrowDamagedIndex(fmt::format("entry {} repeats more bytes than its key has", i), place.Text());
    }
    const std::size_t own = key_length_ - duplicate - trailing;
    if (own_begin < entries_end + own) {
      ThrowDamagedIndex(fmt::format("the key of entry {} runs into the entries", i), place.Text());
    }
    own_begin -= own;
    std::byte* key = keys_.data() + i * key_length_;
    if (duplicate > 0) std::memcpy(key, previous, duplicate);
    if (own > 0) std::memcpy(key + duplicate, bytes.data() + own_begin, own);
    std::fill_n(key + duplicate + own, trailing, pad);
    previous = key;
  }
  stated_free_ = ReadLittle<std::uint16_t>(bytes, cdx::kFree);
  actual_free_ = own_begin - entries_end;
}

std::size_t CdxPage::LowerBound(ByteView key, std::uint32_t record) const {
  std::size_t low = 0;
  std::size_t high = size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (CompareEntries(Key(middle), Record(middle), key, record) < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

}  // namespace corvix::foxpro
