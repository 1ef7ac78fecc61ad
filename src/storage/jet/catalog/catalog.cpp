#include "storage/jet/catalog/catalog.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <utility>

#include "common/text.h"
#include "core/value.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"
#include "storage/jet/rows/long_value.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {
namespace {

const Column& ColumnNamed(const TableDefinition& table, std::string_view name, const Place& place) {
  const Column* column = table.FindColumn(name);
  if (!column) ThrowDamaged(place, fmt::format("The system table lacks its column {}", name));
  return *column;
}

template <typename Visit>
void ForEachRow(Pager& pager, TableDefinition& table, Visit visit) {
  PageAllocator allocator(pager);
  const TableRows rows(pager, allocator, table);
  for (std::optional<RowRef> slot = rows.First(); slot; slot = rows.Next(*slot)) {
    if (const std::optional<StoredRow> stored = rows.Find(*slot)) visit(*slot, stored->row);
  }
}

template <typename T>
T ValueOr0(const RowView& row, const Column& column) {
  const core::Value value = row.Value(column);
  const T* found = std::get_if<T>(&value);
  return found ? *found : T{};
}

std::string TextOf(const RowView& row, const Column& column) {
  std::string text;
  row.Text(column, text);
  return text;
}

}  // namespace

ObjectReader::ObjectReader(const TableDefinition& objects, const Place& place)
    : id_(ColumnNamed(objects, "Id", place)),
      parent_(ColumnNamed(objects, "ParentId", place)),
      name_(ColumnNamed(objects, "Name", place)),
      type_(ColumnNamed(objects, "Type", place)),
      flags_(ColumnNamed(objects, "Flags", place)),
      created_(ColumnNamed(objects, "DateCreate", place)),
      updated_(ColumnNamed(objects, "DateUpdate", place)),
      properties_(ColumnNamed(objects, "LvProp", place)) {}

CatalogObject ObjectReader::Read(RowRef slot, const RowView& row) const {
  CatalogObject object;
  object.id = ValueOr0<std::int32_t>(row, id_);
  object.parent = ValueOr0<std::int32_t>(row, parent_);
  object.name = TextOf(row, name_);
  object.type = ValueOr0<std::int16_t>(row, type_);
  object.flags = static_cast<std::uint32_t>(ValueOr0<std::int32_t>(row, flags_));
  object.created = ValueOr0<core::Date>(row, created_).serial;
  object.updated = ValueOr0<core::Date>(row, updated_).serial;
  object.row = slot;
  const storage::ByteView stored = row.Bytes(properties_);
  object.stored_properties.assign(stored.begin(), stored.end());
  return object;
}

RelationshipReader::RelationshipReader(const TableDefinition& relationships, const Place& place)
    : name_(ColumnNamed(relationships, "szRelationship", place)),
      flags_(ColumnNamed(relationships, "grbit", place)),
      position_(ColumnNamed(relationships, "icolumn", place)),
      table_(ColumnNamed(relationships, "szObject", place)),
      column_(ColumnNamed(relationships, "szColumn", place)),
      referenced_table_(ColumnNamed(relationships, "szReferencedObject", place)),
      referenced_column_(ColumnNamed(relationships, "szReferencedColumn", place)) {}

void RelationshipReader::Add(const RowView& row) {
  const auto [entry, is_new] = by_name_.try_emplace(TextOf(row, name_), found_.size());
  if (is_new) {
    found_.push_back({entry->first,
                      TextOf(row, table_),
                      TextOf(row, referenced_table_),
                      static_cast<std::uint32_t>(ValueOr0<std::int32_t>(row, flags_)),
                      {}});
  }
  pairs_.push_back({entry->second,
                    ValueOr0<std::int32_t>(row, position_),
                    {TextOf(row, column_), TextOf(row, referenced_column_)}});
}

std::vector<Relationship> RelationshipReader::Take() {
  std::ranges::stable_sort(pairs_, {}, &Pair::position);
  for (Pair& pair : pairs_) found_[pair.relationship].columns.push_back(std::move(pair.columns));
  return std::move(found_);
}

Catalog::Catalog(Pager& pager) : pager_(pager) {
  TableDefinition table = ReadTableDefinition(pager, kObjectsTable);
  const ObjectReader reader(table, {&pager.path(), kObjectsTable, std::nullopt});
  ForEachRow(pager, table,
             [&](RowRef slot, const RowView& row) { objects_.push_back(reader.Read(slot, row)); });
}

const CatalogObject* Catalog::FindTable(std::string_view name) const {
  const auto found = std::ranges::find_if(objects_, [name](const CatalogObject& object) {
    return object.IsTable() && common::EqualIgnoringCase(object.name, name);
  });
  return found == objects_.end() ? nullptr : &*found;
}

PropertyMap Catalog::ReadProperties(const CatalogObject& object) const {
  if (object.stored_properties.empty()) return {};
  const Place place{&pager_.path(), object.row.page, object.row.row};
  std::vector<std::byte> blob;
  ReadLongValue(pager_, object.stored_properties, place, blob);
  return PropertyMap::Parse(blob, place);
}

std::vector<Relationship> Catalog::ReadRelationships() const {
  TableDefinition table = ReadTableDefinition(pager_, kRelationshipsTable);
  RelationshipReader reader(table, {&pager_.path(), kRelationshipsTable, std::nullopt});
  ForEachRow(pager_, table, [&](RowRef, const RowView& row) { reader.Add(row); });
  return reader.Take();
}

std::vector<Relationship> Catalog::RelationshipsOf(std::string_view table) const {
  std::vector<Relationship> all = ReadRelationships();
  std::erase_if(all, [table](const Relationship& each) {
    return !common::EqualIgnoringCase(each.table, table) &&
           !common::EqualIgnoringCase(each.referenced_table, table);
  });
  return all;
}

}  // namespace corvix::jet
