// Keys of index entries: byte strings whose unsigned order is the order of the index. A key is the
// concatenation over the index columns of a flag byte and the value's bytes:
//
//              ascending           descending
//   null       00, nothing more    FF, nothing more
//   value      7F, value bytes     80, value bytes inverted
//
//   integers, currency     big-endian, sign bit inverted
//   single, double, date   big-endian; sign bit set, or all bytes inverted when it was set
//   yes/no                 FF for false, 00 for true; never null
//   decimal                00 for negative, FF for positive, not inverted in descending columns; then the
//                          magnitude (16 bytes, big-endian), inverted for negative ascending and positive
//                          descending
//   binary, GUID           groups of 8 bytes, padded with zeros; 09 behind a group that is not the last
//                          (not inverted in descending columns), the number of its valid bytes behind the
//                          last; the empty value has no bytes
//   text, memo             collation.h
//
// What values a column holds must be settled before: keys are built of values of the column's own type.
//
// docs/formats/jet4.md, "Index keys".
#pragma once

#include "core/value.h"
#include "storage/base/bytes.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/collation.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

/// Appends the key bytes of one value. `value` must be Null or of the column's type; a memo is its text.
/// Error 3250, naming the column, for a value that cannot be a key (long binary, or of another type).
void AppendKey(Key& key, const Column& column, bool ascending, const core::Value& value);

/// True when keys of this column can be computed: all types but OLE and opaque, text only in the General
/// order.
bool CanBuildKeys(const Column& column);

/// Appends the address of a row as it stands behind a key in an entry: page, 3 bytes big-endian, and row.
void AppendRow(Key& entry, RowRef row);
/// The row at the end of an entry, which has at least 4 bytes.
RowRef RowOfEntry(storage::ByteView entry);

}  // namespace corvix::jet
