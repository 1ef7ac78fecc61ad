#include "storage/jet/index/index_page.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>

namespace corvix::jet {
namespace {

using storage::ByteSpan;
using storage::ByteView;

constexpr std::size_t kWordBits = 64;
constexpr std::size_t kWords = (index_page::kBitmapLength + 7) / 8;
using Bitmap = std::array<std::uint64_t, kWords>;

// The last word reaches into the entries, which lie behind the bitmap: their bits do not count.
constexpr std::uint64_t kLastWordMask = ~std::uint64_t{0} >> 8 * (8 * kWords - index_page::kBitmapLength);
static_assert(index_page::kBitmap + 8 * kWords <= kPageSize);

/// Word `w` of the bitmap of a page; bits behind the bitmap's last byte are 0.
std::uint64_t Word(ByteView page, std::size_t w) {
  std::uint64_t word = 0;
  std::memcpy(&word, page.data() + index_page::kBitmap + 8 * w, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = storage::SwapBytes(word);
  return w == kWords - 1 ? word & kLastWordMask : word;
}

constexpr std::uint64_t BitsUpTo(std::size_t bit) { return ~std::uint64_t{0} >> (kWordBits - 1 - bit); }

/// First set bit behind `after`, or `limit` when there is none below it.
std::size_t NextBit(ByteView page, std::size_t after, std::size_t limit) {
  std::size_t w = after / kWordBits;
  std::uint64_t word = Word(page, w) & ~BitsUpTo(after % kWordBits);
  while (word == 0) {
    if (++w * kWordBits > limit) return limit;
    word = Word(page, w);
  }
  return std::min(limit, w * kWordBits + static_cast<std::size_t>(std::countr_zero(word)));
}

/// Last set bit that is <= `at`; 0 when there is none.
std::size_t PreviousBit(ByteView page, std::size_t at) {
  std::size_t w = at / kWordBits;
  std::uint64_t word = Word(page, w) & BitsUpTo(at % kWordBits);
  while (word == 0) {
    if (w == 0) return 0;
    word = Word(page, --w);
  }
  return w * kWordBits + kWordBits - 1 - static_cast<std::size_t>(std::countl_zero(word));
}

void SetWord(ByteSpan page, std::size_t w, std::uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = storage::SwapBytes(word);
  const std::size_t length = std::min<std::size_t>(8, index_page::kBitmapLength - 8 * w);
  std::memcpy(page.data() + index_page::kBitmap + 8 * w, &word, length);
}

void Save(ByteSpan page, const Bitmap& bits) {
  for (std::size_t w = 0; w < kWords; ++w) SetWord(page, w, bits[w]);
}

void SetBit(Bitmap& bits, std::size_t bit) { bits[bit / kWordBits] |= std::uint64_t{1} << bit % kWordBits; }

/// The bits of a bitmap that are moved: those in (after, last]. Words outside the bitmap are 0.
class MovedBits {
 public:
  MovedBits(ByteView page, std::size_t after, std::size_t last) : page_(page), after_(after), last_(last) {}

  std::uint64_t operator[](std::size_t w) const {
    if (w < after_ / kWordBits || w > last_ / kWordBits) return 0;
    std::uint64_t word = Word(page_, w);
    if (w == after_ / kWordBits) word &= ~BitsUpTo(after_ % kWordBits);
    if (w == last_ / kWordBits) word &= BitsUpTo(last_ % kWordBits);
    return word;
  }

 private:
  ByteView page_;
  std::size_t after_;
  std::size_t last_;
};

// Both work on the words of the page itself, each read before it is overwritten, and leave no bit set in the
// words behind the moved ones that they touch: bits behind the last entry mean nothing and must not come to
// mean something.

/// Moves the bits in (at, last] up by `distance` > 0 and sets the one at `at` + `distance`: an entry of that
/// length is put in at `at`.
void OpenGap(ByteSpan page, std::size_t at, std::size_t last, std::size_t distance) {
  const MovedBits moved(page, at, last);
  const std::size_t words = distance / kWordBits;
  const std::size_t rest = distance % kWordBits;
  const std::size_t first_word = at / kWordBits;
  for (std::size_t w = (last + distance) / kWordBits + 1; w-- > first_word;) {
    std::uint64_t word = w < words ? 0 : moved[w - words] << rest;
    if (rest != 0 && w > words) word |= moved[w - words - 1] >> (kWordBits - rest);
    if (w == first_word) word |= Word(page, w) & BitsUpTo(at % kWordBits);
    if (w == (at + distance) / kWordBits) word |= std::uint64_t{1} << (at + distance) % kWordBits;
    SetWord(page, w, word);
  }
}

/// Takes the bits in (begin, end] out and moves those in (end, last] down to `begin`.
void CloseGap(ByteSpan page, std::size_t begin, std::size_t end, std::size_t last) {
  const MovedBits moved(page, end, last);
  const std::size_t words = (end - begin) / kWordBits;
  const std::size_t rest = (end - begin) % kWordBits;
  for (std::size_t w = begin / kWordBits; w <= last / kWordBits; ++w) {
    std::uint64_t word = moved[w + words] >> rest;
    if (rest != 0) word |= moved[w + words + 1] << (kWordBits - rest);
    if (w == begin / kWordBits) word |= Word(page, w) & BitsUpTo(begin % kWordBits);
    SetWord(page, w, word);
  }
}

/// The shortest suffix that an entry may have: it must not be empty, and a node's child must be whole in it.
std::size_t MinSuffix(bool leaf) { return leaf ? 1 : 1 + kEntryChildLength; }

/// The first 8 bytes of a string as a number, zeros behind a shorter one: strings whose numbers differ stand
/// in the order of these.
std::uint64_t HeadOf(ByteView bytes) {
  std::uint64_t head = 0;
  if (bytes.size() >= sizeof head) {
    std::memcpy(&head, bytes.data(), sizeof head);
  } else if (!bytes.empty()) {
    std::memcpy(&head, bytes.data(), bytes.size());
  }
  if constexpr (std::endian::native == std::endian::little) head = storage::SwapBytes(head);
  return head;
}

[[noreturn]] void ThrowTooShort(const Place& place, std::size_t length) {
  ThrowDamaged(place, "An index entry of " + std::to_string(length) + " bytes is too short");
}

}  // namespace

std::size_t CommonPrefix(ByteView a, ByteView b) {
  return static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
}

int CompareBytes(ByteView a, ByteView b) {
  const std::size_t common = std::min(a.size(), b.size());
  if (common > 0) {
    if (const int order = std::memcmp(a.data(), b.data(), common); order != 0) return order;
  }
  return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

IndexPage::IndexPage(ByteView bytes, const Place& place)
    : bytes_(storage::Slice(bytes, 0, kPageSize)), place_(place) {
  const std::uint8_t type = storage::ReadByte(bytes_, kPageTypeOffset);
  leaf_ = type == static_cast<std::uint8_t>(PageType::IndexLeaf);
  if (!leaf_ && type != static_cast<std::uint8_t>(PageType::IndexNode)) {
    ThrowDamaged(place_, "An index page was expected, the page is of type " + std::to_string(type));
  }
  const std::size_t free = storage::ReadLittle<std::uint16_t>(bytes_, index_page::kFree);
  if (free > index_page::kCapacity) {
    ThrowDamaged(place_, "The index page claims " + std::to_string(free) + " free bytes, more than it has");
  }
  used_ = index_page::kCapacity - free;
  if (used_ == 0) return;
  prefix_ = storage::ReadLittle<std::uint16_t>(bytes_, index_page::kPrefix);
  if (PreviousBit(bytes_, used_) != used_) {
    ThrowDamaged(place_, "The index page's free bytes and the bitmap of its entries disagree");
  }
  if (NextBit(bytes_, 0, used_) <= prefix_) {
    ThrowDamaged(place_, "The index page's common prefix of " + std::to_string(prefix_) +
                             " bytes is longer than its first entry");
  }
}

EntrySpan IndexPage::SpanFrom(std::size_t begin) const { return {begin, NextBit(bytes_, begin, used_)}; }

EntrySpan IndexPage::SpanAround(std::size_t offset) const {
  return {std::max(PreviousBit(bytes_, offset), prefix_), NextBit(bytes_, offset, used_)};
}

EntrySpan IndexPage::First() const { return IsEmpty() ? End() : SpanFrom(prefix_); }

EntrySpan IndexPage::Last() const { return IsEmpty() ? End() : SpanAround(used_ - 1); }

EntrySpan IndexPage::Before(EntrySpan entry) const { return SpanAround(entry.begin - 1); }

ByteView IndexPage::StoredSuffix(EntrySpan entry) const {
  const std::size_t length = entry.end - entry.begin;
  if (length < MinSuffix(leaf_) || prefix_ + length <= kEntryRowLength + (leaf_ ? 0 : kEntryChildLength)) {
    ThrowTooShort(place_, prefix_ + length);
  }
  return bytes_.subspan(index_page::kEntries + entry.begin, length);
}

ByteView IndexPage::Suffix(EntrySpan entry) const {
  const ByteView stored = StoredSuffix(entry);
  return leaf_ ? stored : stored.first(stored.size() - kEntryChildLength);
}

EntrySpan IndexPage::LowerBound(ByteView target) const {
  if (IsEmpty()) return End();
  const ByteView common = prefix();
  const int order = CompareBytes(common, target.first(std::min(target.size(), common.size())));
  if (order > 0) return First();
  if (order < 0) return End();
  const ByteView rest = target.subspan(common.size());
  const std::uint64_t head = HeadOf(rest);
  // Entries that begin before `low` are below the target, those from `high` on are not.
  std::size_t low = prefix_;
  std::size_t high = used_;
  while (low < high) {
    const EntrySpan middle = SpanAround(low + (high - low) / 2);
    const ByteView suffix = Suffix(middle);
    const std::uint64_t middle_head = HeadOf(suffix);
    if (middle_head != head ? middle_head < head : CompareBytes(suffix, rest) < 0) {
      low = middle.end;
    } else {
      high = middle.begin;
    }
  }
  return low < used_ ? SpanFrom(low) : End();
}

int IndexPage::Compare(EntrySpan entry, ByteView target) const {
  const ByteView common = prefix();
  const int order = CompareBytes(common, target.first(std::min(target.size(), common.size())));
  return order != 0 ? order : CompareBytes(Suffix(entry), target.subspan(common.size()));
}

void IndexPage::Get(EntrySpan entry, Key& entry_bytes) const {
  const ByteView common = prefix();
  const ByteView suffix = Suffix(entry);
  entry_bytes.assign(common.begin(), common.end());
  entry_bytes.insert(entry_bytes.end(), suffix.begin(), suffix.end());
}

PageNumber IndexPage::Child(EntrySpan entry) const {
  const std::size_t length = Suffix(entry).size();
  return storage::ReadBig<std::uint32_t>(bytes_, index_page::kEntries + entry.begin + length);
}

void EntryList::Append(ByteView prefix, ByteView suffix) {
  entries_.push_back({bytes_.size(), prefix.size() + suffix.size()});
  bytes_.insert(bytes_.end(), prefix.begin(), prefix.end());
  bytes_.insert(bytes_.end(), suffix.begin(), suffix.end());
}

void EntryList::Assign(const IndexPage& page, EntrySpan position, ByteView extra) {
  bytes_.clear();
  entries_.clear();
  child_length_ = page.IsLeaf() ? 0 : kEntryChildLength;
  extra_ = 0;
  ByteView last;
  for (EntrySpan entry = page.First(); !page.IsEnd(entry); entry = page.After(entry)) {
    if (entry == position) {
      extra_ = entries_.size();
      Append({}, extra);
    }
    const ByteView suffix = page.StoredSuffix(entry);
    const ByteView compared = suffix.first(suffix.size() - child_length_);
    if (last.data() != nullptr && CompareBytes(last, compared) >= 0) {
      ThrowDamaged(page.place(), "The entries of the index page are not in ascending order");
    }
    Append(page.prefix(), suffix);
    last = compared;
  }
  if (page.IsEnd(position)) {
    extra_ = entries_.size();
    Append({}, extra);
  }
}

ByteView EntryList::operator[](std::size_t i) const {
  return ByteView(bytes_).subspan(entries_[i].begin, entries_[i].length);
}

std::size_t EntryList::Length(std::size_t first, std::size_t last) const {
  std::size_t length = 0;
  for (std::size_t i = first; i < last; ++i) length += entries_[i].length;
  return length;
}

std::size_t EntryList::PackedLength(std::size_t first, std::size_t last, std::size_t length) const {
  return last - first < 2 ? length : length - Prefix(first, last) * (last - first - 1);
}

std::size_t EntryList::Prefix(std::size_t first, std::size_t last) const {
  const ByteView lowest = (*this)[first].first(entries_[first].length - child_length_);
  const ByteView highest = (*this)[last - 1].first(entries_[last - 1].length - child_length_);
  // What the lowest and the highest entry share all share; a byte of the first entry stays its own.
  return std::min(CommonPrefix(lowest, highest), lowest.size() - 1);
}

void IndexPageEdit::Format(ByteSpan bytes, PageType type, PageNumber table) {
  const ByteSpan page = storage::Slice(bytes, 0, kPageSize);
  std::ranges::fill(page, std::byte{0});
  storage::WriteByte(page, kPageTypeOffset, static_cast<std::uint8_t>(type));
  storage::WriteByte(page, 1, 1);
  storage::WriteLittle<std::uint16_t>(page, index_page::kFree, index_page::kCapacity);
  storage::WriteLittle(page, index_page::kTable, table);
  storage::WriteByte(page, index_page::kLevel, type == PageType::IndexNode ? 1 : 0);
}

void IndexPageEdit::SetUsed(std::size_t used) {
  used_ = used;
  storage::WriteLittle(mutable_bytes_, index_page::kFree,
                       static_cast<std::uint16_t>(index_page::kCapacity - used));
}

void IndexPageEdit::SetPrefix(std::size_t prefix) {
  prefix_ = prefix;
  storage::WriteLittle(mutable_bytes_, index_page::kPrefix, static_cast<std::uint16_t>(prefix));
}

bool IndexPageEdit::Insert(EntrySpan position, ByteView entry, EntryList& all) {
  if (IsEmpty()) SetPrefix(0);
  const bool shares_prefix =
      entry.size() >= prefix_ + MinSuffix(leaf_) && std::ranges::equal(entry.first(prefix_), prefix());
  if (!shares_prefix || used_ + entry.size() - prefix_ > index_page::kCapacity) {
    all.Assign(*this, position, entry);
    if (all.PackedLength(0, all.size()) > index_page::kCapacity) return false;
    SetEntries(all, 0, all.size());
    return true;
  }
  const ByteView suffix = entry.subspan(prefix_);
  const std::size_t begin = position.begin;
  std::byte* const target = mutable_bytes_.data() + index_page::kEntries + begin;
  std::memmove(target + suffix.size(), target, used_ - begin);
  std::memcpy(target, suffix.data(), suffix.size());
  if (IsEmpty()) Save(mutable_bytes_, Bitmap{});
  OpenGap(mutable_bytes_, begin, used_, suffix.size());
  SetUsed(used_ + suffix.size());
  return true;
}

void IndexPageEdit::Erase(EntrySpan entry) {
  const std::size_t length = entry.end - entry.begin;
  if (used_ - length == prefix_) {
    Save(mutable_bytes_, Bitmap{});
    SetPrefix(0);
    SetUsed(0);
    return;
  }
  std::byte* const target = mutable_bytes_.data() + index_page::kEntries + entry.begin;
  std::memmove(target, target + length, used_ - entry.end);
  CloseGap(mutable_bytes_, entry.begin, entry.end, used_);
  SetUsed(used_ - length);
}

void IndexPageEdit::SetEntries(const EntryList& list, std::size_t first, std::size_t last) {
  const std::size_t length = list.Length(first, last);
  SetPrefix(length <= index_page::kCapacity ? 0 : list.Prefix(first, last));
  Bitmap bits{};
  std::size_t end = 0;
  for (std::size_t i = first; i < last; ++i) {
    const ByteView stored = list[i].subspan(i == first ? 0 : prefix_);
    std::ranges::copy(stored,
                      storage::Slice(mutable_bytes_, index_page::kEntries + end, stored.size()).begin());
    end += stored.size();
    SetBit(bits, end);
  }
  Save(mutable_bytes_, bits);
  SetUsed(end);
}

}  // namespace corvix::jet
