#include "storage/jet/catalog.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "common/text.h"
#include "core/value.h"
#include "storage/jet/damage.h"
#include "storage/jet/long_value.h"
#include "storage/jet/pager.h"
#include "storage/jet/table_definition.h"
#include "storage/jet/table_rows.h"
#include "storage/jet/usage_map.h"

namespace corvix::jet {
namespace {

// A system table open for reading, its columns found by name.
class SystemTable {
 public:
  SystemTable(Pager& pager, PageNumber page)
      : file_(pager.path()),
        definition_(ReadTableDefinition(pager, page)),
        allocator_(pager),
        rows_(pager, allocator_, definition_) {}

  const Column& ColumnNamed(std::string_view name) const {
    const Column* column = definition_.FindColumn(name);
    if (!column) {
      ThrowDamaged({&file_, definition_.page, std::nullopt},
                   fmt::format("the system table lacks its column {}", name));
    }
    return *column;
  }

  template <typename Visit>
  void ForEachRow(Visit visit) const {
    for (std::optional<RowRef> slot = rows_.First(); slot; slot = rows_.Next(*slot)) {
      if (const std::optional<StoredRow> stored = rows_.Find(*slot)) visit(*slot, stored->row);
    }
  }

 private:
  const std::filesystem::path& file_;
  TableDefinition definition_;
  PageAllocator allocator_;
  TableRows rows_;
};

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

Catalog::Catalog(Pager& pager) : pager_(pager) {
  const SystemTable table(pager, kObjectsTable);
  const Column& id = table.ColumnNamed("Id");
  const Column& parent = table.ColumnNamed("ParentId");
  const Column& name = table.ColumnNamed("Name");
  const Column& type = table.ColumnNamed("Type");
  const Column& flags = table.ColumnNamed("Flags");
  const Column& created = table.ColumnNamed("DateCreate");
  const Column& updated = table.ColumnNamed("DateUpdate");
  const Column& properties = table.ColumnNamed("LvProp");
  table.ForEachRow([&](RowRef slot, const RowView& row) {
    CatalogObject& object = objects_.emplace_back();
    object.id = ValueOr0<std::int32_t>(row, id);
    object.parent = ValueOr0<std::int32_t>(row, parent);
    object.name = TextOf(row, name);
    object.type = ValueOr0<std::int16_t>(row, type);
    object.flags = static_cast<std::uint32_t>(ValueOr0<std::int32_t>(row, flags));
    object.created = ValueOr0<core::Date>(row, created).serial;
    object.updated = ValueOr0<core::Date>(row, updated).serial;
    object.row = slot;
    const storage::ByteView stored = row.Bytes(properties);
    object.stored_properties.assign(stored.begin(), stored.end());
  });
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
  const SystemTable table(pager_, kRelationshipsTable);
  const Column& name = table.ColumnNamed("szRelationship");
  const Column& flags = table.ColumnNamed("grbit");
  const Column& position = table.ColumnNamed("icolumn");
  const Column& referring = table.ColumnNamed("szObject");
  const Column& referring_column = table.ColumnNamed("szColumn");
  const Column& referenced = table.ColumnNamed("szReferencedObject");
  const Column& referenced_column = table.ColumnNamed("szReferencedColumn");

  // One row per pair of columns; the rows of a relationship may stand in any order.
  struct Pair {
    std::size_t relationship;
    std::int32_t position;
    Relationship::ColumnPair columns;
  };
  std::vector<Relationship> result;
  std::unordered_map<std::string, std::size_t> by_name;
  std::vector<Pair> pairs;
  table.ForEachRow([&](RowRef, const RowView& row) {
    const auto [entry, is_new] = by_name.try_emplace(TextOf(row, name), result.size());
    if (is_new) {
      result.push_back({entry->first,
                        TextOf(row, referring),
                        TextOf(row, referenced),
                        static_cast<std::uint32_t>(ValueOr0<std::int32_t>(row, flags)),
                        {}});
    }
    pairs.push_back({entry->second,
                     ValueOr0<std::int32_t>(row, position),
                     {TextOf(row, referring_column), TextOf(row, referenced_column)}});
  });
  std::ranges::stable_sort(pairs, {}, &Pair::position);
  for (Pair& pair : pairs) result[pair.relationship].columns.push_back(std::move(pair.columns));
  return result;
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
