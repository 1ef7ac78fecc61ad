#include "storage/jet/catalog/catalog_writer.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "common/error.h"

namespace corvix::jet {

CatalogWriter::CatalogWriter(Pager& pager, PageAllocator& allocator, PageNumber table)
    : pager_(pager),
      table_(ReadTableDefinition(pager, table)),
      rows_(pager, allocator, table_),
      indexes_(pager, allocator, table_, "of the catalogue") {}

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
  AddRow(values);
}

void CatalogWriter::AddRow(std::span<const core::Value> values) {
  indexes_.BuildKeys(values, ColumnSet{}.set(), keys_);
  indexes_.CheckNew(keys_);
  indexes_.Insert(keys_, rows_.Insert(values));
}

void CatalogWriter::Save() { WriteCounters(pager_, table_); }

}  // namespace corvix::jet
