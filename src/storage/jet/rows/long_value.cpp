#include "storage/jet/rows/long_value.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/error.h"

namespace corvix::jet {

using storage::ByteSpan;
using storage::ByteView;
using storage::ReadLittle;
using storage::WriteLittle;

namespace {

constexpr std::uint32_t kLengthMask = 0x3FFFFFFF;
constexpr std::uint32_t kChain = 0x00000000;
constexpr std::uint32_t kSingleCell = 0x40000000;
constexpr std::uint32_t kInline = 0x80000000;
constexpr std::size_t kAddress = 4;  // offset of the first cell's address in the head
constexpr std::size_t kLinkSize = 4;
constexpr std::size_t kLinkData = data_page::kMaxLongValueCell - kLinkSize;

struct Head {
  std::uint32_t kind = 0;
  std::size_t length = 0;
  RowRef first;
};

Head Parse(ByteView stored) {
  const auto word = ReadLittle<std::uint32_t>(stored, 0);
  return {word & ~kLengthMask, word & kLengthMask,
          RowRef::Unpack(ReadLittle<std::uint32_t>(stored, kAddress))};
}

/// The bytes of a live cell of a long value page; `pin` holds the page.
ByteView CellOf(Pager& pager, RowRef cell, PageView& pin) {
  pin = pager.Read(cell.page);
  const DataPage page(pin);
  if (page.owner() != DataPage::kLongValueOwner) {
    ThrowDamaged(page.place(), "A row names this page for a memo or OLE value, but it is no long value page");
  }
  if (page.CellAt(cell.row).state != CellState::Live) {
    ThrowDamaged({page.place().file, cell.page, cell.row}, "A row names a memo or OLE value that is deleted");
  }
  return page.CellBytes(cell.row);
}

/// Calls visit(data) for each cell of a chain until `most` bytes have come. Returns whether the chain ended.
template <typename Visit>
bool WalkChain(Pager& pager, const Head& head, std::size_t most, Visit visit) {
  RowRef at = head.first;
  for (std::size_t total = 0; total < most && !at.IsNone();) {
    PageView pin;
    const ByteView cell = CellOf(pager, at, pin);
    // Each cell brings data, so a circle comes to the end.
    if (cell.size() <= kLinkSize)
      ThrowDamaged({&pager.path(), at.page, at.row}, "A part of a long value is empty");
    at = RowRef::Unpack(ReadLittle<std::uint32_t>(cell, 0));
    total += cell.size() - kLinkSize;
    visit(cell.subspan(kLinkSize));
  }
  return at.IsNone();
}

/// The chain is measured before it is copied: a circle must not fill the memory with what no file holds.
ByteView ReadChain(Pager& pager, const Head& head, const Place& place, std::vector<std::byte>& buffer) {
  const std::size_t most = std::min<std::size_t>(head.length, std::size_t{pager.page_count()} * kPageSize);
  std::size_t length = 0;
  const bool has_end = WalkChain(pager, head, most, [&](ByteView data) { length += data.size(); });
  if (length != head.length || !has_end) {
    ThrowDamaged(place, fmt::format("A long value should have {} bytes, but its parts have {}{}", head.length,
                                    length, has_end ? "" : " or more"));
  }
  buffer.clear();
  buffer.reserve(length);
  WalkChain(pager, head, length,
            [&](ByteView data) { buffer.insert(buffer.end(), data.begin(), data.end()); });
  return buffer;
}

}  // namespace

ByteView ReadLongValue(Pager& pager, ByteView stored, const Place& place, PageView& pin,
                       std::vector<std::byte>& buffer) {
  if (stored.size() < kLongValueHead) {
    ThrowDamaged(place, fmt::format("The head of a long value has {} bytes; {} are needed", stored.size(),
                                    kLongValueHead));
  }
  const Head head = Parse(stored);
  if (head.kind == kChain) return ReadChain(pager, head, place, buffer);
  ByteView data;
  if (head.kind == kInline) {
    data = stored.subspan(kLongValueHead);
  } else if (head.kind == kSingleCell) {
    data = CellOf(pager, head.first, pin);
  } else {
    ThrowDamaged(place, "A long value is of an unknown kind");
  }
  if (data.size() < head.length) {
    ThrowDamaged(place, fmt::format("A long value should have {} bytes, but only {} are there", head.length,
                                    data.size()));
  }
  return data.first(head.length);
}

void ReadLongValue(Pager& pager, ByteView stored, const Place& place, std::vector<std::byte>& data) {
  PageView pin;
  const ByteView found = ReadLongValue(pager, stored, place, pin, data);
  if (found.data() != data.data()) data.assign(found.begin(), found.end());
}

bool IsInlineValue(ByteView stored) {
  return stored.size() >= kLongValueHead && Parse(stored).kind == kInline;
}

void EncodeInlineValue(ByteView data, std::vector<std::byte>& stored) {
  const std::size_t begin = stored.size();
  stored.resize(begin + kLongValueHead);
  WriteLittle<std::uint32_t>(stored, begin, kInline | static_cast<std::uint32_t>(data.size()));
  stored.insert(stored.end(), data.begin(), data.end());
}

LongValueStore::LongValueStore(Pager& pager, PageAllocator& allocator, const LongValueMaps& maps)
    : pager_(pager), space_(pager, allocator, maps.owned, maps.free_space, DataPage::kLongValueOwner) {}

LongValueStore::Head LongValueStore::Write(ByteView data) {
  if (data.size() > kMaxLongValue) {
    throw common::Error(common::kRecordTooLarge,
                        fmt::format("A value of {} bytes is too large; 1 GiB is the most", data.size()));
  }
  const bool single = data.size() <= data_page::kMaxLongValueCell;
  const RowRef first = single ? WriteCell(data) : WriteChain(data);
  Head head{};
  WriteLittle<std::uint32_t>(head, 0,
                             (single ? kSingleCell : kChain) | static_cast<std::uint32_t>(data.size()));
  WriteLittle<std::uint32_t>(head, kAddress, first.Packed());
  return head;
}

RowRef LongValueStore::WriteCell(ByteView data) {
  const PageEdit page = space_.PageFor(data.size());
  return {page.number(), DataPageEdit(page).Append(data)};
}

RowRef LongValueStore::WriteChain(ByteView data) {
  // Full cells have a page each, in ascending order; the rest shares one.
  std::vector<PageNumber> pages((data.size() - 1) / kLinkData);
  for (PageNumber& page : pages) page = space_.NewPage().number();

  const auto link = [this](RowRef next, ByteView part) -> ByteView {
    cell_.resize(kLinkSize);
    WriteLittle<std::uint32_t>(cell_, 0, next.Packed());
    cell_.insert(cell_.end(), part.begin(), part.end());
    return cell_;
  };
  RowRef next = WriteCell(link({}, data.subspan(pages.size() * kLinkData)));
  for (std::size_t i = pages.size(); i-- > 0;) {
    DataPageEdit page(pager_.Edit(pages[i]));
    next = {pages[i], page.Append(link(next, data.subspan(i * kLinkData, kLinkData)))};
  }
  return next;
}

void LongValueStore::Free(ByteView stored) {
  if (stored.size() < kLongValueHead) return;
  const auto head = Parse(stored);
  if (head.kind == kSingleCell) FreeCell(head.first);
  if (head.kind != kChain) return;
  // A freed cell is not freed again, so a circle ends where it closes.
  for (RowRef at = head.first; !at.IsNone();) {
    const auto next = FreeCell(at);
    if (!next) return;
    at = *next;
  }
}

std::optional<RowRef> LongValueStore::FreeCell(RowRef cell) {
  if (cell.page >= pager_.page_count() || !space_.owned().Contains(cell.page)) return std::nullopt;
  RowRef next;
  bool empty = false;
  {
    const PageView view = pager_.Read(cell.page);
    if (!DataPage::IsOwnedBy(view.bytes(), space_.owner())) return std::nullopt;
    const DataPage page(view);
    if (cell.row >= page.cell_count() || page.CellAt(cell.row).state != CellState::Live) return std::nullopt;
    const ByteView bytes = page.CellBytes(cell.row);
    if (bytes.size() >= kLinkSize) next = RowRef::Unpack(ReadLittle<std::uint32_t>(bytes, 0));
    DataPageEdit edit(pager_.Edit(cell.page));
    edit.Delete(cell.row);
    empty = edit.IsEmpty();
  }
  if (empty) {
    space_.Release(cell.page);
  } else {
    space_.RoomGained(cell.page);
  }
  return next;
}

}  // namespace corvix::jet
