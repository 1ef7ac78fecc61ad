#include "storage/jet/check/check_pages.h"

#include <algorithm>
#include <bit>

namespace corvix::jet::check {
namespace {

using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;

constexpr std::uint8_t kInlineMap = 0;
constexpr std::uint8_t kReferenceMap = 1;
constexpr std::size_t kInlineHead = 5;
constexpr std::size_t kReferenceHead = 1;
constexpr std::size_t kBitmapHead = 4;
constexpr PageNumber kPagesPerBitmap = (kPageSize - kBitmapHead) * 8;

Cell Unusable() { return {0, 0, CellState::Deleted}; }

// Adds the pages of a stretch of bits.
void AddBits(ByteView bits, std::uint64_t first, PageNumber page_count, PageSet& set) {
  for (std::size_t i = 0; i < bits.size(); ++i) {
    for (auto byte = std::to_integer<unsigned>(bits[i]); byte != 0; byte &= byte - 1) {
      const std::uint64_t page = first + 8 * i + static_cast<unsigned>(std::countr_zero(byte));
      if (page < page_count) {
        set.pages.push_back(static_cast<PageNumber>(page));
      } else if (set.first_beyond == 0) {
        set.first_beyond = static_cast<PageNumber>(std::min<std::uint64_t>(page, UINT32_MAX));
      }
    }
  }
  const std::uint64_t end = first + 8 * std::uint64_t{bits.size()};
  set.reach = static_cast<PageNumber>(std::min<std::uint64_t>(end, UINT32_MAX));
}

void AddReferences(Context& context, RowRef cell, ByteView map, const std::string& what, PageSet& set) {
  std::optional<PageOwners::Owner> owner;
  // What stands where no page of the largest file could be is left of the map that was there before.
  constexpr std::size_t kMostReferences = (kMaxFileSize / kPageSize + kPagesPerBitmap - 1) / kPagesPerBitmap;
  const std::size_t count = std::min((map.size() - kReferenceHead) / 4, kMostReferences);
  for (std::size_t i = 0; i < count; ++i) {
    const auto page = ReadLittle<std::uint32_t>(map, kReferenceHead + 4 * i);
    if (page == 0) continue;
    if (!owner) owner = context.owners.Add("bits of the map of " + what);
    if (!context.owners.Claim(page, *owner, context.findings)) continue;
    const PageView view = context.pager.Read(page);
    if (ReadByte(view.bytes(), kPageTypeOffset) != static_cast<std::uint8_t>(PageType::UsageBitmap)) {
      context.findings.Problem(page, "page {}, named by the map {} of {}, is no page of bits", page, At(cell),
                               what);
      continue;
    }
    CheckHead(context, view, "the map of " + what);
    AddBits(view.bytes().subspan(kBitmapHead), std::uint64_t{kPagesPerBitmap} * i, context.pager.page_count(),
            set);
  }
  set.reach = static_cast<PageNumber>(count * kPagesPerBitmap);
}

// The page of a map's cell belongs to maps alone; it is checked when the first of its maps is read.
bool ClaimMapPage(Context& context, RowRef cell, const std::string& what) {
  const PageOwners::Owner owner = context.owners.OwnerOf(cell.page);
  if (owner == context.map_pages || cell.page == kGlobalMapPage) return true;
  if (owner != PageOwners::kNone) {
    context.findings.Problem(cell.page, "the map {} of {} lies on a page of {}", At(cell), what,
                             context.owners.NameOf(owner));
    return false;
  }
  if (!context.owners.Claim(cell.page, context.map_pages, context.findings)) return false;
  const auto page = ReadDataPage(context, cell.page, 0, "usage maps");
  if (page) CheckCells(context, *page, "usage maps");
  return page.has_value();
}

}  // namespace

void CheckHead(Context& context, const PageView& page, const std::string& what) {
  const std::uint8_t second = ReadByte(page.bytes(), kPageTypeOffset + 1);
  if (second == 1) return;
  context.findings.Problem(page.number(), "page {} of {} has {:#04x} as its second byte instead of 0x01",
                           page.number(), what, second);
}

std::optional<Cell> FindCell(const PageView& page, std::size_t row) {
  const ByteView bytes = page.bytes();
  const std::size_t count = ReadLittle<std::uint16_t>(bytes, data_page::kCells);
  if (row >= count || count > data_page::kMaxCells) return std::nullopt;
  const std::size_t slot_at = data_page::kRowTable + DataPage::kSlotSize * row;
  const auto slot = ReadLittle<std::uint16_t>(bytes, slot_at);
  const std::size_t begin = slot & data_page::kOffsetMask;
  const std::size_t end =
      row == 0 ? kPageSize
               : ReadLittle<std::uint16_t>(bytes, slot_at - DataPage::kSlotSize) & data_page::kOffsetMask;
  if (begin > end || end > kPageSize || begin < data_page::kRowTable + DataPage::kSlotSize * count)
    return std::nullopt;
  return Cell{begin, end - begin, CellState(slot & (data_page::kDeleted | data_page::kPointer))};
}

std::optional<PageView> ReadDataPage(Context& context, PageNumber number, std::uint32_t owner,
                                     const std::string& what) {
  PageView page = context.pager.Read(number);
  const std::uint8_t type = ReadByte(page.bytes(), kPageTypeOffset);
  if (type != static_cast<std::uint8_t>(PageType::Data)) {
    context.findings.Problem(number, "page {} of {} is of type {}, not a data page", number, what, type);
    return std::nullopt;
  }
  CheckHead(context, page, what);
  const auto named = ReadLittle<std::uint32_t>(page.bytes(), data_page::kOwner);
  if (named != owner) {
    context.findings.Problem(number, "page {} of {} names {:#x} as its owner instead of {:#x}", number, what,
                             named, owner);
    return std::nullopt;
  }
  return page;
}

std::vector<Cell> CheckCells(Context& context, const PageView& page, const std::string& what) {
  const ByteView bytes = page.bytes();
  const PageNumber number = page.number();
  Findings& findings = context.findings;
  const std::size_t count = ReadLittle<std::uint16_t>(bytes, data_page::kCells);
  if (count > data_page::kMaxCells) {
    findings.Problem(number, "page {} of {} claims {} rows", number, what, count);
    return {};
  }
  const std::size_t floor = data_page::kRowTable + DataPage::kSlotSize * count;
  std::vector<Cell> cells(count, Unusable());
  std::size_t end = kPageSize;
  std::size_t lowest = kPageSize;
  std::size_t deleted_bytes = 0;
  for (std::size_t row = 0; row < count; ++row) {
    const auto slot = ReadLittle<std::uint16_t>(bytes, data_page::kRowTable + DataPage::kSlotSize * row);
    const std::size_t begin = slot & data_page::kOffsetMask;
    constexpr unsigned kKnown = data_page::kOffsetMask | data_page::kDeleted | data_page::kPointer;
    if ((slot & ~kKnown) != 0)
      findings.Problem(number, "row {}/{} of {} has a mark that is not known", number, row, what);
    if (begin > end || begin < floor) {
      findings.Problem(number, "row {}/{} of {} starts at byte {}; it must lie from {} to {}", number, row,
                       what, begin, floor, end);
    } else {
      cells[row] = {begin, end - begin, CellState(slot & (data_page::kDeleted | data_page::kPointer))};
      lowest = std::min(lowest, begin);
      if (cells[row].state == CellState::Deleted) deleted_bytes += cells[row].length;
    }
    end = begin;
  }

  const std::size_t free = ReadLittle<std::uint16_t>(bytes, data_page::kFree);
  if (lowest >= floor && free != lowest - floor) {
    // Some writers count the bytes of deleted rows as free.
    if (free > lowest - floor && free <= lowest - floor + deleted_bytes) {
      findings.Note(number, "page {} of {} counts deleted rows as free", number, what);
    } else {
      findings.Problem(number, "page {} of {} says that {} bytes are free; there are {}", number, what, free,
                       lowest - floor);
    }
  }
  return cells;
}

std::optional<PageSet> ReadMap(Context& context, RowRef cell, const std::string& what) {
  Findings& findings = context.findings;
  if (cell.page == 0 || cell.page >= context.pager.page_count()) {
    findings.Problem(cell.page, "the map of {} at {} lies outside the file", what, At(cell));
    return std::nullopt;
  }
  if (!context.map_cells.insert(cell).second) {
    findings.Problem(cell.page, "the map {} of {} serves something else too", At(cell), what);
    return std::nullopt;
  }
  if (!ClaimMapPage(context, cell, what)) return std::nullopt;

  const PageView page = context.pager.Read(cell.page);
  PageSet set;
  try {
    const DataPage data(page);
    const ByteView map = data.CellBytes(cell.row);
    const std::uint8_t kind = map.size() < kInlineHead ? 0xFF : ReadByte(map, 0);
    if (data.CellAt(cell.row).state != CellState::Live || kind > kReferenceMap) {
      findings.Problem(cell.page, "the map of {} was expected at {}, but there is none", what, At(cell));
      return std::nullopt;
    }
    if (kind == kInlineMap) {
      const auto first = ReadLittle<std::uint32_t>(map, 1);
      if (first % 8 != 0) {
        findings.Note(cell.page, "the map {} of {} starts at page {}, no multiple of 8", At(cell), what,
                      first);
      }
      AddBits(map.subspan(kInlineHead), first, context.pager.page_count(), set);
    } else {
      AddReferences(context, cell, map, what, set);
    }
  } catch (const common::Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    findings.Problem(cell.page, "the map of {}: {}", what, error.what());
    return std::nullopt;
  }
  return set;
}

std::optional<PageSet> ReadOwnedPages(Context& context, RowRef cell, const std::string& what) {
  std::optional<PageSet> set = ReadMap(context, cell, what);
  if (set && set->first_beyond != 0) {
    context.findings.Problem(cell.page, "the map {} of {} names page {}, beyond the end of the file",
                             At(cell), what, set->first_beyond);
  }
  return set;
}

}  // namespace corvix::jet::check
