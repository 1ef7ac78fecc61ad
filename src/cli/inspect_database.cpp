#include "cli/inspect_database.h"

#include <fmt/format.h>
#include <iterator>
#include <vector>

#include "cli/database_file.h"
#include "cli/json_object.h"
#include "cli/shown_text.h"
#include "core/field.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/property_map.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::cli {
namespace {

using jet::Column;
using jet::ColumnRules;
using jet::LogicalIndex;
using jet::RealIndex;
using jet::Relationship;
using jet::TableDefinition;

struct Table {
  std::string name;
  TableDefinition definition;
  jet::PropertyMap properties;

  const RealIndex& TreeOf(const LogicalIndex& index) const {
    static const RealIndex none;
    return index.real_index < definition.real_indexes.size() ? definition.real_indexes[index.real_index]
                                                             : none;
  }
  std::string_view NameOf(const jet::IndexColumn& column) const {
    const Column* found = definition.FindColumn(column.number);
    return found ? std::string_view(found->name) : "?";
  }
};

void AppendColumn(std::string& text, const Column& column, const ColumnRules& rules) {
  const auto out = std::back_inserter(text);
  const std::string size = column.FieldSize() > 0 ? fmt::format("{}", column.FieldSize()) : "";
  std::string line = fmt::format("    {:<20}{:<14}{:>5}  ", ShownText(column.name),
                                 core::FieldTypeName(column.FieldType()), size);
  std::vector<std::string> traits;
  if (column.IsAutonumber()) traits.emplace_back("autonumber");
  if (rules.required) traits.emplace_back("required");
  if (column.IsText() && !rules.allow_zero_length) traits.emplace_back("no empty text");
  if (!rules.default_value.empty()) traits.push_back("default " + ShownText(rules.default_value));
  if (!rules.validation.expression.empty())
    traits.push_back("rule " + ShownText(rules.validation.expression));
  line += fmt::format("{}", fmt::join(traits, ", "));
  line.erase(line.find_last_not_of(' ') + 1);
  fmt::format_to(out, "{}\n", line);
}

void AppendIndex(std::string& text, const Table& table, const LogicalIndex& index) {
  const auto out = std::back_inserter(text);
  const RealIndex& tree = table.TreeOf(index);
  fmt::format_to(out, "    {:<20}", ShownText(index.name));
  for (std::size_t i = 0; i < tree.columns.size(); ++i) {
    fmt::format_to(out, "{}{}{}", i > 0 ? ", " : "", ShownText(table.NameOf(tree.columns[i])),
                   tree.columns[i].ascending ? "" : " descending");
  }
  if (index.kind == jet::IndexKind::PrimaryKey) text += "; primary key";
  if (index.kind == jet::IndexKind::Relationship) text += "; of a relationship";
  if (tree.IsUnique()) text += "; unique";
  if (tree.IgnoresNulls()) text += "; ignores Null";
  if (tree.IsRequired()) text += "; required";
  text += '\n';
}

std::string TableText(const Table& table) {
  std::string text = fmt::format("  table {}: {} rows\n  columns\n", ShownText(table.name),
                                 ShownCount(table.definition.row_count));
  for (const Column& column : table.definition.columns) {
    AppendColumn(text, column, table.properties.RulesOf(column.name));
  }
  if (!table.definition.logical_indexes.empty()) text += "  indexes\n";
  for (const LogicalIndex& index : table.definition.logical_indexes) AppendIndex(text, table, index);
  return text + "\n";
}

std::string RelationshipText(const Relationship& relationship) {
  std::string text;
  for (const auto& pair : relationship.columns) {
    text += fmt::format("  relationship {}: {}.{} refers to {}.{}", ShownText(relationship.name),
                        ShownText(relationship.table), ShownText(pair.column),
                        ShownText(relationship.referenced_table), ShownText(pair.referenced_column));
    text += relationship.IsEnforced() ? ", enforced" : ", not enforced";
    if (relationship.CascadesUpdates()) text += ", cascades updates";
    if (relationship.CascadesDeletes()) text += ", cascades deletes";
    text += '\n';
  }
  return text;
}

std::string TableJson(const Table& table, const std::string& path) {
  const std::string columns = JsonArray(table.definition.columns, [&](const Column& column) {
    const ColumnRules rules = table.properties.RulesOf(column.name);
    return JsonObject()
        .Text("name", column.name)
        .Text("type", core::FieldTypeName(column.FieldType()))
        .Number("size", column.FieldSize())
        .Truth("required", rules.required)
        .Truth("allow_zero_length", rules.allow_zero_length)
        .Truth("autonumber", column.IsAutonumber())
        .Text("default", rules.default_value)
        .Text("validation", rules.validation.expression)
        .Finish();
  });
  const std::string indexes = JsonArray(table.definition.logical_indexes, [&](const LogicalIndex& index) {
    const RealIndex& tree = table.TreeOf(index);
    const std::string parts = JsonArray(tree.columns, [&](const jet::IndexColumn& column) {
      return JsonObject().Text("name", table.NameOf(column)).Truth("descending", !column.ascending).Finish();
    });
    return JsonObject()
        .Text("name", index.name)
        .Raw("columns", parts)
        .Truth("primary", index.kind == jet::IndexKind::PrimaryKey)
        .Truth("unique", tree.IsUnique())
        .Truth("ignore_nulls", tree.IgnoresNulls())
        .Truth("required", tree.IsRequired())
        .Truth("relationship", index.kind == jet::IndexKind::Relationship)
        .Finish();
  });
  return JsonObject()
             .Text("kind", "table")
             .Text("path", path)
             .Text("name", table.name)
             .Number("records", table.definition.row_count)
             .Raw("columns", columns)
             .Raw("indexes", indexes)
             .Finish() +
         "\n";
}

std::string RelationshipJson(const Relationship& relationship, const std::string& path) {
  const std::string columns = JsonArray(relationship.columns, [](const Relationship::ColumnPair& pair) {
    return JsonObject()
        .Text("column", pair.column)
        .Text("referenced_column", pair.referenced_column)
        .Finish();
  });
  return JsonObject()
             .Text("kind", "relationship")
             .Text("path", path)
             .Text("name", relationship.name)
             .Text("table", relationship.table)
             .Text("referenced_table", relationship.referenced_table)
             .Raw("columns", columns)
             .Truth("enforced", relationship.IsEnforced())
             .Truth("cascade_updates", relationship.CascadesUpdates())
             .Truth("cascade_deletes", relationship.CascadesDeletes())
             .Finish() +
         "\n";
}

std::string SortOrderName(const jet::SortOrder& order) {
  return order.IsGeneral() ? "General"
                           : fmt::format("{} (version {}), for reading only", order.lcid, order.version);
}

}  // namespace

std::string DescribeDatabase(storage::FileSystem& files, const std::filesystem::path& path, bool json) {
  const auto pager = OpenForReading(files, path);
  const jet::HeaderPage header = ReadHeader(*pager);
  pager->SetDatabaseKey(header.database_key);
  const jet::Catalog catalog(*pager);
  std::string text;
  if (!json) {
    text = fmt::format("database {}\n  Access 2000, {} bytes, sort order {}{}{}\n\n", path.string(),
                       ShownCount(pager->file().Size()), SortOrderName(header.sort_order),
                       header.has_password ? ", protected by a password" : "",
                       header.database_key != 0 ? ", encoded" : "");
  }
  for (const jet::CatalogObject& object : catalog.objects()) {
    if (!object.IsTable() || object.IsSystem()) continue;
    const Table table{object.name, jet::ReadTableDefinition(*pager, object.DefinitionPage()),
                      catalog.ReadProperties(object)};
    text += json ? TableJson(table, path.string()) : TableText(table);
  }
  for (const Relationship& relationship : catalog.ReadRelationships()) {
    const jet::CatalogObject* refers = catalog.FindTable(relationship.table);
    if (refers != nullptr && refers->IsSystem()) continue;
    text += json ? RelationshipJson(relationship, path.string()) : RelationshipText(relationship);
  }
  return text;
}

}  // namespace corvix::cli
