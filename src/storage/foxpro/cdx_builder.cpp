#include "storage/foxpro/cdx_builder.h"

#include <algorithm>
#include <array>
#include <bit>

#include "common/error.h"

namespace corvix::foxpro {
namespace {

using storage::ByteSpan;
using storage::ByteView;
using storage::WriteBig;
using storage::WriteByte;
using storage::WriteLittle;

using Page = std::array<std::byte, cdx::kPageSize>;

constexpr std::size_t kBufferSize = std::size_t{64} << 10;
/// With so few tags the directory is sure to fit the page that is kept free for it.
constexpr std::size_t kTagsOfOnePage = 30;
constexpr std::uint32_t kDirectoryPage = cdx::kHeaderSize;

/// The widths of the parts of leaf entries, the same in all leaves of a tag.
struct Widths {
  unsigned count_bits = 0;  // of the duplicate count and of the trailing count
  unsigned record_bits = 0;
  std::size_t entry_bytes = 0;

  Widths(std::size_t key_length, std::uint32_t greatest_record)
      : count_bits(static_cast<unsigned>(std::bit_width(key_length))) {
    const unsigned needed = static_cast<unsigned>(std::bit_width(greatest_record));
    do {
      ++entry_bytes;
      record_bits = 8 * static_cast<unsigned>(entry_bytes) -
                    std::min(2 * count_bits, 8 * static_cast<unsigned>(entry_bytes));
    } while (record_bits < needed || record_bits == 0);
  }
};

std::size_t TrailingPad(ByteView key, std::byte pad) {
  std::size_t count = 0;
  while (count < key.size() && key[key.size() - 1 - count] == pad) ++count;
  return count;
}

/// Fills one leaf.
class LeafPacker {
 public:
  LeafPacker(std::size_t key_length, Widths widths, std::byte pad)
      : key_length_(key_length), widths_(widths), pad_(pad) {
    WriteLittle<std::uint32_t>(page_, cdx::kRecordMask,
                               static_cast<std::uint32_t>((std::uint64_t{1} << widths_.record_bits) - 1));
    const auto count_mask = static_cast<std::uint8_t>((1u << widths_.count_bits) - 1);
    WriteByte(page_, cdx::kDuplicateMask, count_mask);
    WriteByte(page_, cdx::kTrailingMask, count_mask);
    WriteByte(page_, cdx::kRecordBits, static_cast<std::uint8_t>(widths_.record_bits));
    WriteByte(page_, cdx::kDuplicateBits, static_cast<std::uint8_t>(widths_.count_bits));
    WriteByte(page_, cdx::kTrailingBits, static_cast<std::uint8_t>(widths_.count_bits));
    WriteByte(page_, cdx::kEntryBytes, static_cast<std::uint8_t>(widths_.entry_bytes));
  }

  /// False, and nothing changed, when the entry does not fit any more.
  bool Add(ByteView key, std::uint32_t record) {
    const std::size_t trailing = TrailingPad(key, pad_);
    std::size_t duplicate = 0;
    if (count_ > 0) {
      // Bytes that either key has as pad are not counted as repeated.
      const std::size_t most = key_length_ - std::max(trailing, previous_trailing_);
      while (duplicate < most && key[duplicate] == previous_[duplicate]) ++duplicate;
    }
    const std::size_t own = key_length_ - duplicate - trailing;
    if (EntriesEnd() + widths_.entry_bytes + own > own_begin_) return false;
    std::uint64_t entry = trailing;
    entry = entry << widths_.count_bits | duplicate;
    entry = entry << widths_.record_bits | record;
    for (std::size_t i = 0; i < widths_.entry_bytes; ++i) {
      page_[EntriesEnd() + i] = static_cast<std::byte>(entry >> (8 * i));
    }
    own_begin_ -= own;
    std::ranges::copy(key.subspan(duplicate, own), page_.begin() + static_cast<std::ptrdiff_t>(own_begin_));
    previous_.assign(key.begin(), key.end());
    previous_trailing_ = trailing;
    ++count_;
    return true;
  }

  Page& Finish() {
    WriteLittle<std::uint16_t>(page_, cdx::kKeyCount, static_cast<std::uint16_t>(count_));
    WriteLittle<std::uint16_t>(page_, cdx::kFree, static_cast<std::uint16_t>(own_begin_ - EntriesEnd()));
    return page_;
  }

 private:
  std::size_t EntriesEnd() const { return cdx::kLeafEntries + count_ * widths_.entry_bytes; }

  std::size_t key_length_;
  Widths widths_;
  std::byte pad_;
  Page page_{};
  std::size_t count_ = 0;
  std::size_t own_begin_ = cdx::kPageSize;
  std::vector<std::byte> previous_;
  std::size_t previous_trailing_ = 0;
};

}  // namespace

CdxBuilder::CdxBuilder(storage::File& file, std::size_t tag_count)
    : file_(file),
      next_(kDirectoryPage + (tag_count <= kTagsOfOnePage ? cdx::kPageSize : 0)),
      buffer_start_(next_) {}

void CdxBuilder::AddTag(Tag tag, std::byte pad, KeySorter& keys) {
  tag.header = next_;
  next_ += cdx::kHeaderSize;
  buffer_.resize(buffer_.size() + cdx::kHeaderSize);
  tag.root = BuildTree(keys, tag.IsUnique(), pad);
  Flush();
  WriteHeader(tag);
  tags_.push_back(std::move(tag));
}

void CdxBuilder::Finish() {
  KeySorter names(cdx::kTagNameLength);
  for (const Tag& tag : tags_) {
    std::array<std::byte, cdx::kTagNameLength> key;
    key.fill(std::byte{' '});
    std::ranges::copy(storage::AsBytes(tag.name).first(std::min(tag.name.size(), key.size())), key.begin());
    names.Add(key, tag.header);
  }
  Flush();
  if (tags_.size() <= kTagsOfOnePage) next_ = buffer_start_ = kDirectoryPage;
  Tag directory;
  directory.key_length = cdx::kTagNameLength;
  directory.options = cdx::kCompact | cdx::kCompound | cdx::kStructural;
  directory.root = BuildTree(names, false, std::byte{' '});
  Flush();
  WriteHeader(directory);
}

std::uint32_t CdxBuilder::BuildTree(KeySorter& keys, bool unique, std::byte pad) {
  keys.Sort();
  std::vector<Child> level = PackLeaves(keys, unique, pad);
  while (level.size() > 1) level = PackInterior(level, keys.key_length());
  return level.front().page;
}

/// Puts the page behind the pages before it. Neighbours lie side by side, so that a page knows its right one
/// before that is written.
void CdxBuilder::Emit(ByteSpan page, std::uint16_t attributes, std::uint32_t left, bool is_last) {
  const bool is_only = is_last && left == cdx::kNoPage;
  const auto mark = static_cast<std::uint16_t>(attributes | (is_only ? cdx::kRootPage : 0));
  WriteLittle<std::uint16_t>(page, cdx::kAttributes, mark);
  WriteLittle<std::uint32_t>(page, cdx::kLeft, left);
  next_ += cdx::kPageSize;
  WriteLittle<std::uint32_t>(page, cdx::kRight, is_last ? cdx::kNoPage : next_);
  buffer_.insert(buffer_.end(), page.begin(), page.end());
  if (buffer_.size() >= kBufferSize) Flush();
}

std::vector<CdxBuilder::Child> CdxBuilder::PackLeaves(KeySorter& keys, bool unique, std::byte pad) {
  const Widths widths(keys.key_length(), keys.GreatestRecord());
  std::vector<Child> leaves;
  std::uint32_t left = cdx::kNoPage;
  std::vector<std::byte> last;
  std::uint32_t last_record = 0;
  const auto next = [&] {
    bool more = keys.Next();
    // A unique tag has the first record of every key.
    while (more && unique && std::ranges::equal(keys.Key(), last)) more = keys.Next();
    return more;
  };
  bool more = next();
  do {
    LeafPacker leaf(keys.key_length(), widths, pad);
    while (more && leaf.Add(keys.Key(), keys.Record())) {
      last.assign(keys.Key().begin(), keys.Key().end());
      last_record = keys.Record();
      more = next();
    }
    leaves.push_back({.key = last, .record = last_record, .page = next_});
    Emit(leaf.Finish(), cdx::kLeafPage, left, !more);
    left = leaves.back().page;
  } while (more);
  return leaves;
}

std::vector<CdxBuilder::Child> CdxBuilder::PackInterior(const std::vector<Child>& children,
                                                        std::size_t key_length) {
  const std::size_t entry_size = key_length + cdx::kInteriorExtra;
  const std::size_t fan_out = (cdx::kPageSize - cdx::kInteriorEntries) / entry_size;
  std::vector<Child> parents;
  std::uint32_t left = cdx::kNoPage;
  for (std::size_t first = 0; first < children.size(); first += fan_out) {
    Page page{};
    const std::size_t count = std::min(fan_out, children.size() - first);
    WriteLittle<std::uint16_t>(page, cdx::kKeyCount, static_cast<std::uint16_t>(count));
    for (std::size_t i = 0; i < count; ++i) {
      const Child& child = children[first + i];
      const std::size_t offset = cdx::kInteriorEntries + i * entry_size;
      std::ranges::copy(child.key, page.begin() + static_cast<std::ptrdiff_t>(offset));
      WriteBig<std::uint32_t>(page, offset + key_length, child.record);
      WriteBig<std::uint32_t>(page, offset + key_length + 4, child.page);
    }
    const Child& last = children[first + count - 1];
    parents.push_back({.key = last.key, .record = last.record, .page = next_});
    Emit(page, 0, left, first + count == children.size());
    left = parents.back().page;
  }
  return parents;
}

void CdxBuilder::WriteHeader(const Tag& tag) {
  std::array<std::byte, cdx::kHeaderSize> header{};
  const auto put = [&](std::size_t offset, std::size_t value) {
    WriteLittle<std::uint16_t>(header, offset, static_cast<std::uint16_t>(value));
  };
  const std::size_t key_end = tag.key.size() + 1;
  const std::size_t condition_end = tag.condition.size() + 1;
  if (key_end + condition_end > cdx::kPoolSize) {
    throw common::Error(common::kInvalidCall,
                        "The expressions of tag " + tag.name + " are too long for an index");
  }
  WriteLittle<std::uint32_t>(header, cdx::kRoot, tag.root);
  put(cdx::kKeyLength, tag.key_length);
  WriteByte(header, cdx::kOptions, tag.options);
  WriteByte(header, cdx::kSignature, 1);
  put(cdx::kDescending, tag.descending ? 1 : 0);
  put(cdx::kForOffset, key_end);
  put(cdx::kForLength, condition_end);
  put(cdx::kKeyTextLength, key_end);
  const auto collation = storage::AsBytes(tag.collation);
  std::ranges::copy(collation.first(std::min(collation.size(), cdx::kCollationSize)),
                    header.begin() + cdx::kCollation);
  std::ranges::copy(storage::AsBytes(tag.key), header.begin() + cdx::kPool);
  std::ranges::copy(storage::AsBytes(tag.condition),
                    header.begin() + static_cast<std::ptrdiff_t>(cdx::kPool + key_end));
  file_.WriteAt(tag.header, header);
}

void CdxBuilder::Flush() {
  if (!buffer_.empty()) file_.WriteAt(buffer_start_, buffer_);
  buffer_.clear();
  buffer_start_ = next_;
}

}  // namespace corvix::foxpro
