#include "storage/jet/relations.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/jet_file.h"
#include "storage/jet/open_table.h"

namespace corvix::jet {
namespace {

using common::EqualIgnoringCase;

std::optional<std::size_t> PositionOf(const OpenTable& table, std::string_view column) {
  return table.field_names().Find(column);
}

/// Keys of values of one column can be sought in an index over the other.
bool SameKeys(const Column& a, const Column& b) {
  const auto type = [](const Column& column) {
    return column.type == ColumnType::Memo ? ColumnType::Text : column.type;
  };
  return type(a) == type(b) && (a.type != ColumnType::Decimal || a.scale == b.scale);
}

}  // namespace

Relations::Relations(JetFile& file, OpenTable& table) : table_(table) {
  for (const Relationship& relationship : file.catalog().RelationshipsOf(table.name())) {
    if (!relationship.IsEnforced()) continue;
    if (EqualIgnoringCase(relationship.table, table.name())) Add(file, relationship, true);
    if (EqualIgnoringCase(relationship.referenced_table, table.name())) Add(file, relationship, false);
  }
}

void Relations::Add(JetFile& file, const Relationship& relationship, bool refers) {
  Relation relation{.name = relationship.name, .refers = refers, .positions = {}};
  const std::string& other_name = refers ? relationship.referenced_table : relationship.table;
  const auto refuse = [&](std::string_view why) {
    obstacle_ = fmt::format("The relationship '{}' between the tables '{}' and '{}' cannot be enforced: {}",
                            relationship.name, relationship.table, relationship.referenced_table, why);
  };
  relation.other = file.FindTable(other_name);
  if (relation.other == nullptr) return refuse("the other table is missing");

  struct Pair {
    std::size_t own;
    std::size_t other;
  };
  std::vector<Pair> pairs;
  for (const Relationship::ColumnPair& names : relationship.columns) {
    const auto own = PositionOf(table_, refers ? names.column : names.referenced_column);
    const auto other = PositionOf(*relation.other, refers ? names.referenced_column : names.column);
    if (!own || !other) return refuse("a field of it is missing");
    if (!SameKeys(table_.definition().columns[*own], relation.other->definition().columns[*other])) {
      return refuse("its fields are of different types");
    }
    pairs.push_back({*own, *other});
    columns_.set(*own);
  }

  // An index over exactly the other table's columns, in whatever order.
  const IndexSet& indexes = relation.other->indexes();
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    const auto parts = indexes.parts(i);
    const auto covers = [&](const IndexSet::Part& part) {
      return std::ranges::find(pairs, part.position, &Pair::other) != pairs.end();
    };
    if (parts.size() != pairs.size() || !std::ranges::all_of(parts, covers) || indexes.Obstacle(i)) continue;
    relation.index = i;
    for (const IndexSet::Part& part : parts) {
      relation.positions.push_back(std::ranges::find(pairs, part.position, &Pair::other)->own);
    }
    relations_.push_back(std::move(relation));
    return;
  }
  refuse("no index of the other table can be searched for its fields");
}

void Relations::Check(std::span<const core::Value> values, const std::vector<core::Value>* old) {
  for (const Relation& relation : relations_) {
    const bool complete = BuildKey(relation, values, key_);
    const bool had = old != nullptr && BuildKey(relation, *old, other_key_);
    if (had && complete && key_ == other_key_) continue;
    IndexTree& tree = relation.other->indexes().tree(relation.index);
    if (relation.refers && complete && !tree.Find(key_) && !RefersToItself(relation, values)) {
      throw common::Error(common::kRelatedRecordRequired,
                          fmt::format("The record refers to a record of table '{}' that does not exist "
                                      "(relationship '{}'); add that record first",
                                      relation.other->name(), relation.name));
    }
    if (!relation.refers && had && tree.Find(other_key_)) {
      throw common::Error(
          common::kRelatedRecordsExist,
          fmt::format("The key of the record cannot change, because records of table '{}' refer "
                      "to it (relationship '{}')",
                      relation.other->name(), relation.name));
    }
  }
}

/// The key of the row's values in the other table's index; false when one of them is Null.
bool Relations::BuildKey(const Relation& relation, std::span<const core::Value> values, Key& key) const {
  key.clear();
  const auto parts = relation.other->indexes().parts(relation.index);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const core::Value& value = values[relation.positions[i]];
    if (core::IsNull(value)) return false;
    AppendKey(key, *parts[i].column, parts[i].ascending, value);
  }
  return true;
}

/// A new row of a table that refers to itself may refer to its own key.
bool Relations::RefersToItself(const Relation& relation, std::span<const core::Value> values) const {
  if (relation.other != &table_) return false;
  RowKeys::One own;
  table_.indexes().BuildKey(relation.index, values, own);
  return own.key == key_;
}

}  // namespace corvix::jet
