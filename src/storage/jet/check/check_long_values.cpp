#include "storage/jet/check/check_long_values.h"

#include <algorithm>
#include <optional>

#include "storage/jet/check/check_pages.h"
#include "storage/jet/rows/long_value.h"

namespace corvix::jet::check {

using storage::ByteView;
using storage::ReadLittle;

namespace {

constexpr std::uint32_t kLengthMask = 0x3FFFFFFF;
constexpr unsigned kKindShift = 30;
enum Kind : std::uint32_t { kChain = 0, kOneCell = 1, kInline = 2 };
constexpr std::size_t kLink = 4;

}  // namespace

LongValueChecker::LongValueChecker(Context& context, const TableDefinition& table,
                                   const std::string& table_name)
    : context_(context), table_(table), table_name_(table_name) {}

void LongValueChecker::CheckPages() {
  for (const LongValueMaps& maps : table_.long_values) {
    const Column* column = table_.FindColumn(maps.column);
    const auto [entry, is_new] = columns_.try_emplace(maps.column);
    if (!is_new) {
      context_.findings.Problem(table_.page, "table {} names the long values of column {} twice", table_name_,
                                maps.column);
      continue;
    }
    if (column && !column->IsLongValue()) {
      context_.findings.Problem(table_.page, "table {} has maps of long values for column {}, which has none",
                                table_name_, column->name);
    }
    entry->second.name = fmt::format("long values of {}.{}", table_name_,
                                     column ? column->name : fmt::format("deleted column {}", maps.column));
    CheckColumnPages(maps, entry->second);
  }
}

void LongValueChecker::CheckColumnPages(const LongValueMaps& maps, ColumnPages& pages) {
  const std::optional<PageSet> owned = ReadOwnedPages(context_, maps.owned, pages.name);
  if (!owned) return;
  pages.owner = context_.owners.Add(pages.name);
  for (const PageNumber number : owned->pages) {
    if (!context_.owners.Claim(number, pages.owner, context_.findings)) continue;
    const auto page = ReadDataPage(context_, number, DataPage::kLongValueOwner, pages.name);
    if (!page) continue;
    const std::vector<Cell> cells = CheckCells(context_, *page, pages.name);
    Cells& known = cells_[number];
    for (std::size_t row = 0; row < cells.size(); ++row) {
      known.live[row] = cells[row].state == CellState::Live && cells[row].length > 0;
    }
  }
  if (maps.free_space.IsNone()) return;  // tables of user interfaces have none
  const auto free = ReadOwnedPages(context_, maps.free_space, "free space in " + pages.name);
  if (!free) return;
  for (const PageNumber number : free->pages) {
    if (!std::ranges::binary_search(owned->pages, number)) {
      context_.findings.Problem(number, "page {} has free space for {} but does not belong to them", number,
                                pages.name);
    }
  }
}

bool LongValueChecker::Check(const Column& column, ByteView stored, RowRef row) {
  Findings& findings = context_.findings;
  ++findings.report().long_values;
  if (stored.size() < kLongValueHead) {
    findings.Problem(row.page, "row {} of {}: column {} holds {} bytes, too few for a long value", At(row),
                     table_name_, column.name, stored.size());
    return false;
  }
  const auto head = ReadLittle<std::uint32_t>(stored, 0);
  const std::size_t length = head & kLengthMask;
  const RowRef cell = RowRef::Unpack(ReadLittle<std::uint32_t>(stored, 4));
  switch (head >> kKindShift) {
    case kInline:
      if (stored.size() - kLongValueHead >= length) return true;
      findings.Problem(row.page, "row {} of {}: column {} holds {} of the {} bytes of its value", At(row),
                       table_name_, column.name, stored.size() - kLongValueHead, length);
      return false;
    case kOneCell: {
      const std::optional<std::size_t> present = UseCell(column, cell, row);
      if (!present) return false;
      if (*present >= length) return true;
      findings.Problem(cell.page, "row {} of {}: the value of column {} at {} has {} of its {} bytes",
                       At(row), table_name_, column.name, At(cell), *present, length);
      return false;
    }
    case kChain:
      return CheckChain(column, cell, length, row);
    default:
      findings.Problem(row.page, "row {} of {}: column {} holds a value of an unknown kind", At(row),
                       table_name_, column.name);
      return false;
  }
}

// Ends because no cell is used twice.
bool LongValueChecker::CheckChain(const Column& column, RowRef cell, std::size_t length, RowRef row) {
  std::size_t total = 0;
  while (!cell.IsNone()) {
    const std::optional<std::size_t> present = UseCell(column, cell, row);
    if (!present) return false;
    if (*present < kLink) {
      context_.findings.Problem(cell.page, "row {} of {}: the value of column {} breaks off at {}", At(row),
                                table_name_, column.name, At(cell));
      return false;
    }
    total += *present - kLink;
    const PageView page = context_.pager.Read(cell.page);
    cell = RowRef::Unpack(ReadLittle<std::uint32_t>(page.bytes(), FindCell(page, cell.row)->offset));
  }
  if (total == length) return true;
  context_.findings.Problem(row.page, "row {} of {}: the value of column {} has {} bytes instead of {}",
                            At(row), table_name_, column.name, total, length);
  return false;
}

std::optional<std::size_t> LongValueChecker::UseCell(const Column& column, RowRef cell, RowRef row) {
  const auto refuse = [&](std::string_view why) {
    context_.findings.Problem(cell.page, "row {} of {}: the value of column {} is said to be at {}, {}",
                              At(row), table_name_, column.name, At(cell), why);
    return std::nullopt;
  };
  const auto pages = columns_.find(column.number);
  const PageOwners::Owner owner = pages == columns_.end() ? PageOwners::kNone : pages->second.owner;
  const auto known = cells_.find(cell.page);
  if (owner == PageOwners::kNone || context_.owners.OwnerOf(cell.page) != owner || known == cells_.end()) {
    return refuse("which is no page for long values of the column");
  }
  Cells& cells = known->second;
  if (cells.used[cell.row]) return refuse("which belongs to another value");
  const PageView page = context_.pager.Read(cell.page);
  const std::optional<Cell> found = FindCell(page, cell.row);
  if (!found || found->state != CellState::Live) return refuse("where no value is");
  cells.used[cell.row] = true;
  return found->length;
}

void LongValueChecker::NoteStrayCells() {
  std::size_t stray = 0;
  PageNumber first = 0;
  for (const auto& [page, cells] : cells_) {
    const std::size_t count = (cells.live & ~cells.used).count();
    if (count > 0 && (first == 0 || page < first)) first = page;
    stray += count;
  }
  if (stray > 0) {
    context_.findings.Note(first, "table {}: {} cells of long values that no row names, the first on page {}",
                           table_name_, stray, first);
  }
}

}  // namespace corvix::jet::check
