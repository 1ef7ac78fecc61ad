#include "storage/jet/pages/usage_map.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/format.h>
#include <stdexcept>

#include "common/error.h"

namespace corvix::jet {

using storage::AssignBit;
using storage::ByteSpan;
using storage::ByteView;
using storage::ReadLittle;
using storage::TestBit;
using storage::WriteLittle;

namespace {

constexpr std::size_t kKind = 0;
constexpr std::size_t kFirstPage = 1;     // inline
constexpr std::size_t kInlineBitmap = 5;  // inline
constexpr std::size_t kPointers = 1;      // reference
constexpr std::size_t kPointerSize = 4;
constexpr std::size_t kBitmapOffset = 4;  // on bitmap pages
constexpr std::size_t kWidenStep = 4;
// Wider inline maps occur nowhere; a reference map takes over.
constexpr std::size_t kWidestInline = kInlineBitmap + 992 / 8;

/// Lowest set bit of [from, end); the bitmap is read in words of 64 bits.
std::optional<std::size_t> FirstSet(ByteView bits, std::size_t from, std::size_t end) {
  for (std::size_t bit = from; bit < end;) {
    const std::size_t byte = bit / 8;
    if (bit % 64 == 0 && byte + 8 <= bits.size()) {
      const auto word = ReadLittle<std::uint64_t>(bits, byte);
      if (word == 0) {
        bit += 64;
        continue;
      }
      bit += static_cast<std::size_t>(std::countr_zero(word));
      return bit < end ? std::optional(bit) : std::nullopt;
    }
    if (TestBit(bits, bit)) return bit;
    ++bit;
  }
  return std::nullopt;
}

/// Highest set bit of [0, end).
std::optional<std::size_t> LastSet(ByteView bits, std::size_t end) {
  for (std::size_t bit = end; bit > 0;) {
    if (bit % 64 == 0) {
      const auto word = ReadLittle<std::uint64_t>(bits, bit / 8 - 8);
      if (word == 0) {
        bit -= 64;
        continue;
      }
      return bit - 1 - static_cast<std::size_t>(std::countl_zero(word));
    }
    if (TestBit(bits, --bit)) return bit;
  }
  return std::nullopt;
}

}  // namespace

/// The cell of the map, pinned.
struct UsageMap::Layout {
  PageView page;
  Cell cell;
  bool is_inline = true;
  PageNumber first = 0;  // inline: page of the first bit

  ByteView bytes() const { return page.bytes().subspan(cell.offset, cell.length); }
  std::size_t pointer_count() const { return (cell.length - kPointers) / kPointerSize; }
  PageNumber pointer(std::size_t i) const {
    return ReadLittle<std::uint32_t>(bytes(), kPointers + kPointerSize * i);
  }
};

/// Neighbouring bits of the map, with the page that holds them pinned.
struct UsageMap::Stretch {
  PageView page;
  std::size_t offset = 0;  // of the bitmap in the page
  std::size_t length = 0;  // in bytes
  PageNumber first = 0;    // page number of the first bit

  ByteView bits() const { return page.bytes().subspan(offset, length); }
};

UsageMap::UsageMap(Pager& pager, RowRef cell, PageAllocator* allocator)
    : UsageMap(pager, cell, allocator, Purpose::Owned) {}

UsageMap::UsageMap(Pager& pager, RowRef cell, PageAllocator* allocator, Purpose purpose)
    : pager_(pager), cell_(cell), allocator_(allocator), purpose_(purpose) {}

RowRef UsageMap::Create(Pager& pager, PageNumber map_page) {
  DataPageEdit page(pager.Edit(map_page));
  if (!page.HasRoomFor(kNewCell)) throw std::logic_error("No room for another usage map");
  return {map_page, page.Append(std::array<std::byte, kNewCell>{})};
}

UsageMap::Layout UsageMap::Open() const {
  Layout layout{pager_.Read(cell_.page), {}, true, 0};
  const DataPage page(layout.page);
  layout.cell = page.CellAt(cell_.row);
  const Place place{page.place().file, cell_.page, cell_.row};
  if (layout.cell.state != CellState::Live || layout.cell.length < kInlineBitmap) {
    ThrowDamaged(place, "A usage map was expected here");
  }
  const std::uint8_t kind = storage::ReadByte(layout.bytes(), kKind);
  if (kind > 1) ThrowDamaged(place, fmt::format("A usage map cannot be of kind {}", kind));
  layout.is_inline = kind == 0;
  if (layout.is_inline) layout.first = ReadLittle<std::uint32_t>(layout.bytes(), kFirstPage);
  return layout;
}

std::optional<UsageMap::Stretch> UsageMap::StretchAt(const Layout& layout, PageNumber page) const {
  if (layout.is_inline) {
    const std::size_t length = layout.cell.length - kInlineBitmap;
    if (page < layout.first || (page - layout.first) / 8 >= length) return std::nullopt;
    return Stretch{layout.page, layout.cell.offset + kInlineBitmap, length, layout.first};
  }
  const std::size_t i = page / kPagesPerBitmap;
  if (i >= layout.pointer_count() || layout.pointer(i) == 0) return std::nullopt;
  Stretch stretch{pager_.Read(layout.pointer(i)), kBitmapOffset, kPageSize - kBitmapOffset,
                  static_cast<PageNumber>(i * kPagesPerBitmap)};
  const std::uint8_t type = storage::ReadByte(stretch.page.bytes(), kPageTypeOffset);
  if (type != static_cast<std::uint8_t>(PageType::UsageBitmap)) {
    ThrowDamaged(stretch.page.place(),
                 fmt::format("A page of a usage map was expected, but it is of type {}", type));
  }
  return stretch;
}

bool UsageMap::Covers(PageNumber page) const { return StretchAt(Open(), page).has_value(); }

bool UsageMap::Contains(PageNumber page) const {
  const auto stretch = StretchAt(Open(), page);
  return stretch && TestBit(stretch->bits(), page - stretch->first);
}

void UsageMap::SetBit(PageNumber page, bool value) {
  const auto stretch = StretchAt(Open(), page);
  if (!stretch || TestBit(stretch->bits(), page - stretch->first) == value) return;
  const PageEdit edit = pager_.Edit(stretch->page.number());
  AssignBit(edit.bytes().subspan(stretch->offset, stretch->length), page - stretch->first, value);
}

void UsageMap::Add(PageNumber page) {
  if (!Covers(page)) Cover(page);
  SetBit(page, true);
}

void UsageMap::Remove(PageNumber page) { SetBit(page, false); }

std::optional<PageNumber> UsageMap::NextFrom(PageNumber from) const {
  const Layout layout = Open();
  if (layout.is_inline) from = std::max(from, layout.first);
  while (from < pager_.page_count()) {
    if (const auto stretch = StretchAt(layout, from)) {
      const std::size_t end =
          std::min<std::size_t>(8 * stretch->length, pager_.page_count() - stretch->first);
      const auto bit = FirstSet(stretch->bits(), from - stretch->first, end);
      if (bit) return stretch->first + static_cast<PageNumber>(*bit);
    }
    if (layout.is_inline) break;
    from = (from / kPagesPerBitmap + 1) * kPagesPerBitmap;
  }
  return std::nullopt;
}

std::optional<PageNumber> UsageMap::PreviousFrom(PageNumber from) const {
  if (pager_.page_count() == 0) return std::nullopt;
  const Layout layout = Open();
  from = std::min(from, pager_.page_count() - 1);
  if (layout.is_inline) {
    const std::uint64_t end = layout.first + std::uint64_t{8} * (layout.cell.length - kInlineBitmap);
    if (from < layout.first || end == layout.first) return std::nullopt;
    from = static_cast<PageNumber>(std::min<std::uint64_t>(from, end - 1));
  }
  for (;;) {
    if (const auto stretch = StretchAt(layout, from)) {
      const auto bit = LastSet(stretch->bits(), from - stretch->first + std::size_t{1});
      if (bit) return stretch->first + static_cast<PageNumber>(*bit);
    }
    if (layout.is_inline || from < kPagesPerBitmap) return std::nullopt;
    from = from / kPagesPerBitmap * kPagesPerBitmap - 1;
  }
}

std::optional<PageNumber> UsageMap::Last() const { return PreviousFrom(pager_.page_count()); }

// --- growth ---------------------------------------------------------------------------------------------

void UsageMap::Cover(PageNumber page) {
  if (allocator_ == nullptr) throw std::logic_error("A usage map that is only read cannot grow");
  if (const Layout layout = Open(); layout.is_inline) {
    if (RewriteInline(layout, page)) return;
    ConvertToReference(layout);
  }
  if (!Covers(page)) AddBitmapPage(page);
}

std::vector<PageNumber> UsageMap::InlinePages(const Layout& layout) const {
  std::vector<PageNumber> pages;
  const ByteView bits = layout.bytes().subspan(kInlineBitmap);
  for (auto bit = FirstSet(bits, 0, 8 * bits.size()); bit; bit = FirstSet(bits, *bit + 1, 8 * bits.size())) {
    pages.push_back(layout.first + static_cast<PageNumber>(*bit));
  }
  return pages;
}

void UsageMap::MarkPagesBehindEnd(ByteSpan bits, PageNumber first, PageNumber from) const {
  if (purpose_ != Purpose::GlobalFree) return;
  from = std::max({from, first, pager_.page_count()});
  for (std::size_t bit = from - first; bit < 8 * bits.size(); ++bit) AssignBit(bits, bit, true);
}

bool UsageMap::RewriteInline(const Layout& layout, PageNumber page) {
  const std::vector<PageNumber> pages = InlinePages(layout);
  PageNumber low = page, high = page;
  if (!pages.empty()) {
    low = std::min(low, pages.front());
    high = std::max(high, pages.back());
  }
  const bool global = purpose_ == Purpose::GlobalFree;
  const PageNumber first = global ? std::min(layout.first, low / 8 * 8) : low / 8 * 8;
  const std::size_t steps = (high - first) / (8 * kWidenStep) + 1;
  const std::size_t length = std::max(layout.cell.length, kInlineBitmap + kWidenStep * steps);
  if (length > std::max(layout.cell.length, kWidestInline)) return false;

  DataPageEdit edit(pager_.Edit(cell_.page));
  if (!edit.Resize(cell_.row, length)) return false;
  // The second map beside the global one is always as long as it.
  const std::size_t twin = cell_.row + std::size_t{1};
  if (global && twin < edit.cell_count() && edit.CellAt(twin).length == layout.cell.length)
    edit.Resize(twin, length);

  const ByteSpan cell = edit.MutableCell(cell_.row);
  std::ranges::fill(cell, std::byte{0});
  WriteLittle<std::uint32_t>(cell, kFirstPage, first);
  const ByteSpan bits = cell.subspan(kInlineBitmap);
  for (const PageNumber old : pages) AssignBit(bits, old - first, true);
  // Clear bits of the old window stay clear, also behind the end.
  MarkPagesBehindEnd(bits, first,
                     static_cast<PageNumber>(layout.first + 8 * (layout.cell.length - kInlineBitmap)));
  return true;
}

void UsageMap::ConvertToReference(const Layout& layout) {
  const std::vector<PageNumber> pages = InlinePages(layout);
  {
    DataPageEdit edit(pager_.Edit(cell_.page));
    edit.Resize(cell_.row, kNewCell);
    const ByteSpan cell = edit.MutableCell(cell_.row);
    std::ranges::fill(cell, std::byte{0});
    storage::WriteByte(cell, kKind, 1);
  }
  for (const PageNumber page : pages) {
    // What the global map says of pages that do not exist needs no bitmap page.
    if (purpose_ == Purpose::GlobalFree && page >= pager_.page_count()) continue;
    if (!Covers(page)) AddBitmapPage(page);
    SetBit(page, true);
  }
}

void UsageMap::AddBitmapPage(PageNumber page) {
  const std::size_t i = page / kPagesPerBitmap;
  if (i >= Open().pointer_count()) {
    throw common::Error(common::kDiskFull,
                        fmt::format("A usage map of the database does not reach page {}", page),
                        Place{&pager_.path(), cell_.page, cell_.row}.ToString());
  }
  // The global map cannot ask itself for a page.
  const bool global = purpose_ == Purpose::GlobalFree;
  const PageEdit bitmap = global ? pager_.Append() : allocator_->Allocate();
  storage::WriteByte(bitmap.bytes(), kPageTypeOffset, static_cast<std::uint8_t>(PageType::UsageBitmap));
  storage::WriteByte(bitmap.bytes(), kPageTypeOffset + 1, 1);
  MarkPagesBehindEnd(bitmap.bytes().subspan(kBitmapOffset), static_cast<PageNumber>(i * kPagesPerBitmap), 0);
  {
    DataPageEdit edit(pager_.Edit(cell_.page));
    WriteLittle<std::uint32_t>(edit.MutableCell(cell_.row), kPointers + kPointerSize * i, bitmap.number());
  }
  if (global) SetBit(bitmap.number(), false);
}

// --- free pages -----------------------------------------------------------------------------------------

PageAllocator::PageAllocator(Pager& pager)
    : pager_(pager), map_(pager, {kGlobalMapPage, 0}, this, UsageMap::Purpose::GlobalFree) {}

void PageAllocator::Format(Pager& pager) {
  {
    const PageEdit page = pager.Edit(kGlobalMapPage);
    DataPageEdit::Format(page.bytes(), kGlobalMapPage);
  }
  const RowRef global = UsageMap::Create(pager, kGlobalMapPage);
  UsageMap::Create(pager, kGlobalMapPage);
  DataPageEdit page(pager.Edit(kGlobalMapPage));
  PageAllocator(pager).map_.MarkPagesBehindEnd(page.MutableCell(global.row).subspan(kInlineBitmap), 0, 0);
}

PageEdit PageAllocator::Allocate() {
  if (undo_count_ != pager_.undo_count()) {
    undo_count_ = pager_.undo_count();
    search_from_ = kFirstAllocated;
  }
  const auto free = map_.NextFrom(search_from_);
  if (!free) {
    search_from_ = std::max(kFirstAllocated, pager_.page_count());
    return AppendPage();
  }
  map_.Remove(*free);
  search_from_ = *free + 1;
  PageEdit page = pager_.Edit(*free);
  std::ranges::fill(page.bytes(), std::byte{0});
  return page;
}

PageEdit PageAllocator::AppendPage() {
  // Covering a page can itself take the page, for the map.
  while (!map_.Covers(pager_.page_count())) map_.Cover(pager_.page_count());
  map_.Remove(pager_.page_count());
  return pager_.Append();
}

void PageAllocator::Release(PageNumber page) {
  map_.Add(page);
  search_from_ = std::min(search_from_, std::max(page, kFirstAllocated));
}

// --- pages of an index ----------------------------------------------------------------------------------

MappedIndexPages::MappedIndexPages(PageAllocator& allocator, Pager& pager, RowRef usage_map)
    : allocator_(allocator), map_(pager, usage_map, &allocator) {}

PageNumber MappedIndexPages::Allocate() {
  const PageEdit page = allocator_.Allocate();
  map_.Add(page.number());
  return page.number();
}

void MappedIndexPages::Release(PageNumber page) {
  map_.Remove(page);
  allocator_.Release(page);
}

}  // namespace corvix::jet
