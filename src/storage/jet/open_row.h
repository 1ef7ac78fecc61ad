// The row of a table that was stored last, kept open: later stores of the same row change values here, and
// the row's bytes and index entries are written when somebody else may look (docs/decisions/006-open-row.md).
//
// Invariants, which OpenTable keeps:
//   O1  The row has its place in a page of the table; the page shows every column that is not `unwritten`.
//   O2  A new row has no entries in any index; another one has exactly those of its values in the page.
//   O3  Its values have passed every check of a store.
//   O4  Nobody walks or searches an index of the table, and no checkpoint is made, while a row is open.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "core/value.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/index_set.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {

struct OpenRow {
  RowRef place;
  bool is_new = false;
  std::vector<core::Value> values;  ///< by position; only those of `unwritten` count
  ColumnSet unwritten;
  std::size_t length_bound = 0;  ///< the row in its page will not be longer
  /// Its keys, where they are built, in unique indexes of one column: what it can be found by.
  RowKeys keys;

  std::vector<core::Value> incoming;  ///< memory of Assign

  /// Takes over the values of the `changed` columns, all or none.
  void Assign(std::span<const core::Value> from, const ColumnSet& changed);
};

/// The most bytes that the value can add to a row; none for a value that must not wait in an open row,
/// because writing it can fail for other reasons than the device.
std::optional<std::size_t> RoomFor(const TableRows& rows, const Column& column, const core::Value& value);

}  // namespace corvix::jet
