// A page of an index tree: its head, a bitmap that tells where entries end, and the entries in ascending
// order.
//
//   0    2  03 01 node, 04 01 leaf
//   2    2  free bytes = 3616 - length of the entry area's used part
//   4    4  page of the table definition
//   12   4  previous page of the level, 0 = none
//   16   4  next page of the level, 0 = none
//   20   4  nodes: tail child, which holds everything above the last entry
//   24   2  prefix length P
//   26   1  leaf 0, node 1
//   27   453  bitmap: bit b (low bit of each byte first) = an entry ends at 480 + b
//   480  3616 entry area
//
// Leaf entry: key, page (3 bytes, big-endian), row (1 byte). Node entry: a leaf entry that no entry of its
// child exceeds, then the child's page (4 bytes, big-endian).
//
// The first entry is stored whole; its first P bytes also belong in front of every further one. So the used
// part of the entry area is the common prefix followed by one *suffix* per entry, and an entry is known by
// the bounds of its suffix (EntrySpan):
//
//   480          480+P
//   | prefix (P) | suffix 0 | suffix 1 | ... | suffix n-1 |  free  |
//
// Nothing here decodes a whole page to look at one entry: the neighbours of a position are found by scanning
// the bitmap in 64-bit words, and a search halves the used bytes.
//
// docs/formats/jet4.md, "Index pages".
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/index/collation.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

/// Length of the row address at the end of a leaf entry, and of the child page at the end of a node entry.
inline constexpr std::size_t kEntryRowLength = 4;
inline constexpr std::size_t kEntryChildLength = 4;
/// The longest entry that is written. Two of them fit in a page, so every page that is full can be divided.
inline constexpr std::size_t kMaxEntry = index_page::kCapacity / 2;

/// The bounds of an entry's suffix, as offsets in the entry area. The span behind the last entry is empty.
struct EntrySpan {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool operator==(const EntrySpan&) const = default;
};

/// The common length of two byte strings' beginnings.
std::size_t CommonPrefix(storage::ByteView a, storage::ByteView b);
/// Unsigned order of byte strings; a beginning of a string is below it.
int CompareBytes(storage::ByteView a, storage::ByteView b);

/// An index page for reading. A view: owns nothing, valid as long as the bytes are.
class IndexPage {
 public:
  explicit IndexPage(const PageView& page) : IndexPage(page.bytes(), page.place()) {}
  /// 3049 when this is no index page or its head contradicts itself.
  IndexPage(storage::ByteView bytes, const Place& place);

  bool IsLeaf() const { return leaf_; }
  PageNumber table() const { return Number(index_page::kTable); }
  PageNumber previous() const { return Number(index_page::kPrevious); }
  PageNumber next() const { return Number(index_page::kNext); }
  PageNumber tail() const { return Number(index_page::kTail); }
  std::size_t used() const { return used_; }
  storage::ByteView prefix() const { return bytes_.subspan(index_page::kEntries, prefix_); }
  bool IsEmpty() const { return used_ == 0; }

  EntrySpan First() const;
  EntrySpan Last() const;
  /// The entry behind `entry`; End() behind the last one.
  EntrySpan After(EntrySpan entry) const { return entry.end >= used_ ? End() : SpanFrom(entry.end); }
  /// The entry before one that is not the first.
  EntrySpan Before(EntrySpan entry) const;
  EntrySpan End() const { return {used_, used_}; }
  bool IsEnd(EntrySpan entry) const { return entry.begin >= used_; }

  /// The first entry that is >= `target`, by their bytes without the child; End() when all are below.
  EntrySpan LowerBound(storage::ByteView target) const;
  /// Order of an entry, without its child, against `target`.
  int Compare(EntrySpan entry, storage::ByteView target) const;

  /// Sets `entry_bytes` to the entry, without its child.
  void Get(EntrySpan entry, Key& entry_bytes) const;
  /// The stored bytes of an entry behind the prefix; in nodes they end with the child.
  storage::ByteView StoredSuffix(EntrySpan entry) const;
  /// Nodes: the child that an entry names.
  PageNumber Child(EntrySpan entry) const;

  const Place& place() const { return place_; }

 protected:
  PageNumber Number(std::size_t offset) const { return storage::ReadLittle<std::uint32_t>(bytes_, offset); }
  /// The suffix without the child.
  storage::ByteView Suffix(EntrySpan entry) const;
  EntrySpan SpanFrom(std::size_t begin) const;
  EntrySpan SpanAround(std::size_t offset) const;

  storage::ByteView bytes_;
  Place place_;
  std::size_t used_ = 0;    // bytes of the entry area
  std::size_t prefix_ = 0;  // P
  bool leaf_ = true;
};

/// Entries taken out of a page, whole, in ascending order: what repacking and dividing work on. Keeps its
/// memory between uses.
class EntryList {
 public:
  /// Sets the list to all entries of a page and `extra`, before the entry at `position`. Node entries have
  /// their children with them. 3049 when the page's entries do not ascend.
  void Assign(const IndexPage& page, EntrySpan position, storage::ByteView extra);

  std::size_t size() const { return entries_.size(); }
  storage::ByteView operator[](std::size_t i) const;
  /// Number of the extra entry.
  std::size_t extra() const { return extra_; }

  /// Length of the entries [first, last), and the entry area that they take with their longest prefix.
  std::size_t Length(std::size_t first, std::size_t last) const;
  std::size_t PackedLength(std::size_t first, std::size_t last) const {
    return PackedLength(first, last, Length(first, last));
  }
  std::size_t PackedLength(std::size_t first, std::size_t last, std::size_t length) const;
  /// The longest prefix that a page of these entries may have.
  std::size_t Prefix(std::size_t first, std::size_t last) const;

 private:
  struct Extent {
    std::size_t begin;
    std::size_t length;
  };
  void Append(storage::ByteView prefix, storage::ByteView suffix);

  std::vector<std::byte> bytes_;
  std::vector<Extent> entries_;
  std::size_t child_length_ = 0;
  std::size_t extra_ = 0;
};

/// An index page for writing. Keeps the free field and the bitmap true.
class IndexPageEdit : public IndexPage {
 public:
  explicit IndexPageEdit(const PageEdit& page)
      : IndexPage(page.bytes(), page.place()), mutable_bytes_(page.bytes()) {}

  /// Makes an empty page of any page.
  static void Format(storage::ByteSpan bytes, PageType type, PageNumber table);

  /// Inserts a whole entry before `position`. When the page cannot hold it, even with the longest prefix, the
  /// page stays as it was, `all` gets its entries and the new one, and the result is false.
  bool Insert(EntrySpan position, storage::ByteView entry, EntryList& all);
  void Erase(EntrySpan entry);
  /// The page holds the entries [first, last) of the list and no others, with a prefix when it needs one.
  /// Their PackedLength must not exceed the page.
  void SetEntries(const EntryList& list, std::size_t first, std::size_t last);

  void SetPrevious(PageNumber page) { SetNumber(index_page::kPrevious, page); }
  void SetNext(PageNumber page) { SetNumber(index_page::kNext, page); }
  void SetTail(PageNumber page) { SetNumber(index_page::kTail, page); }

 private:
  void SetNumber(std::size_t offset, PageNumber page) { storage::WriteLittle(mutable_bytes_, offset, page); }
  void SetUsed(std::size_t used);
  void SetPrefix(std::size_t prefix);

  storage::ByteSpan mutable_bytes_;
};

}  // namespace corvix::jet
