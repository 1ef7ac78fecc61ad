#include "storage/jet/catalog_writer.h"

#include <algorithm>
#include <cstddef>

#include "common/error.h"

namespace corvix::jet {

CatalogWriter::Tree::Tree(Pager& pager, PageAllocator& allocator, const TableDefinition& table,
                          RealIndex& real)
    : index(real), pages(allocator, pager, real.usage_map), tree(pager, real.root, table.page, &pages) {}

CatalogWriter::CatalogWriter(Pager& pager, PageAllocator& allocator, PageNumber table)
    : pager_(pager), table_(ReadTableDefinition(pager, table)), rows_(pager, allocator, table_) {
  for (RealIndex& index : table_.real_indexes) trees_.emplace_back(pager, allocator, table_, index);
}

void CatalogWriter::Add(std::initializer_list<Field> fields) {
  std::vector<core::Value> values(table_.columns.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (table_.columns[i].type == ColumnType::YesNo) values[i] = false;
  }
  for (const auto& [name, value] : fields) {
    const auto column = std::ranges::find(table_.columns, name, &Column::name);
    if (column == table_.columns.end()) throw common::Error(common::kItemNotFound);
    values[static_cast<std::size_t>(column - table_.columns.begin())] = value;
  }

  std::vector<Key> keys(trees_.size());
  std::vector<bool> has_entry(trees_.size());
  std::size_t i = 0;
  for (Tree& each : trees_) {
    has_entry[i] = BuildKey(each.index, values, keys[i]);
    const bool is_new = has_entry[i] && !each.tree.Find(keys[i]);
    if (has_entry[i] && !is_new && each.index.IsUnique()) throw common::Error(common::kDuplicateKey);
    if (is_new) ++each.index.unique_entries;
    ++i;
  }
  const RowRef row = rows_.Insert(values);
  i = 0;
  for (Tree& each : trees_) {
    if (has_entry[i]) each.tree.Insert(keys[i], row);
    ++i;
  }
}

void CatalogWriter::Save() { WriteCounters(pager_, table_); }

bool CatalogWriter::BuildKey(const RealIndex& index, std::span<const core::Value> values, Key& key) const {
  bool all_null = true;
  for (const IndexColumn& each : index.columns) {
    const auto column = std::ranges::find(table_.columns, each.number, &Column::number);
    const core::Value& value = values[static_cast<std::size_t>(column - table_.columns.begin())];
    all_null = all_null && core::IsNull(value);
    AppendKey(key, *column, each.ascending, value);
  }
  return !(all_null && index.IgnoresNulls());
}

}  // namespace corvix::jet
