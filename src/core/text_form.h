// Typed value ⇄ text in the US English forms of the platform: what "converted by the platform" means, in one
// place. Text that is no number or date is error 13, a number outside its type's range error 6.
//
// Dates as text are read in the platform's way: as a date or time first, else as a number of days; see
// ParseDate. The year of a text without one comes from a clock that can be set.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/value.h"

namespace corvix::core {

/// Year, month, day and time of a date; year 100 to 9999, month 1 to 12, day 1 to 31.
struct CalendarDate {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

inline constexpr double kMinSerial = -657434.0;  // 1 January 100
inline constexpr double kMaxSerial = 2958466.0;  // the first day that is out of range: 1 January 10000

/// The year used for a text date without one; by default that of the system clock.
using YearClock = std::function<int()>;
/// Replaces the clock and returns the one before. For tests; per thread.
YearClock SetYearClock(YearClock clock);

/// Days since 30 December 1899 of a calendar date, and back. SplitDate rounds to whole seconds.
double SerialOf(const CalendarDate& date);
/// Error 13 outside the range of dates.
CalendarDate SplitDate(Date date);
/// True for an existing day of the Gregorian calendar, years 100 to 9999.
bool IsCalendarDay(int year, int month, int day);

/// Text to a number. Errors 13 and 6.
double ToDouble(std::string_view text);
float ToSingle(std::string_view text);
Currency ToCurrency(std::string_view text);
/// Halves to even; the range is tested after rounding (error 6).
std::int64_t ToInteger(std::string_view text, std::int64_t lowest, std::int64_t highest);
bool ToBoolean(std::string_view text);
/// As many of the text's digits as `scale` keeps. Errors 13 and 6 (more than 28 digits).
Decimal ToDecimal(std::string_view text, std::uint8_t scale);
/// The longest number at the start of the text, 0 when there is none; never fails but by overflow (6).
double Val(std::string_view text);

/// Text to a date: the date reading, else a number as serial. Error 13.
Date ToDate(std::string_view text);
/// The same without an error: none where ToDate would fail.
std::optional<Date> ParseDate(std::string_view text);

/// The text form of a value: numbers in plain decimal form (15 significant digits, singles 7), dates in the
/// short date form M/d/yyyy with the time behind it where there is one, booleans "True" and "False". Null
/// gives the empty text; binary values give their bytes as Latin-1 characters; a GUID {8-4-4-4-12}.
std::string ToText(const Value& value);
/// ToText(value) appended to `out`.
void AppendText(std::string& out, const Value& value);
std::string DoubleText(double value);
std::string SingleText(float value);
std::string CurrencyText(Currency value);
std::string DecimalText(const Decimal& value);
std::string DateText(Date date);

/// A number for display: one blank before a number that is not negative.
std::string StrText(double value);

/// `text` formatted with "mm/dd/yyyy": two-digit month and day, year as it is; a text that does not convert
/// comes back unchanged.
std::string FormatMonthDayYear(std::string_view text);

/// 1 for Sunday to 7 for Saturday.
int Weekday(Date date);

}  // namespace corvix::core
