// The data pages of one owner, a table or a long value column, as room for cells. Two usage maps tell them:
// the owned map names all of them, the free-space map those that may take another cell. The page that took
// the last cell is tried first, so that filling a table does not search.
//
// A page leaves the free-space map when a cell does not fit and little room is left, and comes back when
// deleted cells make enough of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"

namespace corvix::jet {

class CellSpace {
 public:
  /// `owner` is what the pages name as theirs. `free_map` may be none: then only the last page is refilled.
  CellSpace(Pager& pager, PageAllocator& allocator, RowRef owned_map, RowRef free_map, std::uint32_t owner);

  /// A page with room for a cell of the length, a new one when need be.
  PageEdit PageFor(std::size_t length);
  /// A new page that is about to be filled whole; not in the free-space map.
  PageEdit NewPage();
  /// Cells of the page were deleted or have shrunk.
  void RoomGained(PageNumber page);
  /// Takes an empty page away from the owner and gives it back to the file.
  void Release(PageNumber page);

  const UsageMap& owned() const { return owned_; }
  std::uint32_t owner() const { return owner_; }

 private:
  bool TakesCell(PageNumber page, std::size_t length) const;
  std::optional<PageNumber> Search(std::size_t length);

  Pager& pager_;
  PageAllocator& allocator_;
  UsageMap owned_;
  std::optional<UsageMap> free_space_;
  std::uint32_t owner_;
  PageNumber current_ = 0;        // took the last cell; 0 = none
  std::uint64_t undo_count_ = 0;  // of the pager when current_ was set
};

}  // namespace corvix::jet
