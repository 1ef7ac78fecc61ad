#include "storage/jet/catalog/system_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>
#include <string>

#include "common/text.h"
#include "storage/jet/catalog/schema_plan.h"

namespace corvix::jet {
namespace {

constexpr std::uint16_t kLongest = 510;                 // bytes of text and binary columns
constexpr std::uint8_t kAccountColumn = 0x20;           // column flag of SIDs and owners
constexpr std::uint64_t kCreated = 0x40E4AB3E3BD3853E;  // 2015-11-21

struct SystemColumn {
  std::string_view name;
  ColumnType type;
  std::uint16_t length;
  std::uint8_t flags = 0;
};

struct SystemIndex {
  std::string_view name;
  std::initializer_list<std::uint16_t> columns;  // column numbers
  std::uint8_t flags;
  IndexKind kind = IndexKind::Plain;
};

// Columns are given in the order of their numbers, indexes in that of theirs. What stands in the definition
// is sorted by name.
TableDefinition MakeSystemTable(std::initializer_list<SystemColumn> columns,
                                std::initializer_list<SystemIndex> indexes) {
  TableDefinition table;
  table.system_table = true;
  for (const SystemColumn& each : columns) {
    Column column;
    column.name = each.name;
    column.type = each.type;
    column.length = each.length;
    const bool variable = each.length == kLongest || column.IsLongValue();
    column.flags = static_cast<std::uint8_t>(Column::kSystem | Column::kWritable | each.flags |
                                             (variable ? 0 : Column::kFixed));
    AddColumn(table, std::move(column));
  }
  const auto by_name = [](const auto& each) { return common::UpperCase(each.name); };
  std::ranges::sort(table.columns, {}, by_name);
  AddLongValueMaps(table);

  for (const SystemIndex& each : indexes) {
    RealIndex real;
    for (const std::uint16_t number : each.columns) real.columns.push_back({number, true});
    real.flags = each.flags;
    LogicalIndex logical;
    logical.name = each.name;
    logical.number = static_cast<std::uint32_t>(table.logical_indexes.size());
    logical.real_index = logical.number;
    logical.kind = each.kind;
    table.real_indexes.push_back(std::move(real));
    table.logical_indexes.push_back(std::move(logical));
  }
  std::ranges::sort(table.logical_indexes, {}, by_name);
  return table;
}

TableDefinition MakeObjects() {
  return MakeSystemTable({{"Id", ColumnType::Long, 4},
                          {"ParentId", ColumnType::Long, 4},
                          {"Name", ColumnType::Text, kLongest},
                          {"Type", ColumnType::Integer, 2},
                          {"DateCreate", ColumnType::Date, 8},
                          {"DateUpdate", ColumnType::Date, 8},
                          {"Owner", ColumnType::Binary, kLongest, kAccountColumn},
                          {"Flags", ColumnType::Long, 4},
                          {"Database", ColumnType::Memo, 0},
                          {"Connect", ColumnType::Memo, 0},
                          {"ForeignName", ColumnType::Text, kLongest},
                          {"RmtInfoShort", ColumnType::Binary, kLongest},
                          {"RmtInfoLong", ColumnType::Ole, 0},
                          {"Lv", ColumnType::Ole, 0},
                          {"LvProp", ColumnType::Ole, 0},
                          {"LvModule", ColumnType::Ole, 0},
                          {"LvExtra", ColumnType::Ole, 0}},
                         {{"ParentIdName", {1, 2}, RealIndex::kAlways | RealIndex::kUnique},
                          {"Id", {0}, RealIndex::kAlways | RealIndex::kUnique, IndexKind::PrimaryKey}});
}

TableDefinition MakeAces() {
  return MakeSystemTable({{"ObjectId", ColumnType::Long, 4},
                          {"SID", ColumnType::Binary, kLongest, kAccountColumn},
                          {"ACM", ColumnType::Long, 4},
                          {"FInheritable", ColumnType::YesNo, 1}},
                         {{"ObjectId", {0}, RealIndex::kAlways | RealIndex::kRequired}});
}

TableDefinition MakeQueries() {
  return MakeSystemTable(
      {{"ObjectId", ColumnType::Long, 4},
       {"Attribute", ColumnType::Byte, 1},
       {"Order", ColumnType::Binary, kLongest},
       {"Name1", ColumnType::Text, kLongest},
       {"Name2", ColumnType::Text, kLongest},
       {"Expression", ColumnType::Memo, 0},
       {"Flag", ColumnType::Integer, 2},
       {"LvExtra", ColumnType::Long, 4}},
      {{"ObjectIdAttribute", {0, 1, 2}, RealIndex::kAlways | RealIndex::kUnique, IndexKind::PrimaryKey}});
}

TableDefinition MakeRelationships() {
  constexpr std::uint8_t kIndexFlags = RealIndex::kAlways | RealIndex::kIgnoreNulls;
  return MakeSystemTable({{"szRelationship", ColumnType::Text, kLongest},
                          {"grbit", ColumnType::Long, 4},
                          {"ccolumn", ColumnType::Long, 4},
                          {"icolumn", ColumnType::Long, 4},
                          {"szObject", ColumnType::Text, kLongest},
                          {"szColumn", ColumnType::Text, kLongest},
                          {"szReferencedObject", ColumnType::Text, kLongest},
                          {"szReferencedColumn", ColumnType::Text, kLongest}},
                         {{"szRelationship", {0}, kIndexFlags},
                          {"szObject", {4}, kIndexFlags},
                          {"szReferencedObject", {6}, kIndexFlags}});
}

constexpr std::int32_t kRootContainer = 0x0F000000;
constexpr std::int32_t kDatabaseObject = 0x10000000;

constexpr std::array kObjects{
    SystemObject{kTablesContainer, "Tables", ObjectType::Container, kRootContainer, Account::Engine},
    SystemObject{kDatabasesContainer, "Databases", ObjectType::Container, kRootContainer, Account::Engine},
    SystemObject{kRelationshipsContainer, "Relationships", ObjectType::Container, kRootContainer,
                 Account::Engine},
    SystemObject{kDatabaseObject, "MSysDb", ObjectType::Database, kDatabasesContainer, Account::Admin},
    SystemObject{kObjectsTable, "MSysObjects", ObjectType::Table, kTablesContainer, Account::Engine},
    SystemObject{kAcesTable, "MSysACEs", ObjectType::Table, kTablesContainer, Account::Engine},
    SystemObject{kQueriesTable, "MSysQueries", ObjectType::Table, kTablesContainer, Account::Engine},
    SystemObject{kRelationshipsTable, "MSysRelationships", ObjectType::Table, kTablesContainer,
                 Account::Engine},
};

constexpr std::array kPermissions{
    Permission{kObjectsTable, Account::Admin, 0x60000},
    Permission{kAcesTable, Account::Admin, 0x60000},
    Permission{kQueriesTable, Account::Admin, 0x60000},
    Permission{kRelationshipsTable, Account::Admin, 0xE0000},
    Permission{kTablesContainer, Account::Creator, 0xF00FE, true},
    Permission{kTablesContainer, Account::Admin, 0x60001},
    Permission{kRelationshipsContainer, Account::Creator, 0xF00FE, true},
    Permission{kRelationshipsContainer, Account::Admin, 0x60001},
    Permission{kDatabasesContainer, Account::Admin, 0x60000},
    Permission{kDatabaseObject, Account::Admin, 0x6000E},
    Permission{kDatabaseObject, Account::Users, 0xE},
    Permission{kQueriesTable, Account::Users, 0x14},
    Permission{kRelationshipsTable, Account::Users, 0x14},
    Permission{kObjectsTable, Account::Users, 0x14},
    Permission{kTablesContainer, Account::Users, kFullTableAccess, true},
    Permission{kRelationshipsContainer, Account::Users, kFullRelationshipAccess, true},
};

}  // namespace

std::vector<TableDefinition> SystemTables() {
  std::vector<TableDefinition> tables;
  tables.push_back(MakeObjects());
  tables.push_back(MakeAces());
  tables.push_back(MakeQueries());
  tables.push_back(MakeRelationships());
  return tables;
}

std::vector<std::byte> AccountId(Account account) {
  constexpr std::byte kFirst{0x64};
  constexpr std::byte kSecond{0x8B};
  constexpr std::byte kOther{0x01};  // the other accounts differ from Admin in these bits
  switch (account) {
    case Account::Users:
      return {kFirst ^ kOther, kSecond};
    case Account::Engine:
      return {kFirst ^ kOther, kSecond ^ std::byte{0x02}};
    case Account::Creator:
      return {kFirst ^ kOther, kSecond ^ std::byte{0x05}};
    case Account::Admin:
      break;
  }
  return {kFirst, kSecond};
}

double KnownCreationDate() { return std::bit_cast<double>(kCreated); }

std::span<const SystemObject> SystemObjects() { return kObjects; }

std::span<const Permission> SystemPermissions() { return kPermissions; }

}  // namespace corvix::jet
