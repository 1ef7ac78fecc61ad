#include "storage/jet/rows/table_rows.h"

#include <fmt/format.h>
#include <stdexcept>

#include "common/error.h"
#include "storage/jet/rows/text_codec.h"

namespace corvix::jet {

using common::Error;
using storage::ByteView;

namespace {

// A row moves from pointer to pointer at most this often; more is a circle.
constexpr int kMaxHops = 32;
constexpr std::size_t kPointerSize = 4;

}  // namespace

TableRows::TableRows(Pager& pager, PageAllocator& allocator, TableDefinition& table)
    : pager_(pager),
      table_(table),
      space_(pager, allocator, table.owned_pages, table.free_space, table.page),
      builder_(table) {
  for (const LongValueMaps& maps : table.long_values) {
    if (!maps.owned.IsNone()) long_values_.try_emplace(maps.column, pager, allocator, maps);
  }
}

// --- finding --------------------------------------------------------------------------------------------

std::optional<TableRows::Located> TableRows::Locate(RowRef slot) const {
  if (slot.page >= pager_.page_count()) return std::nullopt;
  PageView view = pager_.Read(slot.page);
  if (!DataPage::IsOwnedBy(view.bytes(), table_.page)) return std::nullopt;
  Located located{slot, {}};
  if (slot.row >= DataPage(view).cell_count()) return std::nullopt;
  CellState state = DataPage(view).CellAt(slot.row).state;
  if (state != CellState::Live && state != CellState::Pointer) return std::nullopt;
  while (state == CellState::Pointer) {
    const Place place{&pager_.path(), located.cell().page, located.cell().row};
    if (located.targets.size() == kMaxHops) ThrowDamaged(place, "A moved row leads in a circle");
    const RowRef target = DataPage(view).PointerAt(located.cell().row);
    view = pager_.Read(target.page);
    if (!DataPage::IsOwnedBy(view.bytes(), table_.page)) {
      ThrowDamaged(place,
                   fmt::format("A moved row leads to page {}, which is no page of its table", target.page));
    }
    state = DataPage(view).CellAt(target.row).state;
    if (state == CellState::Deleted) ThrowDamaged(place, "A moved row leads to a deleted one");
    located.targets.push_back(target);
  }
  return located;
}

TableRows::Located TableRows::Require(RowRef slot) const {
  auto located = Locate(slot);
  if (!located) throw Error(common::kRecordDeleted);
  return *std::move(located);
}

StoredRow TableRows::RowAt(RowRef cell) const {
  StoredRow stored{pager_.Read(cell.page), {}};
  stored.row =
      RowView(DataPage(stored.page).CellBytes(cell.row), table_, {&pager_.path(), cell.page, cell.row});
  return stored;
}

std::optional<StoredRow> TableRows::Find(RowRef slot) const {
  const auto located = Locate(slot);
  if (!located) return std::nullopt;
  return RowAt(located->cell());
}

std::optional<RowRef> TableRows::First() const { return FirstFrom(0, 0); }

std::optional<RowRef> TableRows::Next(RowRef slot) const {
  return FirstFrom(slot.page, slot.row + std::size_t{1});
}

std::optional<RowRef> TableRows::FirstFrom(PageNumber page, std::size_t row) const {
  for (auto at = space_.owned().NextFrom(page); at; at = space_.owned().NextFrom(*at + 1)) {
    if (*at != page) row = 0;
    const PageView view = pager_.Read(*at);
    if (!DataPage::IsOwnedBy(view.bytes(), table_.page)) {
      ThrowDamaged(
          view.place(),
          fmt::format("The page should hold rows of the table at page {}, but does not", table_.page));
    }
    const DataPage cells(view);
    for (; row < cells.cell_count(); ++row) {
      const CellState state = cells.CellAt(row).state;
      if (state == CellState::Live || state == CellState::Pointer) {
        return RowRef{*at, static_cast<std::uint8_t>(row)};
      }
    }
  }
  return std::nullopt;
}

// --- reading --------------------------------------------------------------------------------------------

core::Value TableRows::Read(const StoredRow& stored, std::size_t position) const {
  const Column& column = table_.columns.at(position);
  if (!column.IsLongValue()) return stored.row.Value(column);
  if (stored.row.IsNull(column)) return core::Null{};
  PageView pin;
  const ByteView data = ReadLongValue(pager_, stored.row.Bytes(column), stored.row.place(), pin, buffer_);
  if (column.type == ColumnType::Ole) return core::Bytes(data.begin(), data.end());
  std::string text;
  DecodeText(data, text);
  return text;
}

bool TableRows::ReadText(const StoredRow& stored, std::size_t position, std::string& text) const {
  const Column& column = table_.columns.at(position);
  if (column.type != ColumnType::Memo) return stored.row.Text(column, text);
  text.clear();
  if (stored.row.IsNull(column)) return false;
  PageView pin;
  DecodeText(ReadLongValue(pager_, stored.row.Bytes(column), stored.row.place(), pin, buffer_), text);
  return true;
}

bool TableRows::Holds(const StoredRow& stored, std::size_t position, const core::Value& value) const {
  try {
    return Read(stored, position) == value;
  } catch (const Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    return false;
  }
}

// --- changing -------------------------------------------------------------------------------------------

RowRef TableRows::Insert(std::span<const core::Value> values) {
  Savepoint savepoint(pager_);
  const RowRef slot = Append(BuildRow(values, ColumnSet{}.set(), nullptr), CellState::Live);
  savepoint.Release();
  ++table_.row_count;
  return slot;
}

void TableRows::Update(RowRef slot, std::span<const core::Value> values, const ColumnSet& changed) {
  Savepoint savepoint(pager_);
  const Located located = Require(slot);
  ByteView bytes;
  {
    const StoredRow old = RowAt(located.cell());
    FreeLongValues(old.row, changed);
    bytes = BuildRow(values, changed, &old.row);
  }
  Replace(located, bytes);
  savepoint.Release();
}

void TableRows::Delete(RowRef slot) {
  Savepoint savepoint(pager_);
  const Located located = Require(slot);
  FreeLongValues(RowAt(located.cell()).row, ColumnSet{}.set());
  for (const RowRef target : located.targets) DeleteCell(target);
  DeleteCell(slot);
  savepoint.Release();
  if (table_.row_count > 0) --table_.row_count;
}

ByteView TableRows::BuildRow(std::span<const core::Value> values, const ColumnSet& changed,
                             const RowView* old) {
  if (values.size() != table_.columns.size()) throw std::invalid_argument("One value per column is needed");
  if (old != nullptr) {
    builder_.Load(*old, changed);
  } else {
    builder_.Clear();
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = table_.columns[i];
    const core::Value& value = values[i];
    if (!changed[i] || core::IsNull(value)) continue;
    if (column.type == ColumnType::YesNo) {
      builder_.SetBool(column, value);
    } else if (column.IsLongValue()) {
      SetLongValue(column, value);
    } else {
      builder_.SetValue(column, value);
    }
  }
  MoveInlineValuesOut();
  return builder_.Build();
}

void TableRows::SetLongValue(const Column& column, const core::Value& value) {
  buffer_.clear();
  EncodeValue(column, value, buffer_);
  if (buffer_.size() > kMaxInlineValue) {
    builder_.Set(column, Values(column).Write(buffer_));
    return;
  }
  stored_.clear();
  EncodeInlineValue(buffer_, stored_);
  builder_.Set(column, stored_);
}

void TableRows::MoveInlineValuesOut() {
  while (builder_.length() > data_page::kMaxRow) {
    const Column* longest = nullptr;
    std::size_t length = kLongValueHead;
    for (const Column& column : table_.columns) {
      const ByteView stored = column.IsLongValue() ? builder_.Stored(column) : ByteView{};
      if (!IsInlineValue(stored) || stored.size() <= length) continue;
      longest = &column;
      length = stored.size();
    }
    if (longest == nullptr) return;  // Build refuses the row
    const ByteView data = builder_.Stored(*longest).subspan(kLongValueHead);
    builder_.Set(*longest, Values(*longest).Write(data));
  }
}

void TableRows::FreeLongValues(const RowView& row, const ColumnSet& columns) {
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    const Column& column = table_.columns[i];
    if (!columns[i] || !column.IsLongValue() || row.IsNull(column)) continue;
    const auto store = long_values_.find(column.number);
    if (store != long_values_.end()) store->second.Free(row.Bytes(column));
  }
}

void TableRows::Replace(const Located& row, ByteView bytes) {
  // In place, or back home: the slot itself takes the row whenever it can.
  {
    DataPageEdit home(pager_.Edit(row.home.page));
    const std::size_t old_length = home.CellAt(row.home.row).length;
    if (home.Replace(row.home.row, bytes, CellState::Live)) {
      for (const RowRef target : row.targets) DeleteCell(target);
      if (bytes.size() < old_length) space_.RoomGained(row.home.page);
      return;
    }
  }
  if (!row.targets.empty()) {
    DataPageEdit page(pager_.Edit(row.cell().page));
    const std::size_t old_length = page.CellAt(row.cell().row).length;
    if (page.Replace(row.cell().row, bytes, CellState::Target)) {
      if (bytes.size() < old_length) space_.RoomGained(row.cell().page);
      return;
    }
  }
  const RowRef target = Append(bytes, CellState::Target);
  for (const RowRef old : row.targets) DeleteCell(old);
  DataPageEdit home(pager_.Edit(row.home.page));
  if (home.CellAt(row.home.row).length < kPointerSize && !home.Resize(row.home.row, kPointerSize)) {
    throw Error(common::kRecordTooLarge,
                "The record cannot grow: its page is full, and it is too short to be moved",
                home.place().ToString());
  }
  home.SetPointer(row.home.row, target);
}

void TableRows::DeleteCell(RowRef cell) {
  DataPageEdit(pager_.Edit(cell.page)).Delete(cell.row);
  space_.RoomGained(cell.page);
}

RowRef TableRows::Append(ByteView bytes, CellState state) {
  const PageEdit page = space_.PageFor(bytes.size());
  return {page.number(), DataPageEdit(page).Append(bytes, state)};
}

LongValueStore& TableRows::Values(const Column& column) {
  const auto found = long_values_.find(column.number);
  if (found == long_values_.end()) {
    throw Error(
        common::kUnsupported,
        fmt::format("Column {} has no pages for values of its kind; it can only be read", column.name),
        Place{&pager_.path(), table_.page, {}}.ToString());
  }
  return found->second;
}

}  // namespace corvix::jet
