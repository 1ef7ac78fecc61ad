#include "storage/jet/pages/page.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace corvix::jet {

using storage::ByteSpan;
using storage::ByteView;
using storage::ReadLittle;
using storage::WriteLittle;

namespace {

std::size_t RowTableEnd(std::size_t cells) { return data_page::kRowTable + DataPage::kSlotSize * cells; }

}  // namespace

DataPage::DataPage(ByteView bytes, const Place& place) : bytes_(bytes), place_(place) {
  const auto type = storage::ReadByte(bytes_, kPageTypeOffset);
  if (type != static_cast<std::uint8_t>(PageType::Data)) {
    ThrowDamaged(place_, fmt::format("A data page was expected, but the page is of type {}", type));
  }
  cell_count_ = ReadLittle<std::uint16_t>(bytes_, data_page::kCells);
  if (cell_count_ > data_page::kMaxCells) {
    ThrowDamaged(place_,
                 fmt::format("The page claims {} rows; it can hold {}", cell_count_, data_page::kMaxCells));
  }
}

bool DataPage::IsOwnedBy(ByteView bytes, std::uint32_t owner) {
  return bytes.size() == kPageSize &&
         storage::ReadByte(bytes, kPageTypeOffset) == static_cast<std::uint8_t>(PageType::Data) &&
         ReadLittle<std::uint32_t>(bytes, data_page::kOwner) == owner;
}

std::uint32_t DataPage::owner() const { return ReadLittle<std::uint32_t>(bytes_, data_page::kOwner); }

std::uint16_t DataPage::Slot(std::size_t row) const {
  if (row >= cell_count_) {
    ThrowDamaged(PlaceOf(row), fmt::format("There is no such row; the page has {}", cell_count_));
  }
  return ReadLittle<std::uint16_t>(bytes_, RowTableEnd(row));
}

Cell DataPage::CellAt(std::size_t row) const {
  const std::uint16_t slot = Slot(row);
  const std::size_t begin = slot & data_page::kOffsetMask;
  const std::size_t end = row == 0 ? kPageSize : Slot(row - 1) & data_page::kOffsetMask;
  if (begin > end || end > kPageSize || begin < RowTableEnd(cell_count_)) {
    ThrowDamaged(PlaceOf(row), fmt::format("The row cannot reach from byte {} to byte {}", begin, end));
  }
  constexpr auto kFlags = data_page::kDeleted | data_page::kPointer;
  return {begin, end - begin, CellState{static_cast<std::uint16_t>(slot & kFlags)}};
}

ByteView DataPage::CellBytes(std::size_t row) const {
  const Cell cell = CellAt(row);
  return bytes_.subspan(cell.offset, cell.length);
}

RowRef DataPage::PointerAt(std::size_t row) const {
  const ByteView cell = CellBytes(row);
  if (cell.size() < sizeof(std::uint32_t)) {
    ThrowDamaged(PlaceOf(row), fmt::format("A row of {} bytes cannot point to another page", cell.size()));
  }
  return RowRef::Unpack(ReadLittle<std::uint32_t>(cell, 0));
}

std::size_t DataPage::LowestCell() const {
  if (cell_count_ == 0) return kPageSize;
  return CellAt(cell_count_ - 1).offset;
}

std::size_t DataPage::free_bytes() const { return LowestCell() - RowTableEnd(cell_count_); }

bool DataPage::HasRoomFor(std::size_t length) const {
  return cell_count_ < data_page::kMaxCells && length + kSlotSize <= free_bytes();
}

bool DataPage::IsEmpty() const {
  for (std::size_t row = 0; row < cell_count_; ++row) {
    if (CellAt(row).state != CellState::Deleted) return false;
  }
  return true;
}

DataPageEdit::DataPageEdit(ByteSpan bytes, const Place& place)
    : DataPage(bytes, place), mutable_bytes_(bytes) {}

void DataPageEdit::Format(ByteSpan bytes, std::uint32_t owner) {
  std::ranges::fill(bytes, std::byte{0});
  storage::WriteByte(bytes, kPageTypeOffset, static_cast<std::uint8_t>(PageType::Data));
  storage::WriteByte(bytes, kPageTypeOffset + 1, 1);
  WriteLittle<std::uint16_t>(bytes, data_page::kFree, kCapacity);
  WriteLittle<std::uint32_t>(bytes, data_page::kOwner, owner);
}

void DataPageEdit::SetSlot(std::size_t row, std::size_t offset, CellState state) {
  WriteLittle<std::uint16_t>(mutable_bytes_, RowTableEnd(row),
                             static_cast<std::uint16_t>(offset | static_cast<std::uint16_t>(state)));
}

void DataPageEdit::UpdateFreeBytes() {
  WriteLittle<std::uint16_t>(mutable_bytes_, data_page::kFree, static_cast<std::uint16_t>(free_bytes()));
}

std::uint8_t DataPageEdit::Append(ByteView cell, CellState state) {
  const std::size_t row = cell_count_;
  const std::size_t offset = LowestCell() - cell.size();
  std::ranges::copy(cell, storage::Slice(mutable_bytes_, offset, cell.size()).begin());
  SetSlot(row, offset, state);
  ++cell_count_;
  WriteLittle<std::uint16_t>(mutable_bytes_, data_page::kCells, static_cast<std::uint16_t>(cell_count_));
  UpdateFreeBytes();
  return static_cast<std::uint8_t>(row);
}

bool DataPageEdit::Resize(std::size_t row, std::size_t length) {
  const Cell cell = CellAt(row);
  if (length > cell.length && length - cell.length > free_bytes()) return false;
  // All cells below move; each must lie below its neighbour, or the move would scatter them.
  std::size_t lowest = cell.offset;
  for (std::size_t below = row + 1; below < cell_count_; ++below) lowest = CellAt(below).offset;

  const std::size_t end = cell.offset + cell.length;
  std::byte* const page = mutable_bytes_.data();
  const std::size_t kept = std::min(length, cell.length);
  const std::size_t below = cell.offset - lowest;
  const std::size_t new_lowest = end - length - below;
  if (length > cell.length) {
    std::memmove(page + new_lowest, page + lowest, below + kept);
    std::memset(page + end - (length - kept), 0, length - kept);
  } else {
    std::memmove(page + end - length, page + cell.offset, kept);
    std::memmove(page + new_lowest, page + lowest, below);
    std::memset(page + lowest, 0, new_lowest - lowest);
  }
  for (std::size_t moved = cell_count_; moved-- > row;) {
    const Cell old = CellAt(moved);
    SetSlot(moved, old.offset + cell.length - length, old.state);
  }
  UpdateFreeBytes();
  return true;
}

bool DataPageEdit::Replace(std::size_t row, ByteView cell, CellState state) {
  if (!Resize(row, cell.size())) return false;
  const Cell place = CellAt(row);
  std::ranges::copy(cell, mutable_bytes_.subspan(place.offset, place.length).begin());
  SetSlot(row, place.offset, state);
  return true;
}

ByteSpan DataPageEdit::MutableCell(std::size_t row) {
  const Cell cell = CellAt(row);
  return mutable_bytes_.subspan(cell.offset, cell.length);
}

void DataPageEdit::SetPointer(std::size_t row, RowRef target) {
  const Cell cell = CellAt(row);
  WriteLittle<std::uint32_t>(MutableCell(row), 0, target.Packed());
  SetSlot(row, cell.offset, CellState::Pointer);
}

void DataPageEdit::Delete(std::size_t row) {
  Resize(row, 0);
  SetSlot(row, CellAt(row).offset, CellState::Deleted);
}

}  // namespace corvix::jet
