// The bytes of a field in a record, as a value or as text. Values that make no sense (an impossible date, a
// number that does not start with one) are Null; they never fail the record. Only a memo that cannot be read
// is an error (3049).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/field.h"
#include "core/value.h"
#include "storage/base/code_page.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/memo_file.h"

namespace corvix::foxpro {

/// What a numeric field holds. The leading number counts: "12AB" is 12, "2." is 2.
struct FieldNumber {
  enum class Form {
    Blank,
    Overflow,  ///< asterisks: the number did not fit when it was written
    Plain,     ///< digits as FoxPro writes them
    Odd,       ///< a number with a comma or an exponent
    Partial,   ///< a number with something else behind it
    None,      ///< no number at all
  };
  std::optional<double> value;
  Form form = Form::Blank;
};
FieldNumber ParseNumber(std::string_view raw);

struct Day {
  int year = 0;
  int month = 0;
  int day = 0;
};
/// The day of a date field; none when it is blank, zero or no day of the calendar (years 100 to 9999).
std::optional<Day> ParseDay(std::string_view raw);
/// Julian day number, the form in which indexes hold dates (1 January 1980 is 2,444,240), and back.
std::int32_t JulianDay(Day day);
Day DayOfJulian(std::int32_t number);

/// A point of time of Visual FoxPro: Julian day and milliseconds, as stored.
struct DayAndTime {
  std::uint32_t julian_day = 0;
  std::uint32_t milliseconds = 0;
};
std::optional<DayAndTime> ParseDayAndTime(std::string_view raw);

/// The block number in a memo field: 0 when the field is empty, none when its bytes are no number.
std::optional<std::uint32_t> MemoBlock(std::string_view raw);

/// The bytes of a field in its record.
inline std::string_view RawField(const DbfField& field, storage::ByteView record) {
  return storage::AsText(record.subspan(field.offset, field.length));
}

/// Names, types and sizes of a table's fields as the rest of the system sees them.
std::vector<core::Field> DescribeFields(const DbfHeader& header, const storage::CodePage& page);

/// Reads fields of one table. Holds references: header, page and memo file outlive it.
class FieldReader {
 public:
  /// `memo` is null for a table without memo fields.
  FieldReader(const DbfHeader& header, const storage::CodePage& page, MemoFile* memo)
      : header_(header), page_(page), memo_(memo) {}

  bool IsNull(const DbfField& field, storage::ByteView record) const;
  core::Value Read(const DbfField& field, storage::ByteView record) const;
  /// The stored characters of a value that is not one of the field's type, without the blanks around them (of
  /// binary fields in hexadecimal); none for blank fields and for what Read gives in full. A memo counts as
  /// such a value when it cannot be read in full.
  std::optional<std::string> UnreadableText(const DbfField& field, storage::ByteView record) const;
  /// The text form of Read's value, made directly from the bytes where possible; false for Null.
  bool ReadText(const DbfField& field, storage::ByteView record, std::string& text) const;

 private:
  bool Bit(std::optional<std::uint16_t> number, storage::ByteView record) const;
  std::string_view VaryingPart(const DbfField& field, storage::ByteView record) const;
  bool IsUnreadable(const DbfField& field, std::string_view raw) const;
  bool IsUnreadableMemo(std::string_view raw) const;
  core::Value ReadMemo(const DbfField& field, std::string_view raw) const;

  const DbfHeader& header_;
  const storage::CodePage& page_;
  MemoFile* memo_;
};

}  // namespace corvix::foxpro
