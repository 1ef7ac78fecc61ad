// Adds rows to system tables: what a new object leaves behind in the catalogue. Index entries and counters go
// along; the rules of ordinary tables (validation, autonumbers) do not exist there.
//
//   CatalogWriter objects(pager, allocator, kObjectsTable);
//   objects.Add({{"Id", page}, {"Name", name}, ...});
//   objects.Save();
#pragma once

#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

#include "core/value.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/index_set.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {

class CatalogWriter {
 public:
  using Field = std::pair<std::string_view, core::Value>;

  CatalogWriter(Pager& pager, PageAllocator& allocator, PageNumber table);

  /// Columns that are not named are null. Error 3022 when a unique index has the key already.
  void Add(std::initializer_list<Field> fields);
  /// The same with a value for each column, in their order.
  void AddRow(std::span<const core::Value> values);
  /// Writes the counters of the table.
  void Save();

 private:
  Pager& pager_;
  TableDefinition table_;
  TableRows rows_;
  IndexSet indexes_;
  RowKeys keys_;
};

}  // namespace corvix::jet
