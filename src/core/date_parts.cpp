// The calendar: serial numbers of days, their parts, and dates as text.
#include <cmath>
#include <cstdint>
#include <fmt/compile.h>
#include <iterator>

#include "common/error.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

constexpr double kSecondsPerDay = 86400;

constexpr bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

/// Days from 1 March of year 0 to a day of the Gregorian calendar, years counted from March on.
constexpr int DaysFromMarchZero(int year, int month, int day) {
  const int shifted_month = (month + 9) % 12;
  const int shifted_year = year - (month <= 2 ? 1 : 0);
  return 365 * shifted_year + shifted_year / 4 - shifted_year / 100 + shifted_year / 400 +
         (153 * shifted_month + 2) / 5 + day - 1;
}

constexpr int kDayZero = DaysFromMarchZero(1899, 12, 30);

struct DayAndSeconds {
  int day;      ///< days since 30 December 1899
  int seconds;  ///< of that day
};

/// Rounds to whole seconds; error 13 outside the range of dates.
DayAndSeconds Divide(Date date) {
  if (!(date.serial > kMinSerial - 1 && date.serial < kMaxSerial)) {
    throw common::Error(common::kTypeMismatch,
                        fmt::format("The number {} is outside the range of dates", DoubleText(date.serial)));
  }
  // The fraction counts forward also in front of day zero.
  const double whole = std::trunc(date.serial);
  DayAndSeconds result{static_cast<int>(whole),
                       static_cast<int>(std::lround(std::abs(date.serial - whole) * kSecondsPerDay))};
  // The last half second of the last day stays in it, as no day follows.
  if (result.seconds == kSecondsPerDay && result.day + 1 < kMaxSerial) {
    result.seconds = 0;
    ++result.day;
  } else if (result.seconds == kSecondsPerDay) {
    --result.seconds;
  }
  return result;
}

void SplitDay(int day, CalendarDate& parts) {
  const int days = day + kDayZero;
  const int era = days / 146097;  // of 400 years; no date lies before year 0
  const int day_of_era = days % 146097;
  const int year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const int day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int shifted_month = (5 * day_of_year + 2) / 153;
  parts.day = day_of_year - (153 * shifted_month + 2) / 5 + 1;
  parts.month = shifted_month < 10 ? shifted_month + 3 : shifted_month - 9;
  parts.year = era * 400 + year_of_era + (parts.month <= 2 ? 1 : 0);
}

}  // namespace

bool IsCalendarDay(int year, int month, int day) {
  constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  return day <= kLengths[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

double SerialOf(const CalendarDate& date) {
  const int day = DaysFromMarchZero(date.year, date.month, date.day) - kDayZero;
  const double time = (date.hour * 3600 + date.minute * 60 + date.second) / kSecondsPerDay;
  return day < 0 ? day - time : day + time;
}

CalendarDate SplitDate(Date date) {
  const auto [day, seconds] = Divide(date);
  CalendarDate parts;
  SplitDay(day, parts);
  parts.hour = seconds / 3600;
  parts.minute = seconds / 60 % 60;
  parts.second = seconds % 60;
  return parts;
}

int Weekday(Date date) {
  constexpr int kWeeksBefore = 100'000 * 7;  // more than the days before day zero, which was a Saturday
  return (Divide(date).day + kWeeksBefore + 6) % 7 + 1;
}

std::string DateText(Date date) {
  const CalendarDate parts = SplitDate(date);
  const bool day_zero = parts.year == 1899 && parts.month == 12 && parts.day == 30;
  const bool midnight = parts.hour == 0 && parts.minute == 0 && parts.second == 0;
  std::string text;
  auto out = std::back_inserter(text);
  if (!day_zero) fmt::format_to(out, FMT_COMPILE("{}/{}/{}"), parts.month, parts.day, parts.year);
  if (!day_zero && !midnight) text += ' ';
  if (day_zero || !midnight) {
    fmt::format_to(out, "{}:{:02}:{:02} {}", parts.hour % 12 == 0 ? 12 : parts.hour % 12, parts.minute,
                   parts.second, parts.hour < 12 ? "AM" : "PM");
  }
  return text;
}

std::string FormatMonthDayYear(std::string_view text) {
  const auto date = ParseDate(text);
  if (!date) return std::string(text);
  const CalendarDate parts = SplitDate(*date);
  return fmt::format(FMT_COMPILE("{:02}/{:02}/{}"), parts.month, parts.day, parts.year);
}

}  // namespace corvix::core
