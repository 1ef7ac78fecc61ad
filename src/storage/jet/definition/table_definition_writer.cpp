// The writing half of table_definition.h.
#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "common/error.h"
#include "storage/base/bytes.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/definition/utf16_bytes.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {
namespace {

using storage::ByteSpan;
using storage::WriteByte;
using storage::WriteLittle;
using Bytes = std::vector<std::byte>;

constexpr std::size_t kContent = kPageSize - definition::kPageHead;  // of each page behind the first

// Appends `size` zero bytes and returns them.
ByteSpan AppendZeros(Bytes& out, std::size_t size) {
  out.resize(out.size() + size);
  return ByteSpan(out).last(size);
}

void AppendNumber(Bytes& out, std::uint16_t number) { WriteLittle(AppendZeros(out, 2), 0, number); }

void AppendName(Bytes& out, const std::string& name) {
  Bytes text;
  AppendUtf16(text, name);
  AppendNumber(out, static_cast<std::uint16_t>(text.size()));
  out.insert(out.end(), text.begin(), text.end());
}

void AppendColumn(Bytes& out, const Column& column) {
  namespace at = column_descriptor;
  const ByteSpan bytes = AppendZeros(out, at::kSize);
  WriteByte(bytes, at::kType, static_cast<std::uint8_t>(column.type));
  WriteLittle(bytes, at::kMagic, definition::kMagicValue);
  WriteLittle(bytes, at::kNumber, column.number);
  WriteLittle(bytes, at::kVariableIndex, column.variable_index);
  WriteLittle(bytes, at::kPosition, column.display_position);
  if (column.type == ColumnType::Decimal) {
    WriteByte(bytes, at::kSortOrder, column.precision);
    WriteByte(bytes, at::kScale, column.scale);
  } else {
    WriteLittle(bytes, at::kSortOrder, column.sort_order.lcid);
  }
  WriteByte(bytes, at::kSortOrderVersion, column.sort_order.version);
  WriteByte(bytes, at::kFlags, column.flags);
  WriteByte(bytes, at::kMoreFlags, column.other_flags | (column.compressed ? at::kCompressed : 0));
  if (column.IsFixed()) WriteLittle(bytes, at::kFixedOffset, column.fixed_offset);
  WriteLittle(bytes, at::kLength, column.length);
}

void AppendRealIndex(Bytes& out, const RealIndex& index) {
  namespace at = real_index;
  const ByteSpan bytes = AppendZeros(out, at::kSize);
  WriteLittle(bytes, at::kMagic, at::kMagicValue);
  for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
    const std::size_t offset = at::kColumns + 3 * i;
    const bool used = i < index.columns.size();
    WriteLittle(bytes, offset, used ? index.columns[i].number : at::kNoColumn);
    WriteByte(bytes, offset + 2, used && index.columns[i].ascending ? 1 : 0);
  }
  WriteLittle(bytes, at::kUsageMap, index.usage_map.Packed());
  WriteLittle(bytes, at::kRoot, index.root);
  WriteByte(bytes, at::kFlags, index.flags);
}

void AppendLogicalIndex(Bytes& out, const LogicalIndex& index) {
  namespace at = logical_index;
  const ByteSpan bytes = AppendZeros(out, at::kSize);
  WriteLittle(bytes, at::kMagic, definition::kMagicValue);
  WriteLittle(bytes, at::kNumber, index.number);
  WriteLittle(bytes, at::kRealIndex, index.real_index);
  WriteByte(bytes, at::kRelationSide, index.relation_side);
  WriteLittle(bytes, at::kOtherIndex, index.other_index);
  WriteLittle(bytes, at::kOtherTable, index.other_table);
  WriteByte(bytes, at::kCascadeUpdates, index.cascade_updates);
  WriteByte(bytes, at::kCascadeDeletes, index.cascade_deletes);
  WriteByte(bytes, at::kKind, static_cast<std::uint8_t>(index.kind));
}

void AppendLongValueMaps(Bytes& out, const LongValueMaps& maps) {
  namespace at = long_value_maps;
  const ByteSpan bytes = AppendZeros(out, at::kSize);
  WriteLittle(bytes, 0, maps.column);
  WriteLittle(bytes, at::kOwned, maps.owned.Packed());
  WriteLittle(bytes, at::kFree, maps.free_space.Packed());
}

}  // namespace

Bytes EncodeTableDefinition(const TableDefinition& table) {
  namespace at = definition;
  Bytes out;
  const ByteSpan head = AppendZeros(out, at::kCounters);
  WriteByte(head, kPageTypeOffset, static_cast<std::uint8_t>(PageType::TableDefinition));
  WriteByte(head, 1, 1);
  WriteLittle(head, at::kMagic, at::kMagicValue);
  WriteLittle(head, at::kRowCount, table.row_count);
  WriteLittle(head, at::kAutonumber, table.last_autonumber);
  WriteByte(head, at::kAutonumberFlag, 1);
  WriteByte(head, at::kKind, table.system_table ? at::kSystemTable : at::kUserTable);
  WriteLittle(head, at::kMaxColumns, table.max_columns);
  WriteLittle(head, at::kVariableColumns, table.variable_columns);
  WriteLittle(head, at::kColumnCount, static_cast<std::uint16_t>(table.columns.size()));
  WriteLittle(head, at::kLogicalCount, static_cast<std::uint32_t>(table.logical_indexes.size()));
  WriteLittle(head, at::kRealCount, static_cast<std::uint32_t>(table.real_indexes.size()));
  WriteLittle(head, at::kOwnedMap, table.owned_pages.Packed());
  WriteLittle(head, at::kFreeMap, table.free_space.Packed());

  for (const RealIndex& index : table.real_indexes) {
    const ByteSpan counters = AppendZeros(out, at::kCounterSize);
    WriteLittle(counters, 0, index.statistic);
    WriteLittle(counters, at::kUniqueEntries, index.unique_entries);
  }
  for (const Column& column : table.columns) AppendColumn(out, column);
  for (const Column& column : table.columns) AppendName(out, column.name);
  for (const RealIndex& index : table.real_indexes) AppendRealIndex(out, index);
  for (const LogicalIndex& index : table.logical_indexes) AppendLogicalIndex(out, index);
  for (const LogicalIndex& index : table.logical_indexes) AppendName(out, index.name);
  for (const LongValueMaps& maps : table.long_values) AppendLongValueMaps(out, maps);
  AppendNumber(out, long_value_maps::kEnd);
  WriteLittle(out, at::kLength, static_cast<std::uint32_t>(out.size()));
  return out;
}

std::size_t DefinitionPages(std::size_t encoded_size) {
  return encoded_size <= kPageSize ? 1 : 1 + (encoded_size - kPageSize + kContent - 1) / kContent;
}

void WriteTableDefinition(Pager& pager, const TableDefinition& table) {
  namespace at = definition;
  const Bytes joined = EncodeTableDefinition(table);
  const std::size_t count = DefinitionPages(joined.size());
  if (table.pages.size() != count) {
    throw common::Error(
        common::kInvalidCall,
        fmt::format("A table definition of {} pages cannot be written to {}", count, table.pages.size()));
  }
  std::span<const std::byte> rest = joined;
  for (std::size_t i = 0; i < count; ++i) {
    const PageEdit page = pager.Edit(table.pages[i]);
    const ByteSpan bytes = page.bytes();
    const std::size_t start = i == 0 ? 0 : at::kPageHead;
    const std::size_t length = std::min(rest.size(), kPageSize - start);
    std::ranges::fill(bytes, std::byte{});
    std::ranges::copy(rest.first(length), bytes.subspan(start).begin());
    rest = rest.subspan(length);
    const std::size_t unused = kPageSize - start - length;
    WriteByte(bytes, kPageTypeOffset, static_cast<std::uint8_t>(PageType::TableDefinition));
    WriteByte(bytes, 1, 1);
    WriteLittle(bytes, at::kFree,
                static_cast<std::uint16_t>(unused < at::kPageHead ? 0 : unused - at::kPageHead));
    WriteLittle(bytes, at::kNext, i + 1 < count ? table.pages[i + 1] : PageNumber{0});
  }
}

void WriteCounters(Pager& pager, const TableDefinition& table) {
  namespace at = definition;
  const PageEdit page = pager.Edit(table.page);
  WriteLittle(page.bytes(), at::kRowCount, table.row_count);
  WriteLittle(page.bytes(), at::kAutonumber, table.last_autonumber);
  std::size_t offset = at::kCounters + at::kUniqueEntries;
  for (const RealIndex& index : table.real_indexes) {
    WriteLittle(page.bytes(), offset, index.unique_entries);
    offset += at::kCounterSize;
  }
}

}  // namespace corvix::jet
