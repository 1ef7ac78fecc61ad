// A table definition ("TDEF"): columns, indexes and maps of one table, and the counters that change while
// rows are written. It fills one page or a chain of pages; docs/formats/jet4.md gives the layout.
//
// ReadTableDefinition and EncodeTableDefinition are inverse: encoding what was read gives the same bytes, but
// for bytes that the format says to ignore.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/field.h"
#include "storage/jet/definition/column_type.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/sort_order.h"

namespace corvix::jet {

class Pager;

struct Column {
  std::string name;
  ColumnType type = ColumnType::Text;
  std::uint16_t number = 0;  ///< permanent: null mask bit, index columns, long value maps
  std::uint16_t variable_index = 0;
  std::uint16_t display_position = 0;
  SortOrder sort_order;            ///< text and memo; of other types only kept
  std::uint8_t precision = 0;      ///< decimal
  std::uint8_t scale = 0;          ///< decimal
  std::uint8_t flags = 0;          ///< kFixed ...
  bool compressed = false;         ///< text may be stored compressed
  std::uint16_t fixed_offset = 0;  ///< fixed columns: offset in the fixed part
  std::uint16_t length = 0;        ///< bytes
  std::uint8_t other_flags = 0;    ///< bits beside `compressed`, of unknown meaning; kept

  static constexpr std::uint8_t kFixed = 0x01;
  static constexpr std::uint8_t kWritable = 0x02;
  static constexpr std::uint8_t kAutonumber = 0x04;
  static constexpr std::uint8_t kSystem = 0x10;
  static constexpr std::uint8_t kAutonumberGuid = 0x40;
  static constexpr std::uint8_t kHyperlink = 0x80;

  bool IsFixed() const { return (flags & kFixed) != 0; }
  bool IsAutonumber() const { return (flags & (kAutonumber | kAutonumberGuid)) != 0; }
  bool IsText() const { return InfoOf(type).text; }
  bool IsLongValue() const { return InfoOf(type).long_value; }
  /// Bytes that a value takes in the fixed part of a row. 0 for yes/no, whose values stand in the null mask.
  std::size_t FixedSize() const;
  core::FieldType FieldType() const { return InfoOf(type).field_type; }
  /// As core::Field has it.
  std::int32_t FieldSize() const;
};

struct IndexColumn {
  std::uint16_t number = 0;  ///< column number
  bool ascending = true;
};

/// The stored tree of one or several logical indexes.
struct RealIndex {
  std::vector<IndexColumn> columns;
  RowRef usage_map;
  PageNumber root = 0;
  std::uint8_t flags = 0;       ///< kUnique ...
  std::uint32_t statistic = 0;  ///< first of the 12 counter bytes; kept as it is
  std::uint32_t unique_entries = 0;

  static constexpr std::uint8_t kUnique = 0x01;
  static constexpr std::uint8_t kIgnoreNulls = 0x02;
  static constexpr std::uint8_t kRequired = 0x08;
  static constexpr std::uint8_t kAlways = 0x80;

  bool IsUnique() const { return (flags & kUnique) != 0; }
  bool IgnoresNulls() const { return (flags & kIgnoreNulls) != 0; }
  bool IsRequired() const { return (flags & kRequired) != 0; }
};

enum class IndexKind : std::uint8_t { Plain = 0, PrimaryKey = 1, Relationship = 2 };

struct LogicalIndex {
  std::string name;
  std::uint32_t number = 0;      ///< within the table
  std::uint32_t real_index = 0;  ///< position among the real indexes
  IndexKind kind = IndexKind::Plain;
  std::uint8_t relation_side = 0;          ///< 1 referenced side, 2 referring side, 0 no relationship
  std::uint32_t other_index = 0xFFFFFFFF;  ///< logical index number on the other table
  PageNumber other_table = 0;
  std::uint8_t cascade_updates = 4;  ///< 4: belongs to no relationship
  std::uint8_t cascade_deletes = 4;
};

struct LongValueMaps {
  std::uint16_t column = 0;  ///< column number
  RowRef owned;
  RowRef free_space;  ///< none: no map
};

struct TableDefinition {
  PageNumber page = 0;            ///< first page
  std::vector<PageNumber> pages;  ///< all pages in order
  std::uint32_t row_count = 0;
  std::uint32_t last_autonumber = 0;
  bool system_table = false;
  std::uint16_t max_columns = 0;       ///< highest column number + 1, never lowered
  std::uint16_t variable_columns = 0;  ///< deleted ones included
  RowRef owned_pages;
  RowRef free_space;
  std::vector<Column> columns;  ///< in descriptor order, which is display order
  std::vector<RealIndex> real_indexes;
  std::vector<LogicalIndex> logical_indexes;
  std::vector<LongValueMaps> long_values;

  const Column* FindColumn(std::uint16_t number) const;
  const Column* FindColumn(std::string_view name) const;  ///< without regard to case
  const LogicalIndex* FindIndex(std::string_view name) const;
  const LongValueMaps* FindLongValues(std::uint16_t column) const;
};

/// Reads the chain of pages that starts at `page`. Error 3049 on damage, the place naming file and page.
TableDefinition ReadTableDefinition(Pager& pager, PageNumber page);

/// The joined bytes of the definition, the 8-byte head of the first page included (its free and next fields
/// are the writer's).
std::vector<std::byte> EncodeTableDefinition(const TableDefinition& table);

/// Number of pages that a definition of that many joined bytes fills.
std::size_t DefinitionPages(std::size_t encoded_size);

/// Writes the joined bytes over the pages of `table.pages`, which must be exactly as many as they fill
/// (DefinitionPages).
void WriteTableDefinition(Pager& pager, const TableDefinition& table);

/// Writes only what changes with rows: row count, autonumber and unique entry counts, in place.
void WriteCounters(Pager& pager, const TableDefinition& table);

}  // namespace corvix::jet
