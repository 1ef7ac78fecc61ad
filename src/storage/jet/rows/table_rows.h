// The rows of one table in its data pages: reading, inserting, changing, deleting, and walking through them
// in storage order. Indexes and the rules of columns are not known here.
//
// A row is known by its slot (RowRef) for its whole life. When it outgrows its page it moves: the slot
// becomes a pointer and the row lives as a target cell in another page of the table. A row that moves again
// leaves no copy behind, and it moves home when it fits there.
//
//   Invariants:
//   R1  A slot of the table is live or a pointer as long as its row exists; slots are never reused.
//   R2  Pointers that we write lead to a target cell, never to a pointer.
//   R3  The owned map names every page that holds rows; the free-space map names only pages of the owned map.
//   R4  Values outside the row belong to exactly one row.
//
// The caller wraps each change of the table in a Savepoint, so that a change that fails leaves nothing
// behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/value.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/cell_space.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"
#include "storage/jet/rows/long_value.h"
#include "storage/jet/rows/row_codec.h"

namespace corvix::jet {

/// A row found in its page, pinned. Valid until the table changes.
struct StoredRow {
  PageView page;
  RowView row;
};

class TableRows {
 public:
  /// `table` must outlive this; its row count changes with the rows.
  TableRows(Pager& pager, PageAllocator& allocator, TableDefinition& table);

  /// The row of a slot; none when the slot is deleted, or is no slot of this table.
  std::optional<StoredRow> Find(RowRef slot) const;
  /// First row in storage order; the one behind a slot, which itself need not be live any more.
  std::optional<RowRef> First() const;
  std::optional<RowRef> Next(RowRef slot) const;

  /// Value of the column at a position, long values read whole.
  core::Value Read(const StoredRow& row, std::size_t column) const;
  /// Text of a text or memo column without a Value; false, and `text` empty, for Null.
  bool ReadText(const StoredRow& row, std::size_t column, std::string& text) const;

  /// True when the column has exactly this value; false also where what is stored cannot be read.
  bool Holds(const StoredRow& row, std::size_t column, const core::Value& value) const;

  /// `values` by position, all columns. 3047 when the row is too large, 3163 and 3421 as EncodeValue.
  RowRef Insert(std::span<const core::Value> values);
  /// Changes the columns of `changed` to their `values`; all others keep their bytes, long values included.
  /// 3167 when the row is gone.
  void Update(RowRef slot, std::span<const core::Value> values, const ColumnSet& changed);
  /// Deletes the row and its long values. 3167 when it is gone already.
  void Delete(RowRef slot);

  /// Whether values of a memo or OLE column may lie outside the row.
  bool StoresLongValues(const Column& column) const { return long_values_.contains(column.number); }

  const TableDefinition& table() const { return table_; }

 private:
  /// The cells of a row: its slot and, when it has moved, the cells that the pointers lead through.
  struct Located {
    RowRef home;
    std::vector<RowRef> targets;
    RowRef cell() const { return targets.empty() ? home : targets.back(); }
  };

  std::optional<Located> Locate(RowRef slot) const;
  Located Require(RowRef slot) const;
  StoredRow RowAt(RowRef cell) const;
  std::optional<RowRef> FirstFrom(PageNumber page, std::size_t row) const;
  storage::ByteView BuildRow(std::span<const core::Value> values, const ColumnSet& changed,
                             const RowView* old);
  void SetLongValue(const Column& column, const core::Value& value);
  void MoveInlineValuesOut();
  void FreeLongValues(const RowView& row, const ColumnSet& columns);
  void Replace(const Located& row, storage::ByteView bytes);
  void DeleteCell(RowRef cell);
  RowRef Append(storage::ByteView bytes, CellState state);
  LongValueStore& Values(const Column& column);

  Pager& pager_;
  TableDefinition& table_;
  CellSpace space_;
  std::map<std::uint16_t, LongValueStore> long_values_;  // by column number
  RowBuilder builder_;
  std::vector<std::byte> stored_;          // bytes of the value being encoded
  mutable std::vector<std::byte> buffer_;  // long value being read
};

}  // namespace corvix::jet
