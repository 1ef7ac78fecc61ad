#include "storage/jet/index/index_set.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "common/error.h"

namespace corvix::jet {

using common::Error;

IndexSet::IndexSet(Pager& pager, PageAllocator& allocator, TableDefinition& table, std::string table_name)
    : pager_(pager), table_(table), table_name_(std::move(table_name)) {
  for (std::size_t i = 0; i < table.real_indexes.size(); ++i) {
    const RealIndex& real = table.real_indexes[i];
    Index& index = indexes_.emplace_back(Describe(i));
    index.pages = std::make_unique<MappedIndexPages>(allocator, pager, real.usage_map);
    index.tree = std::make_unique<IndexTree>(pager, real.root, table.page, index.pages.get());
    for (const Part& part : index.parts) columns_.set(part.position);
  }
}

IndexSet::Index IndexSet::Describe(std::size_t number) const {
  const RealIndex& real = table_.real_indexes[number];
  Index index;
  index.unique = real.IsUnique();
  index.required = real.IsRequired();
  index.ignores_nulls = real.IgnoresNulls();
  for (const LogicalIndex& logical : table_.logical_indexes) {
    if (logical.real_index != number) continue;
    // A relationship's name says less than that of an index that people made.
    if (index.name.empty() || logical.kind != IndexKind::Relationship) index.name = logical.name;
    if (logical.kind == IndexKind::PrimaryKey) index.unique = index.required = true;
  }
  if (real.columns.empty()) {
    ThrowDamaged(Place{&pager_.path(), table_.page, {}},
                 fmt::format("Index '{}' of table '{}' has no fields", index.name, table_name_));
  }
  for (const IndexColumn& column : real.columns) {
    const auto found = std::ranges::find(table_.columns, column.number, &Column::number);
    if (found == table_.columns.end()) {
      ThrowDamaged(
          Place{&pager_.path(), table_.page, {}},
          fmt::format("Index '{}' of table '{}' names column number {}, which the table does not have",
                      index.name, table_name_, column.number));
    }
    index.parts.push_back(
        {&*found, static_cast<std::size_t>(found - table_.columns.begin()), column.ascending});
    if (!CanBuildKeys(*found) && !index.obstacle) {
      index.obstacle = fmt::format(
          "Index '{}' of table '{}' sorts field '{}' in an order ({}, version {}) other than the General "
          "one, "
          "for which no keys can be computed",
          index.name, table_name_, found->name, found->sort_order.lcid, found->sort_order.version);
    }
  }
  return index;
}

void IndexSet::BuildKeys(std::span<const core::Value> values, const ColumnSet& changed, RowKeys& keys) const {
  keys.indexes.resize(indexes_.size());
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    RowKeys::One& one = keys.indexes[i];
    one.built =
        std::ranges::any_of(indexes_[i].parts, [&](const Part& part) { return changed[part.position]; });
    if (one.built) BuildKey(i, values, one);
  }
}

void IndexSet::BuildKey(std::size_t number, std::span<const core::Value> values, RowKeys::One& one) const {
  const Index& index = indexes_[number];
  one.key.clear();
  one.built = true;
  one.any_null = false;
  one.all_null = true;
  for (const Part& part : index.parts) {
    const core::Value& value = values[part.position];
    AppendKey(one.key, *part.column, part.ascending, value);
    const bool null = core::IsNull(value);
    one.any_null = one.any_null || null;
    one.all_null = one.all_null && null;
  }
  one.present = !(index.ignores_nulls && one.all_null);
}

bool IndexSet::ChangesUniqueKey(const RowKeys& old, const RowKeys& keys) const {
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    if (indexes_[i].unique && keys.indexes[i].built && keys.indexes[i].key != old.indexes[i].key) return true;
  }
  return false;
}

void IndexSet::CheckNew(const RowKeys& keys, const RowKeys* old) {
  const auto to_be_checked = [&](std::size_t i) {
    return keys.indexes[i].built && (old == nullptr || keys.indexes[i].key != old->indexes[i].key);
  };
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    if (!to_be_checked(i)) continue;
    const RowKeys::One& one = keys.indexes[i];
    if (indexes_[i].required && one.any_null) {
      throw Error(common::kNullKey, fmt::format("Index '{}' of table '{}' does not accept a record without a "
                                                "value in its fields; give them values",
                                                indexes_[i].name, table_name_));
    }
    if (one.key.size() > IndexTree::kMaxKey) {
      throw Error(
          common::kCannotBuildKey,
          fmt::format("The key of index '{}' of table '{}' is too long ({} of {} bytes); shorten the text "
                      "of its fields",
                      indexes_[i].name, table_name_, one.key.size(), IndexTree::kMaxKey));
    }
  }
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    const RowKeys::One& one = keys.indexes[i];
    if (!indexes_[i].unique || !to_be_checked(i) || one.all_null) continue;
    if (indexes_[i].tree->Find(one.key)) {
      throw Error(common::kDuplicateKey,
                  fmt::format("The record would put a second entry with the same key into "
                              "the unique index '{}' of table '{}'",
                              indexes_[i].name, table_name_));
    }
  }
}

void IndexSet::Insert(const RowKeys& keys, RowRef row) {
  for (std::size_t i = 0; i < indexes_.size(); ++i) InsertOne(i, keys.indexes[i], row);
}

void IndexSet::Update(const RowKeys& old, const RowKeys& keys, RowRef row) {
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    const RowKeys::One& before = old.indexes[i];
    const RowKeys::One& after = keys.indexes[i];
    if (before.present == after.present && before.key == after.key) continue;
    EraseOne(i, before, row);
    InsertOne(i, after, row);
  }
}

void IndexSet::Erase(const RowKeys& keys, RowRef row) {
  for (std::size_t i = 0; i < indexes_.size(); ++i) EraseOne(i, keys.indexes[i], row);
}

void IndexSet::InsertOne(std::size_t number, const RowKeys::One& one, RowRef row) {
  if (!one.built || !one.present) return;
  IndexTree& tree = *indexes_[number].tree;
  // A key of a unique index that is not all null is new: CheckNew has looked.
  const bool is_new = (indexes_[number].unique && !one.all_null) || !tree.Find(one.key);
  if (!tree.Insert(one.key, row)) {
    ThrowDamaged(Place{&pager_.path(), row.page, row.row},
                 fmt::format("Index '{}' of table '{}' has an entry for a record that is not there",
                             indexes_[number].name, table_name_));
  }
  if (is_new) ++table_.real_indexes[number].unique_entries;
}

void IndexSet::EraseOne(std::size_t number, const RowKeys::One& one, RowRef row) {
  if (!one.built || !one.present || indexes_[number].tree->Erase(one.key, row)) return;
  ThrowDamaged(Place{&pager_.path(), row.page, row.row},
               fmt::format("Index '{}' of table '{}' lacks its entry for the record", indexes_[number].name,
                           table_name_));
}

}  // namespace corvix::jet
