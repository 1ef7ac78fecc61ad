// The table operations: a cursor over one table with one current record. Every engine implements this
// interface and nothing else is asked of it; one conformance suite runs over all implementations.
//
// Position. A freshly opened record set stands on its first record. A failed seek leaves no current record
// until the set is positioned again. Moving past the last record leaves none either and sets PastEnd().
//
// The row being written. BeginAdd and BeginEdit open a buffer; reads then give the buffer. It lives until
// Store succeeds, or until the set is positioned (seek, bookmark, move; also where that finds no record), an
// index is selected or another add or edit begins: then it is dropped silently. A Store that fails keeps it.
// Storing an added row leaves the record current that was current before; where none was current because the
// table was empty, the added row becomes current.
//
// Failures are common::Error with the numbers of error_numbers.h. Lifetime: a record set keeps what it needs
// of its database alive. One thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/field.h"
#include "core/value.h"

namespace corvix::core {

/// An opaque handle of a record, valid for the record set that gave it.
struct Bookmark {
  std::uint64_t handle = 0;
  bool operator==(const Bookmark&) const = default;
};

class RecordSet {
 public:
  virtual ~RecordSet() = default;

  /// The fields in table order; fixed while the record set is open.
  virtual std::span<const Field> Fields() const = 0;
  /// Position of the field of that name, without regard to case; none when the table lacks it. Does not
  /// throw.
  virtual std::optional<std::size_t> FindField(std::string_view name) const = 0;

  /// Makes the named index (without regard to case) the current order and the one that SeekEqual uses; keeps
  /// the current record. 3015: the table has no such index, nor a field that one could be made of.
  virtual void SelectIndex(std::string_view name) = 0;
  /// Goes to the first record, in index order, whose key equals the text. 3019: no index is selected.
  /// 3250: the index cannot form a key of the text.
  virtual void SeekEqual(std::string_view key) = 0;
  /// True when the last seek found nothing.
  virtual bool NoMatch() const = 0;

  /// 3021: there is no current record.
  virtual Bookmark GetBookmark() const = 0;
  /// 3159: not a bookmark of this set. 3167: the record is gone.
  virtual void SetBookmark(Bookmark bookmark) = 0;
  /// To the first record of the current order (without an index: file order). 3021: the table is empty.
  virtual void MoveFirst() = 0;
  /// To the next record of the current order, or past the end. 3021: there was no current record.
  virtual void MoveNext() = 0;
  /// True after moving beyond the last record, and in an empty table.
  virtual bool PastEnd() const = 0;
  virtual std::int32_t RecordCount() const = 0;
  /// Number of the current record in its file, from 1, as the table's own programs show it; 0 where the
  /// format numbers no records or no record is current.
  virtual std::int64_t RecordNumber() const { return 0; }
  /// Why the selected index is not the one of the file but one that was built from the records, for people
  /// and without a closing period; empty when it is the file's own.
  virtual std::string RebuiltIndex() const { return {}; }
  /// A key in capitals, as far as this table can hold them: a letter whose capital its code page lacks stays
  /// as it is.
  virtual std::string InCapitals(std::string_view key) const;

  /// A new empty row, default values applied, becomes the row being written. 3027: read-only.
  virtual void BeginAdd() = 0;
  /// A copy of the current row becomes the row being written. 3021, 3027.
  virtual void BeginEdit() = 0;
  /// Writes the row. 3020 without a row being written; 3314, 3058, 3022, 3201 as the table's rules demand.
  virtual void Store() = 0;

  /// True when Read can succeed: a row is being written or there is a current record.
  virtual bool HasRow() const = 0;
  /// Value of the field at a position, of the row being written if there is one. 3021, 3265 (no such
  /// position).
  virtual Value Read(std::size_t field) const = 0;
  /// The value in the system's text form; false, and `text` empty, for Null. Throws as Read does. Engines
  /// override it where the text can be had without a Value.
  virtual bool ReadText(std::size_t field, std::string& text) const;
  /// The stored characters of a field of the current record that are no value of its type although they are
  /// not blank; Read makes of them what it can, or Null. None for a sound value. Throws as Read does.
  virtual std::optional<std::string> UnreadableText(std::size_t field) const;
  /// Assigns to a field of the row being written, converting text to the field's type by plain assignment
  /// (field_assignment.h). 3020, 3265, 3421, 3163, 3315, 3164; the field then keeps its value.
  virtual void Write(std::size_t field, Value value) = 0;
};

/// Position by name or error 3265 naming it.
std::size_t RequireField(const RecordSet& records, std::string_view name);

}  // namespace corvix::core
