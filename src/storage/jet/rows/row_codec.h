// Rows of a table: bytes to values and back.
//
//   +0      2   number of columns N that the row knows (column numbers 0..N-1)
//   +2      f   fixed part: each fixed column at its offset; nulls keep their place
//           v   variable part: the variable columns in order of their variable index; nulls have no bytes
//           2   end of the variable part, an offset from the row's start
//           2m  offsets of the variable columns, index m-1 first, index 0 last
//           2   m, number of variable columns that the row knows
//           (N+7)/8  null mask: bit c for column number c, 1 = not null; for yes/no columns the value itself
//
// The three parts behind the variable part exist only in tables that have (or had) variable columns. Rows
// written before a column was added keep their smaller N and m; what they do not know is null (or false).
// Whether a column is variable is said by its flag, not by its type.
//
// docs/formats/jet4.md, "Rows".
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/value.h"
#include "storage/base/bytes.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

/// A set of columns by position in TableDefinition::columns.
using ColumnSet = std::bitset<kMaxColumns>;

/// The bytes of one row, for reading. Trusts nothing: each offset is checked when it is used, and damage is
/// error 3049 naming the place. Valid as long as the bytes are.
class RowView {
 public:
  RowView() = default;
  RowView(storage::ByteView row, const TableDefinition& table, const Place& place);

  bool IsNull(const Column& column) const;
  /// Value of a yes/no column.
  bool IsTrue(const Column& column) const { return MaskBit(column.number); }
  /// The stored bytes of a column that is not null; empty for a null one.
  storage::ByteView Bytes(const Column& column) const;
  /// Sets `text`; false (and `text` empty) for Null. For text columns.
  bool Text(const Column& column, std::string& text) const;
  /// The value of any column but memo and OLE, whose bytes are a long value (long_value.h).
  core::Value Value(const Column& column) const;

  storage::ByteView bytes() const { return row_; }
  const Place& place() const { return place_; }

 private:
  friend class RowBuilder;

  bool MaskBit(std::uint16_t number) const;
  storage::ByteView FixedBytes(const Column& column) const;
  storage::ByteView VariableBytes(const Column& column) const;

  storage::ByteView row_;
  Place place_;
  std::size_t columns_ = 0;         // N
  std::size_t variable_count_ = 0;  // m
  std::size_t mask_ = 0;            // offset of the null mask
  std::size_t data_end_ = 0;        // end of the variable part, or of the fixed one without variable columns
};

/// Decodes the bytes of one value that is not null; any type but yes/no, memo and OLE.
core::Value DecodeValue(const Column& column, storage::ByteView stored, const Place& place);

/// Appends the stored bytes of a value that is not Null. Memo and OLE: the data of the value, without the
/// 12-byte head. The value must be of the column's type (3421); 3163 when it is longer than the column.
void EncodeValue(const Column& column, const core::Value& value, std::vector<std::byte>& stored);

/// Puts a row together. One builder serves many rows: Clear keeps its memory.
class RowBuilder {
 public:
  explicit RowBuilder(const TableDefinition& table);

  /// All columns null (or false).
  void Clear();
  /// Null is false; 3421 when the value is neither Null nor a bool.
  void SetBool(const Column& column, const core::Value& value);
  /// The stored bytes of a column that is not null.
  void Set(const Column& column, storage::ByteView stored);
  /// A value that is not Null, of any type but yes/no, memo and OLE; fails as EncodeValue does.
  void SetValue(const Column& column, const core::Value& value);
  /// The columns of a row as they are stored, but those of `left_out`, which are null and are not looked at.
  void Load(const RowView& row, const ColumnSet& left_out);
  /// The stored bytes that were set for a variable column; empty for none. Valid until the next change.
  storage::ByteView Stored(const Column& column) const;
  /// Length that the row has now.
  std::size_t length() const;
  /// The finished row, valid until the builder is used again. Error 3047 beyond 4060 bytes.
  storage::ByteView Build();

 private:
  struct Piece {
    std::size_t begin = 0;
    std::size_t length = 0;
  };

  void SetMaskBit(const Column& column, bool value);
  Piece& PieceOf(const Column& column);

  const TableDefinition& table_;
  std::vector<std::byte> fixed_;
  std::vector<std::byte> data_;  // stored bytes of the variable columns, in the order of Set
  std::vector<Piece> variable_;  // by variable index
  std::vector<std::byte> mask_;
  std::vector<std::byte> row_;
  std::vector<std::byte> value_;  // of a fixed column, being encoded
  std::size_t variable_bytes_ = 0;
};

}  // namespace corvix::jet
