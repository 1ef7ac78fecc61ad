// Makes an Access 2000 database from nothing: the system catalogue as an engine makes it, then the described
// tables with their indexes, rules and relationships, without rows.
//
//   DatabaseDescription database;
//   TableDescription& table = database.tables.emplace_back();
//   table.name = "COMPS";
//   table.columns = {{.name = "RECID", .type = ColumnType::Long, .autonumber = true},
//                    {.name = "CENTRALKEY", .type = ColumnType::Text, .length = 35}};
//   table.indexes = {{.name = "PrimaryKey", .columns = {{"RECID"}}, .primary = true}};
//   CreateDatabase(files, "FOLVANE.MDB", database);
//
// docs/formats/jet4.md, "A new database".
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "storage/base/file.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet {

struct ColumnDescription {
  std::string name;
  ColumnType type = ColumnType::Text;
  std::uint16_t length =
      0;  ///< text: characters, 1 to 255; binary: bytes, 1 to 510; of no meaning for others
  bool required = false;
  bool allow_zero_length = true;  ///< text and memo
  std::string default_value;      ///< expression; empty: none
  std::string validation_rule;    ///< expression; empty: none
  std::string validation_text;
  bool autonumber = false;      ///< long only, one per table
  bool compressed = true;       ///< text: store it compressed where that is possible
  std::uint8_t precision = 18;  ///< decimal: digits, 1 to 28
  std::uint8_t scale = 0;       ///< decimal: digits behind the point, at most the precision
};

struct IndexColumnDescription {
  std::string name;
  bool ascending = true;
};

struct IndexDescription {
  std::string name;
  std::vector<IndexColumnDescription> columns;
  bool unique = false;
  bool primary = false;  ///< unique and required, at most one per table
  bool ignore_nulls = false;
  bool required = false;
};

struct TableDescription {
  std::string name;
  std::vector<ColumnDescription> columns;
  std::vector<IndexDescription> indexes;
};

/// Rows of `table` refer to rows of `referenced_table`. An enforced relationship needs a unique index over
/// exactly the referenced columns, and gets an index over the referring ones.
struct RelationshipDescription {
  struct ColumnPair {
    std::string column;
    std::string referenced_column;
  };
  std::string name;
  std::string table;
  std::string referenced_table;
  std::vector<ColumnPair> columns;
  bool enforced = true;
  bool cascade_updates = false;
  bool cascade_deletes = false;
};

struct DatabaseDescription {
  std::vector<TableDescription> tables;
  std::vector<RelationshipDescription> relationships;
  /// Creation date of the tables, days since 1899-12-30; 0: that of the file.
  double created = 0;
};

/// Writes the database to `path`, replacing a file of that name only when all is well and durable. Error 5,
/// naming the item, for a description that contradicts itself or exceeds the format's limits; nothing is
/// written then.
void CreateDatabase(storage::FileSystem& files, const std::filesystem::path& path,
                    const DatabaseDescription& description);

}  // namespace corvix::jet
