#include "storage/jet/check/check_rows.h"

#include <algorithm>
#include <cstring>

#include "storage/jet/check/check_pages.h"

namespace corvix::jet::check {

using storage::ByteView;
using storage::ReadLittle;

namespace {

constexpr std::size_t kCount = 2;  // bytes of a count or an offset in a row

// UTF-16 code units of a stored text, and whether its bytes end in the middle of one.
struct TextMeasure {
  std::size_t units = 0;
  bool is_cut = false;
};

TextMeasure MeasureText(ByteView stored) {
  const bool compressed = stored.size() >= 2 && stored[0] == std::byte{0xFF} && stored[1] == std::byte{0xFE};
  if (!compressed) return {stored.size() / 2, stored.size() % 2 != 0};
  ByteView rest = stored.subspan(2);
  TextMeasure result;
  for (bool packed = true; !rest.empty(); packed = !packed) {
    std::size_t end = 0;  // of the stretch: a zero byte where a character would begin
    const std::size_t step = packed ? 1 : 2;
    while (end < rest.size() && rest[end] != std::byte{}) end += step;
    if (end > rest.size()) return {result.units, true};
    result.units += end / step;
    rest = rest.subspan(std::min(rest.size(), end + 1));
  }
  return result;
}

std::size_t FixedEnd(const TableDefinition& table, std::size_t columns) {
  std::size_t end = kCount;
  for (const Column& column : table.columns) {
    if (column.IsFixed() && column.number < columns && column.type != ColumnType::YesNo) {
      end = std::max(end, kCount + column.fixed_offset + column.FixedSize());
    }
  }
  return end;
}

}  // namespace

RowChecker::RowChecker(Context& context, const TableDefinition& table, const std::string& table_name)
    : context_(context), table_(table), table_name_(table_name), long_values_(context, table, table_name) {
  const auto numbers_itself = [](const Column& column) {
    return (column.flags & Column::kAutonumber) != 0 && column.type == ColumnType::Long;
  };
  const auto found = std::ranges::find_if(table.columns, numbers_itself);
  if (found != table.columns.end()) autonumber_ = &*found;
}

template <typename... Args>
bool RowChecker::RowProblem(RowRef slot, fmt::format_string<Args...> format, Args&&... args) {
  context_.findings.Problem(slot.page, "row {} of {}: {}", At(slot), table_name_,
                            fmt::vformat(format, fmt::make_format_args(args...)));
  return false;
}

// --- pages ----------------------------------------------------------------------------------------------

void RowChecker::CheckPages() {
  const std::string what = "data of " + table_name_;
  owner_ = context_.owners.Add(what);
  if (const std::optional<PageSet> owned = ReadOwnedPages(context_, table_.owned_pages, what)) {
    for (const PageNumber number : owned->pages) {
      if (context_.owners.Claim(number, owner_, context_.findings)) CheckDataPage(number, what);
    }
    CheckFreeSpace(owned->pages);
    CheckPointers();
  }
  long_values_.CheckPages();
}

void RowChecker::CheckDataPage(PageNumber number, const std::string& what) {
  const auto page = ReadDataPage(context_, number, table_.page, what);
  if (!page) return;
  pages_.push_back(number);
  const std::vector<Cell> cells = CheckCells(context_, *page, what);
  for (std::size_t row = 0; row < cells.size(); ++row) {
    if (cells[row].state == CellState::Target) ++moved_copies_;
    if (cells[row].state != CellState::Pointer) continue;
    const RowRef slot{number, static_cast<std::uint8_t>(row)};
    if (cells[row].length < sizeof(std::uint32_t)) {
      RowProblem(slot, "its {} bytes are too few for a pointer", cells[row].length);
      continue;
    }
    moved_.push_back({slot, RowRef::Unpack(ReadLittle<std::uint32_t>(page->bytes(), cells[row].offset))});
  }
}

void RowChecker::CheckFreeSpace(const std::vector<PageNumber>& owned) {
  const auto free = ReadOwnedPages(context_, table_.free_space, "free space of " + table_name_);
  if (!free) return;
  for (const PageNumber number : free->pages) {
    if (!std::ranges::binary_search(owned, number)) {
      context_.findings.Problem(number, "page {} has free space for {} but does not belong to it", number,
                                table_name_);
    }
  }
}

void RowChecker::CheckPointers() {
  std::vector<RowRef> targets;
  targets.reserve(moved_.size());
  std::erase_if(moved_, [&](const Moved& moved) {
    const RowRef target = moved.target;
    if (!std::ranges::binary_search(pages_, target.page)) {
      return !RowProblem(moved.slot, "it is said to have moved to {}, which is no page of the table",
                         At(target));
    }
    const std::optional<Cell> cell = FindCell(context_.pager.Read(target.page), target.row);
    if (!cell || cell->state != CellState::Target) {
      return !RowProblem(moved.slot, "it is said to have moved to {}, where no moved row is", At(target));
    }
    targets.push_back(target);
    return false;
  });
  std::ranges::sort(targets);
  for (auto twice = std::ranges::adjacent_find(targets); twice != targets.end();
       twice = std::adjacent_find(twice + 1, targets.end())) {
    RowProblem(*twice, "two rows are said to have moved to it");
  }
  if (moved_copies_ > targets.size()) {
    context_.findings.Note(table_.page, "table {} has {} copies of moved rows that nothing points to",
                           table_name_, moved_copies_ - targets.size());
  }
}

std::optional<RowRef> RowChecker::TargetOf(RowRef slot) const {
  const auto found = std::ranges::lower_bound(moved_, slot, {}, &Moved::slot);
  if (found == moved_.end() || found->slot != slot) return std::nullopt;
  return found->target;
}

// --- rows -----------------------------------------------------------------------------------------------

template <typename VisitBytes>
void RowChecker::Walk(VisitBytes visit) const {
  for (const PageNumber number : pages_) {
    const PageView page = context_.pager.Read(number);
    const std::size_t count = ReadLittle<std::uint16_t>(page.bytes(), data_page::kCells);
    for (std::size_t row = 0; row < std::min(count, data_page::kMaxCells); ++row) {
      const std::optional<Cell> cell = FindCell(page, row);
      if (!cell) continue;
      const RowRef slot{number, static_cast<std::uint8_t>(row)};
      if (cell->state == CellState::Live) {
        visit(slot, page.bytes().subspan(cell->offset, cell->length), page.place());
      } else if (const auto target = cell->state == CellState::Pointer ? TargetOf(slot) : std::nullopt) {
        const PageView other = context_.pager.Read(target->page);
        const std::optional<Cell> moved = FindCell(other, target->row);
        visit(slot, other.bytes().subspan(moved->offset, moved->length), other.place());
      }
    }
  }
}

void RowChecker::CheckRows(const Visit& visit) {
  Walk([&](RowRef slot, ByteView bytes, const Place& place) {
    ++rows_;
    if (!CheckRow(slot, bytes)) {
      ++unsound_rows_;
      return;
    }
    const RowView row(bytes, table_, place);
    SeeAutonumber(row);
    visit(slot, row);
  });
  context_.findings.report().rows += rows_;
  context_.findings.report().moved_rows += moved_.size();
  CheckCounters();
  long_values_.NoteStrayCells();
}

void RowChecker::ForEachRow(const Visit& visit) const {
  Walk([&](RowRef slot, ByteView bytes, const Place& place) { visit(slot, RowView(bytes, table_, place)); });
}

std::optional<StoredRow> RowChecker::RowAt(RowRef slot) const {
  if (!std::ranges::binary_search(pages_, slot.page)) return std::nullopt;
  const RowRef at = TargetOf(slot).value_or(slot);
  PageView page = context_.pager.Read(at.page);
  const std::optional<Cell> cell = FindCell(page, at.row);
  if (!cell || (at == slot && cell->state != CellState::Live)) return std::nullopt;
  const RowView row(page.bytes().subspan(cell->offset, cell->length), table_, page.place());
  return StoredRow{std::move(page), row};
}

bool RowChecker::CheckRow(RowRef slot, ByteView row) {
  if (row.size() < kCount + 1) return RowProblem(slot, "it has {} bytes", row.size());
  const std::size_t columns = ReadLittle<std::uint16_t>(row, 0);
  if (columns > table_.max_columns) {
    return RowProblem(slot, "it has {} columns, the table {}", columns, table_.max_columns);
  }
  const std::size_t mask_length = (columns + 7) / 8;
  if (kCount + mask_length > row.size()) {
    return RowProblem(slot, "its {} bytes are too few for {} columns", row.size(), columns);
  }
  const std::size_t mask = row.size() - mask_length;
  const std::size_t fixed_end = FixedEnd(table_, columns);
  if (table_.variable_columns > 0) return CheckVariablePart(slot, row, columns, mask, fixed_end);
  if (fixed_end <= mask) return true;
  return RowProblem(slot, "its fixed columns end at byte {}, but its null mask begins at {}", fixed_end,
                    mask);
}

bool RowChecker::CheckVariablePart(RowRef slot, ByteView row, std::size_t columns, std::size_t mask,
                                   std::size_t fixed_end) {
  if (mask < 3 * kCount) return RowProblem(slot, "it has no room for its variable columns");
  const std::size_t count_at = mask - kCount;
  const std::size_t count = ReadLittle<std::uint16_t>(row, count_at);
  if (count > table_.variable_columns) {
    return RowProblem(slot, "it has {} variable columns, the table {}", count, table_.variable_columns);
  }
  if (kCount * (count + 1) + kCount > count_at) {
    return RowProblem(slot, "it has no room for {} variable columns", count);
  }
  const auto offset = [&](std::size_t index) -> std::size_t {
    return ReadLittle<std::uint16_t>(row, count_at - kCount * (index + 1));
  };
  const std::size_t table_at = count_at - kCount * (count + 1);
  if (offset(0) < fixed_end) {
    return RowProblem(slot, "its variable columns begin at byte {}, its fixed ones end at {}", offset(0),
                      fixed_end);
  }
  for (std::size_t index = 0; index < count; ++index) {
    if (offset(index) > offset(index + 1)) return RowProblem(slot, "its variable columns overlap");
  }
  if (offset(count) > table_at) {
    return RowProblem(slot, "its variable columns end at byte {}, their table begins at {}", offset(count),
                      table_at);
  }
  bool sound = true;
  for (const Column& column : table_.columns) {
    if (column.IsFixed() || column.number >= columns || column.variable_index >= count) continue;
    if (column.type == ColumnType::YesNo || !storage::TestBit(row.subspan(mask), column.number)) continue;
    const std::size_t begin = offset(column.variable_index);
    const std::size_t end = offset(column.variable_index + std::size_t{1});
    sound = CheckVariableColumn(slot, column, row.subspan(begin, end - begin)) && sound;
  }
  return sound;
}

bool RowChecker::CheckVariableColumn(RowRef slot, const Column& column, ByteView value) {
  const ColumnTypeInfo& info = InfoOf(column.type);
  if (info.long_value) return long_values_.Check(column, value, slot);
  if (info.text) {
    const TextMeasure text = MeasureText(value);
    if (text.is_cut) {
      return RowProblem(slot, "column {} holds a text that ends within a character", column.name);
    }
    if (text.units <= column.length / 2U) return true;
    return RowProblem(slot, "column {} holds {} characters, of {} allowed", column.name, text.units,
                      column.length / 2);
  }
  if (info.size == 0) {
    if (value.size() <= column.length) return true;
    return RowProblem(slot, "column {} holds {} bytes, of {} allowed", column.name, value.size(),
                      column.length);
  }
  if (value.size() >= info.size) return true;
  return RowProblem(slot, "column {} holds {} bytes; its type needs {}", column.name, value.size(),
                    info.size);
}

void RowChecker::SeeAutonumber(const RowView& row) {
  if (!autonumber_) return;
  const core::Value value = row.Value(*autonumber_);
  const auto* number = std::get_if<std::int32_t>(&value);
  if (number) highest_autonumber_ = std::max(highest_autonumber_.value_or(*number), *number);
}

void RowChecker::CheckCounters() {
  Findings& findings = context_.findings;
  if (rows_ != table_.row_count) {
    constexpr auto kText = "table {} is said to have {} rows, but has {}";
    // Real engines let the counts of system tables drift.
    if (table_.system_table || !context_.counters_matter) {
      findings.Note(table_.page, kText, table_name_, table_.row_count, rows_);
    } else {
      findings.Problem(table_.page, kText, table_name_, table_.row_count, rows_);
    }
  }
  if (context_.counters_matter && highest_autonumber_ &&
      *highest_autonumber_ > static_cast<std::int32_t>(table_.last_autonumber)) {
    findings.Problem(table_.page,
                     "table {}: the last number given out is said to be {}, but column {} has {}",
                     table_name_, table_.last_autonumber, autonumber_->name, *highest_autonumber_);
  }
}

}  // namespace corvix::jet::check
