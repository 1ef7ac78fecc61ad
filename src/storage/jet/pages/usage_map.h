// Usage maps: sets of page numbers, each stored in one cell of a data page and named by the cell's address.
//
// Kind 0, inline:     +0 00; +1 first page S (4 bytes, a multiple of 8); +5 bitmap, bit p-S for page p.
//                     69 bytes (512 pages) when created.
// Kind 1, reference:  +0 01; +1 page numbers (4 bytes each) of bitmap pages; number i covers the pages from
//                     i x 32736 on, 0 = none of them is in the set.
// Bitmap page:        05 01 00 00, then 4092 bytes of bitmap.
//
// Bits count from the low end of each byte. A map grows in place: an inline map first moves its window, then
// widens its cell by steps of 4 bytes where its page has room, then turns into kind 1, which reaches 2 GiB in
// 69 bytes. In the global map, which tells the free pages, the window begins at 0 and stays there, and pages
// behind the end of the file are free.
//
// The objects hold no copy of the bits: what they say is what the pages say, and several objects of one map
// may be used side by side.
//
// docs/formats/jet4.md, "Usage maps".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "storage/jet/pages/index_pages.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

class PageAllocator;

class UsageMap {
 public:
  /// Length of the cell of a new map.
  static constexpr std::size_t kNewCell = 69;
  /// Pages that one bitmap page covers.
  static constexpr PageNumber kPagesPerBitmap = (kPageSize - 4) * 8;

  /// `allocator` gives bitmap pages when the map grows; null for maps that are only read.
  UsageMap(Pager& pager, RowRef cell, PageAllocator* allocator = nullptr);

  /// Adds the cell of an empty map to a page of maps and returns its address. The page must have room.
  static RowRef Create(Pager& pager, PageNumber map_page);

  bool Contains(PageNumber page) const;
  void Add(PageNumber page);
  void Remove(PageNumber page);

  /// Lowest page of the set that is >= `from`; highest that is <= `from`. Pages outside the file are left
  /// out: a map may name them, but they are not there.
  std::optional<PageNumber> NextFrom(PageNumber from) const;
  std::optional<PageNumber> PreviousFrom(PageNumber from) const;
  std::optional<PageNumber> First() const { return NextFrom(0); }
  std::optional<PageNumber> Last() const;

 private:
  friend class PageAllocator;
  enum class Purpose { Owned, GlobalFree };
  struct Layout;
  struct Stretch;

  UsageMap(Pager& pager, RowRef cell, PageAllocator* allocator, Purpose purpose);

  Layout Open() const;
  std::optional<Stretch> StretchAt(const Layout& layout, PageNumber page) const;
  bool Covers(PageNumber page) const;
  void SetBit(PageNumber page, bool value);
  /// Gives the map a bit for the page.
  void Cover(PageNumber page);
  bool RewriteInline(const Layout& layout, PageNumber page);
  void ConvertToReference(const Layout& layout);
  void AddBitmapPage(PageNumber page);
  std::vector<PageNumber> InlinePages(const Layout& layout) const;
  /// New bits of the global map, from page `from` on: pages that do not exist yet count as free.
  void MarkPagesBehindEnd(storage::ByteSpan bits, PageNumber first, PageNumber from) const;

  Pager& pager_;
  RowRef cell_;
  PageAllocator* allocator_;
  Purpose purpose_;
};

/// Free pages of the file: the global map (row 0 of page 1), where a set bit means free. Keeps in mind below
/// which page nothing is free, so that allocating is no search of the whole map.
class PageAllocator {
 public:
  explicit PageAllocator(Pager& pager);

  /// Makes page 1 of a new file, which must exist: the global map, in which all pages past the end are free,
  /// and the second, empty map.
  static void Format(Pager& pager);

  /// The lowest free page inside the file, or a new one behind its end; zeros.
  PageEdit Allocate();
  /// Makes the page free. Its bytes are left as they are.
  void Release(PageNumber page);

 private:
  static constexpr PageNumber kFirstAllocated = kRelationshipsTable + 1;  // lower ones have a fixed purpose

  PageEdit AppendPage();

  Pager& pager_;
  UsageMap map_;
  PageNumber search_from_ = kFirstAllocated;  // no page below is free
  std::uint64_t undo_count_ = 0;              // of the pager when search_from_ was found
};

/// Pages of an index: allocated from the file and written down in the index's usage map.
class MappedIndexPages : public IndexPages {
 public:
  MappedIndexPages(PageAllocator& allocator, Pager& pager, RowRef usage_map);
  PageNumber Allocate() override;
  void Release(PageNumber page) override;

 private:
  PageAllocator& allocator_;
  UsageMap map_;
};

}  // namespace corvix::jet
