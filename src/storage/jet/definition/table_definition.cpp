#include "storage/jet/definition/table_definition.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/base/bytes.h"
#include "storage/jet/definition/utf16_bytes.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {
namespace {

using common::Error;
using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;
using storage::Slice;

// A definition of the greatest number of columns and indexes with the longest names stays below this.
constexpr std::size_t kMaxPages = 64;
// The counters of the real indexes are rewritten in place, on the first page.
constexpr std::size_t kMaxRealIndexes = (kPageSize - definition::kCounters) / definition::kCounterSize;

[[noreturn]] void Damaged(std::string text) {
  throw Error(common::kDamagedDatabase, "The table definition is damaged: " + std::move(text));
}

// Takes the parts of a definition one after the other.
class Parts {
 public:
  Parts(ByteView bytes, std::size_t offset) : bytes_(bytes), offset_(offset) {}

  ByteView Take(std::size_t length) {
    const ByteView part = Slice(bytes_, offset_, length);
    offset_ += length;
    return part;
  }
  std::string TakeName() {
    const auto length = ReadLittle<std::uint16_t>(Take(2), 0);
    return TextOfUtf16(Take(length));
  }
  // Refuses a count whose parts could not all be there, so that nothing is reserved for them.
  std::size_t Count(std::size_t count, std::size_t size, std::string_view what) const {
    if (count > (bytes_.size() - offset_) / size) Damaged(fmt::format("it claims {} {}", count, what));
    return count;
  }

 private:
  ByteView bytes_;
  std::size_t offset_;
};

RowRef ReadRowRef(ByteView bytes, std::size_t offset) {
  return RowRef::Unpack(ReadLittle<std::uint32_t>(bytes, offset));
}

std::vector<std::byte> JoinPages(Pager& pager, PageNumber first, std::vector<PageNumber>& pages) {
  std::vector<std::byte> joined;
  for (PageNumber number = first; number != 0;) {
    if (std::ranges::find(pages, number) != pages.end()) Damaged("its pages form a ring");
    if (pages.size() == kMaxPages) Damaged(fmt::format("it has more than {} pages", kMaxPages));
    const PageView page = pager.Read(number);
    const ByteView bytes = page.bytes();
    if (ReadByte(bytes, kPageTypeOffset) != static_cast<std::uint8_t>(PageType::TableDefinition)) {
      Damaged(fmt::format("page {} is of another type", number));
    }
    const ByteView content = pages.empty() ? bytes : bytes.subspan(definition::kPageHead);
    joined.insert(joined.end(), content.begin(), content.end());
    pages.push_back(number);
    number = ReadLittle<std::uint32_t>(bytes, definition::kNext);
  }
  return joined;
}

Column ParseColumn(ByteView bytes, const TableDefinition& table) {
  namespace at = column_descriptor;
  Column column;
  const std::uint8_t type = ReadByte(bytes, at::kType);
  column.number = ReadLittle<std::uint16_t>(bytes, at::kNumber);
  if (!IsColumnType(type)) Damaged(fmt::format("column {} is of the unknown type {}", column.number, type));
  column.type = static_cast<ColumnType>(type);
  column.variable_index = ReadLittle<std::uint16_t>(bytes, at::kVariableIndex);
  column.display_position = ReadLittle<std::uint16_t>(bytes, at::kPosition);
  if (column.type == ColumnType::Decimal) {
    column.precision = ReadByte(bytes, at::kSortOrder);
    column.scale = ReadByte(bytes, at::kScale);
    column.sort_order.lcid = 0;
  } else {
    column.sort_order.lcid = ReadLittle<std::uint16_t>(bytes, at::kSortOrder);
  }
  column.sort_order.version = ReadByte(bytes, at::kSortOrderVersion);
  column.flags = ReadByte(bytes, at::kFlags);
  const std::uint8_t more_flags = ReadByte(bytes, at::kMoreFlags);
  column.compressed = (more_flags & at::kCompressed) != 0;
  column.other_flags = more_flags & ~at::kCompressed & 0xFF;
  column.length = ReadLittle<std::uint16_t>(bytes, at::kLength);
  if (column.IsFixed()) column.fixed_offset = ReadLittle<std::uint16_t>(bytes, at::kFixedOffset);

  if (column.number >= table.max_columns) {
    Damaged(fmt::format("column number {} where numbers end at {}", column.number, table.max_columns));
  }
  if (table.FindColumn(column.number)) Damaged(fmt::format("two columns have the number {}", column.number));
  if (column.IsFixed() && column.IsLongValue())
    Damaged(fmt::format("column {} is fixed and long", column.number));
  if (!column.IsFixed() && column.variable_index >= table.variable_columns) {
    Damaged(fmt::format("column {} has the place {} of {} variable columns", column.number,
                        column.variable_index, table.variable_columns));
  }
  return column;
}

RealIndex ParseRealIndex(ByteView bytes, ByteView counters, const TableDefinition& table) {
  namespace at = real_index;
  RealIndex index;
  for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
    const std::size_t offset = at::kColumns + 3 * i;
    const auto number = ReadLittle<std::uint16_t>(bytes, offset);
    if (number == at::kNoColumn) continue;
    if (!table.FindColumn(number)) Damaged(fmt::format("an index names the missing column {}", number));
    index.columns.push_back({number, (ReadByte(bytes, offset + 2) & 1) != 0});
  }
  if (index.columns.empty()) Damaged("an index has no columns");
  index.usage_map = ReadRowRef(bytes, at::kUsageMap);
  index.root = ReadLittle<std::uint32_t>(bytes, at::kRoot);
  index.flags = ReadByte(bytes, at::kFlags);
  index.statistic = ReadLittle<std::uint32_t>(counters, 0);
  index.unique_entries = ReadLittle<std::uint32_t>(counters, definition::kUniqueEntries);
  return index;
}

LogicalIndex ParseLogicalIndex(ByteView bytes, const TableDefinition& table) {
  namespace at = logical_index;
  LogicalIndex index;
  index.number = ReadLittle<std::uint32_t>(bytes, at::kNumber);
  index.real_index = ReadLittle<std::uint32_t>(bytes, at::kRealIndex);
  if (index.real_index >= table.real_indexes.size()) {
    Damaged(fmt::format("index {} is served by number {} of {} trees", index.number, index.real_index,
                        table.real_indexes.size()));
  }
  index.relation_side = ReadByte(bytes, at::kRelationSide);
  index.other_index = ReadLittle<std::uint32_t>(bytes, at::kOtherIndex);
  index.other_table = ReadLittle<std::uint32_t>(bytes, at::kOtherTable);
  index.cascade_updates = ReadByte(bytes, at::kCascadeUpdates);
  index.cascade_deletes = ReadByte(bytes, at::kCascadeDeletes);
  const std::uint8_t kind = ReadByte(bytes, at::kKind);
  if (kind > static_cast<std::uint8_t>(IndexKind::Relationship)) {
    Damaged(fmt::format("index {} is of the unknown kind {}", index.number, kind));
  }
  index.kind = static_cast<IndexKind>(kind);
  return index;
}

void ParseDefinition(ByteView bytes, TableDefinition& table) {
  namespace at = definition;
  table.row_count = ReadLittle<std::uint32_t>(bytes, at::kRowCount);
  table.last_autonumber = ReadLittle<std::uint32_t>(bytes, at::kAutonumber);
  table.system_table = ReadByte(bytes, at::kKind) == at::kSystemTable;
  table.max_columns = ReadLittle<std::uint16_t>(bytes, at::kMaxColumns);
  table.variable_columns = ReadLittle<std::uint16_t>(bytes, at::kVariableColumns);
  table.owned_pages = ReadRowRef(bytes, at::kOwnedMap);
  table.free_space = ReadRowRef(bytes, at::kFreeMap);

  Parts parts(bytes, at::kCounters);
  const std::size_t real_count = ReadLittle<std::uint32_t>(bytes, at::kRealCount);
  if (real_count > kMaxRealIndexes) Damaged(fmt::format("it claims {} index trees", real_count));
  const ByteView counters = parts.Take(real_count * at::kCounterSize);

  const std::size_t column_count = ReadLittle<std::uint16_t>(bytes, at::kColumnCount);
  if (column_count > kMaxColumns) Damaged(fmt::format("it claims {} columns", column_count));
  table.columns.reserve(column_count);
  for (std::size_t i = 0; i < column_count; ++i) {
    table.columns.push_back(ParseColumn(parts.Take(column_descriptor::kSize), table));
  }
  for (Column& column : table.columns) column.name = parts.TakeName();

  table.real_indexes.reserve(real_count);
  for (std::size_t i = 0; i < real_count; ++i) {
    table.real_indexes.push_back(ParseRealIndex(
        parts.Take(real_index::kSize), counters.subspan(i * at::kCounterSize, at::kCounterSize), table));
  }

  const std::size_t logical_count = ReadLittle<std::uint32_t>(bytes, at::kLogicalCount);
  table.logical_indexes.reserve(parts.Count(logical_count, logical_index::kSize, "indexes"));
  for (std::size_t i = 0; i < logical_count; ++i) {
    table.logical_indexes.push_back(ParseLogicalIndex(parts.Take(logical_index::kSize), table));
  }
  for (LogicalIndex& index : table.logical_indexes) index.name = parts.TakeName();

  for (;;) {
    const auto column = ReadLittle<std::uint16_t>(parts.Take(2), 0);
    if (column == long_value_maps::kEnd) return;
    const ByteView maps = parts.Take(long_value_maps::kSize - 2);
    table.long_values.push_back(
        {column, ReadRowRef(maps, 0), ReadRowRef(maps, long_value_maps::kFree - long_value_maps::kOwned)});
  }
}

}  // namespace

std::size_t Column::FixedSize() const {
  if (type == ColumnType::YesNo) return 0;
  const std::size_t size = InfoOf(type).size;
  return size != 0 ? size : length;
}

std::int32_t Column::FieldSize() const {
  if (type == ColumnType::YesNo) return 1;
  if (IsLongValue()) return 0;
  return IsText() ? length / 2 : length;
}

const Column* TableDefinition::FindColumn(std::uint16_t number) const {
  const auto found = std::ranges::find(columns, number, &Column::number);
  return found == columns.end() ? nullptr : &*found;
}

const Column* TableDefinition::FindColumn(std::string_view name) const {
  const auto found = std::ranges::find_if(
      columns, [name](const Column& column) { return common::EqualIgnoringCase(column.name, name); });
  return found == columns.end() ? nullptr : &*found;
}

const LogicalIndex* TableDefinition::FindIndex(std::string_view name) const {
  const auto found = std::ranges::find_if(logical_indexes, [name](const LogicalIndex& index) {
    return common::EqualIgnoringCase(index.name, name);
  });
  return found == logical_indexes.end() ? nullptr : &*found;
}

const LongValueMaps* TableDefinition::FindLongValues(std::uint16_t column) const {
  const auto found = std::ranges::find(long_values, column, &LongValueMaps::column);
  return found == long_values.end() ? nullptr : &*found;
}

TableDefinition ReadTableDefinition(Pager& pager, PageNumber page) {
  TableDefinition table;
  table.page = page;
  try {
    ParseDefinition(JoinPages(pager, page, table.pages), table);
  } catch (const Error& error) {
    if (error.number() != common::kDamagedDatabase || !error.place().empty()) throw;
    ThrowDamaged({&pager.path(), page, std::nullopt}, error.text());
  }
  return table;
}

}  // namespace corvix::jet
