// A data page: cells that grow down from the end of the page, and a row table that grows up behind the head.
//
//   0   2  01 01 (type data page)
//   2   2  free bytes between the row table and the lowest cell
//   4   4  page number of the owning table definition; "LVAL" on long value pages; 0 on usage map pages
//   8   4  ignored
//   12  2  number of cells n, deleted ones included, at most 255
//   14  2n row table: offset of the cell (mask 0x1FFF), 0x8000 deleted, 0x4000 pointer
//
//   14                14+2n                                                      4096
//   | row 0 | row 1 | ... |  free  | cell n-1 | ... | cell 1 | cell 0 |
//
// Cell 0 ends at 4096, cell r where cell r-1 starts; there are no gaps between cells. The states of a slot:
//
//   no flag  live row          0x4000  pointer: the first 4 bytes are the address of the moved row
//   0x8000   target of a pointer, live but reached only through it    0xC000  deleted, length mostly 0
//
// The classes are views: they own nothing and are valid as long as the bytes are. Every offset that the page
// holds is checked when it is used; damage is error 3049 naming file and page.
//
// docs/formats/jet4.md, "Data pages".
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/base/bytes.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

/// What the slot of a cell says.
enum class CellState : std::uint16_t {
  Live = 0,
  Pointer = data_page::kPointer,
  Target = data_page::kDeleted,
  Deleted = data_page::kDeleted | data_page::kPointer,
};

struct Cell {
  std::size_t offset = 0;
  std::size_t length = 0;
  CellState state = CellState::Live;
};

/// A data page for reading.
class DataPage {
 public:
  /// Owner of long value pages: the characters "LVAL".
  static constexpr std::uint32_t kLongValueOwner = 0x4C41564C;
  /// Room of an empty page for cells and their slots.
  static constexpr std::size_t kCapacity = kPageSize - data_page::kRowTable;
  static constexpr std::size_t kSlotSize = 2;

  /// The head and the size of the row table are checked here; 3049 when this is no data page.
  explicit DataPage(const PageView& page) : DataPage(page.bytes(), page.place()) {}
  DataPage(storage::ByteView bytes, const Place& place);

  /// True when the page calls itself a data page with this owner. Never throws.
  static bool IsOwnedBy(storage::ByteView bytes, std::uint32_t owner);

  std::uint32_t owner() const;
  std::size_t cell_count() const { return cell_count_; }
  /// The free-byte field, never more than the page has room for.
  std::size_t free_bytes() const;
  /// True when a cell of that length and its slot can be added.
  bool HasRoomFor(std::size_t length) const;
  /// 3049 when the page has no such row or its bounds are impossible.
  Cell CellAt(std::size_t row) const;
  storage::ByteView CellBytes(std::size_t row) const;
  /// Address that a pointer cell holds; 3049 when the cell is too short for one.
  RowRef PointerAt(std::size_t row) const;
  /// True when no cell but deleted ones is left.
  bool IsEmpty() const;
  const Place& place() const { return place_; }

 protected:
  std::uint16_t Slot(std::size_t row) const;
  /// Offset of the lowest cell; 4096 when there is none.
  std::size_t LowestCell() const;
  Place PlaceOf(std::size_t row) const { return {place_.file, place_.page, row}; }

  storage::ByteView bytes_;
  Place place_;
  std::size_t cell_count_ = 0;
};

/// A data page for writing. Keeps the free-byte field true.
class DataPageEdit : public DataPage {
 public:
  explicit DataPageEdit(const PageEdit& page) : DataPageEdit(page.bytes(), page.place()) {}
  DataPageEdit(storage::ByteSpan bytes, const Place& place);

  /// Makes an empty data page of any page.
  static void Format(storage::ByteSpan bytes, std::uint32_t owner);

  /// Adds a cell below the others and returns its row. HasRoomFor(length) must hold.
  std::uint8_t Append(storage::ByteView cell, CellState state = CellState::Live);
  /// Replaces the content and state of a cell, moving the cells below it. False, and nothing changed, when
  /// the page has no room.
  bool Replace(std::size_t row, storage::ByteView cell, CellState state);
  /// Changes the length of a cell, keeping its first bytes and its state; new bytes are zero. False, and
  /// nothing changed, when the page has no room.
  bool Resize(std::size_t row, std::size_t length);
  /// The bytes of a cell, to be changed in place.
  storage::ByteSpan MutableCell(std::size_t row);
  /// Turns a cell of at least 4 bytes into a pointer; it keeps its length.
  void SetPointer(std::size_t row, RowRef target);
  /// Marks a cell deleted and gives its bytes back.
  void Delete(std::size_t row);

 private:
  void SetSlot(std::size_t row, std::size_t offset, CellState state);
  void UpdateFreeBytes();

  storage::ByteSpan mutable_bytes_;
};

}  // namespace corvix::jet
