#include "storage/jet/check/check_catalog.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/catalog/system_tables.h"
#include "storage/jet/definition/column_field.h"
#include "storage/jet/definition/default_value.h"
#include "storage/jet/definition/property_map.h"
#include "storage/jet/index/index_tree.h"
#include "storage/jet/rows/long_value.h"

namespace corvix::jet::check {
namespace {

constexpr std::int32_t kRootContainer = 0x0F000000;
constexpr std::size_t kNamedOrphans = 3;

void CheckRules(Context& context, const CatalogObject& object, const TableDefinition& table,
                const PropertyMap& properties) {
  for (const Column& column : table.columns) {
    const ColumnRules rules = properties.RulesOf(column.name);
    const bool is_computed = rules.default_value.empty() || column.IsAutonumber() ||
                             DefaultValue::Parse(rules.default_value, FieldOf(column, rules));
    if (!is_computed) {
      context.findings.Unevaluated(table.page, "the default value {} of {}.{} is not evaluated",
                                   rules.default_value, object.name, column.name);
    }
    if (!rules.validation.expression.empty()) {
      context.findings.Unevaluated(table.page, "the validation rule {} of {}.{} is not evaluated",
                                   rules.validation.expression, object.name, column.name);
    }
  }
  if (const ValidationRule rule = properties.TableRule(); !rule.expression.empty()) {
    context.findings.Unevaluated(table.page, "the validation rule {} of {} is not evaluated", rule.expression,
                                 object.name);
  }
}

void CheckProperties(Context& context, const CatalogObject& object, const CheckedTables& tables) {
  if (object.stored_properties.empty()) return;
  const Place place{&context.pager.path(), object.row.page, object.row.row};
  try {
    std::vector<std::byte> blob;
    ReadLongValue(context.pager, object.stored_properties, place, blob);
    const PropertyMap properties = PropertyMap::Parse(blob, place);
    const CheckedTable* table = object.IsTable() ? tables.Find(object.DefinitionPage()) : nullptr;
    if (table && !object.IsSystem()) CheckRules(context, object, table->definition, properties);
  } catch (const common::Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    context.findings.Problem(object.row.page, "the properties of {} cannot be read: {}", object.name,
                             error.text());
  }
}

// --- relationships --------------------------------------------------------------------------------------

bool SameOrder(const CheckedTable& a, const RealIndex& index_a, const CheckedTable& b,
               const RealIndex& index_b) {
  return std::ranges::equal(
      index_a.columns, index_b.columns, [&](const IndexColumn& x, const IndexColumn& y) {
        return x.ascending == y.ascending &&
               a.definition.FindColumn(x.number)->type == b.definition.FindColumn(y.number)->type;
      });
}

// Goes through both indexes in their common order: each key of the referring one has to be met in the other,
// but for keys with a null.
void CheckReferences(Context& context, const CheckedTable& table, const RealIndex& index,
                     const CheckedTable& other, const RealIndex& other_index,
                     const std::string& relationship) {
  if (!SameOrder(table, index, other, other_index)) return;
  IndexTree referring_tree(context.pager, index.root, table.definition.page, nullptr);
  IndexTree referenced_tree(context.pager, other_index.root, other.definition.page, nullptr);
  IndexTree::Cursor referring(referring_tree);
  IndexTree::Cursor referenced(referenced_tree);
  referenced.First();
  std::size_t named = 0;
  for (bool found = referring.First(); found && named < kNamedOrphans; found = referring.Next()) {
    const storage::ByteView key = referring.key();
    while (referenced.valid() && std::ranges::lexicographical_compare(referenced.key(), key))
      referenced.Next();
    if (referenced.valid() && std::ranges::equal(referenced.key(), key)) continue;
    const RowRef row = referring.row();
    const std::optional<StoredRow> stored = table.rows->RowAt(row);
    if (!stored) continue;
    const bool has_null = std::ranges::any_of(index.columns, [&](const IndexColumn& column) {
      return stored->row.IsNull(*table.definition.FindColumn(column.number));
    });
    if (has_null) continue;
    ++named;
    context.findings.Problem(row.page, "relationship {}: row {} of {} refers to no row of {}", relationship,
                             At(row), table.name, other.name);
  }
}

void CheckRelationshipIndexes(Context& context, const CheckedTables& tables, const CheckedTable& table) {
  std::set<std::pair<std::uint32_t, const RealIndex*>> compared;
  for (const LogicalIndex& index : table.definition.logical_indexes) {
    if (index.kind != IndexKind::Relationship) continue;
    const CheckedTable* other = tables.Find(index.other_table);
    if (!other) {
      context.findings.Problem(table.definition.page,
                               "index {} of {} belongs to a relationship with page {}, which is "
                               "no table",
                               index.name, table.name, index.other_table);
      continue;
    }
    const auto& others = other->definition.logical_indexes;
    const auto back = std::ranges::find(others, index.other_index, &LogicalIndex::number);
    if (back == others.end() || back->kind != IndexKind::Relationship ||
        back->other_table != table.definition.page || back->other_index != index.number) {
      context.findings.Problem(table.definition.page,
                               "index {} of {} names index {} of {}, which does not name it back", index.name,
                               table.name, index.other_index, other->name);
      continue;
    }
    constexpr std::uint8_t kReferringSide = 2;
    if (index.relation_side != kReferringSide || !table.sound_indexes[index.real_index] ||
        !other->sound_indexes[back->real_index]) {
      continue;
    }
    const RealIndex& referenced = other->definition.real_indexes[back->real_index];
    if (compared.insert({index.real_index, &referenced}).second) {
      CheckReferences(context, table, table.definition.real_indexes[index.real_index], *other, referenced,
                      index.name);
    }
  }
}

void CheckRelationship(Context& context, const CheckedTables& tables, const Relationship& relationship) {
  const CheckedTable* table = tables.Find(relationship.table);
  const CheckedTable* referenced = tables.Find(relationship.referenced_table);
  if (!table || !referenced) {
    context.findings.Note(kRelationshipsTable, "relationship {} names the table {}, which is not here",
                          relationship.name, table ? relationship.referenced_table : relationship.table);
    return;
  }
  for (const auto& pair : relationship.columns) {
    const auto check = [&](const CheckedTable& side, const std::string& column) {
      if (side.definition.FindColumn(column)) return;
      context.findings.Problem(kRelationshipsTable, "relationship {} names the column {}, which {} lacks",
                               relationship.name, column, side.name);
    };
    check(*table, pair.column);
    check(*referenced, pair.referenced_column);
  }
  if (relationship.IsEnforced() && !table->definition.FindIndex(relationship.name)) {
    context.findings.Problem(table->definition.page,
                             "relationship {} is enforced, but {} has no index for it", relationship.name,
                             table->name);
  }
}

}  // namespace

void CheckedTables::Add(const CheckedTable& table) {
  all_.push_back(&table);
  by_name_.emplace(common::UpperCase(table.name), &table);
  by_page_.emplace(table.definition.page, &table);
}

const CheckedTable* CheckedTables::Find(std::string_view name) const {
  const auto found = by_name_.find(common::UpperCase(name));
  return found == by_name_.end() ? nullptr : found->second;
}

const CheckedTable* CheckedTables::Find(PageNumber page) const {
  const auto found = by_page_.find(page);
  return found == by_page_.end() ? nullptr : found->second;
}

void CheckObjects(Context& context, const std::vector<CatalogObject>& objects, const CheckedTables& tables) {
  std::set<std::int32_t> ids;
  std::set<std::pair<std::int32_t, std::string>> names;
  for (const CatalogObject& object : objects) {
    if (!ids.insert(object.id).second) {
      context.findings.Problem(object.row.page, "the catalogue has two objects of the id {:#x}",
                               static_cast<std::uint32_t>(object.id));
    }
    if (!names.insert({object.parent, common::UpperCase(object.name)}).second) {
      context.findings.Problem(object.row.page, "the catalogue has two objects of the name {}", object.name);
    }
    CheckProperties(context, object, tables);
  }
  for (const CatalogObject& object : objects) {
    if (object.parent != kRootContainer && !ids.contains(object.parent)) {
      context.findings.Note(object.row.page, "the parent of the object {} does not exist", object.name);
    }
  }
  for (const SystemObject& object : SystemObjects()) {
    if (!ids.contains(object.id)) {
      context.findings.Problem(kObjectsTable, "the catalogue lacks {}", object.name);
    }
  }
}

void CheckRelationships(Context& context, const std::vector<CatalogObject>& objects,
                        const CheckedTables& tables, const std::vector<Relationship>& relationships) {
  for (const Relationship& relationship : relationships) {
    CheckRelationship(context, tables, relationship);
    const bool is_listed = std::ranges::any_of(objects, [&](const CatalogObject& object) {
      return object.type == static_cast<std::int16_t>(ObjectType::Relationship) &&
             object.name == relationship.name;
    });
    if (!is_listed) {
      context.findings.Note(kObjectsTable, "the catalogue does not list the relationship {}",
                            relationship.name);
    }
  }
  for (const CheckedTable* table : tables.all()) CheckRelationshipIndexes(context, tables, *table);
}

}  // namespace corvix::jet::check
