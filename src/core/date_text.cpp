// Text to dates. A text is read as a date or time first; what is none is read as a number of days.
//
// The date reading knows three kinds of marks between numbers: ":" and "." join the parts of a time, "/" and
// "-" (at most two) the parts of a date, commas and blanks only separate. A month name counts as a number.
// What each number of the date means is then found by trying the orders below until one is a real day.
#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <span>
#include <utility>

#include "core/conversion_errors.h"
#include "core/decimal_digits.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

constexpr std::size_t kMaxNumbers = 6;
constexpr std::array<std::string_view, 12> kMonths{"JANUARY",   "FEBRUARY", "MARCH",    "APRIL",
                                                   "MAY",       "JUNE",     "JULY",     "AUGUST",
                                                   "SEPTEMBER", "OCTOBER",  "NOVEMBER", "DECEMBER"};

enum class DayHalf { None, Morning, Afternoon };

/// A number or month name of the text with what follows it.
struct Number {
  int value = 0;
  bool is_month_name = false;
  bool joined_as_time = false;  ///< a time separator follows
  bool joined_as_date = false;  ///< a date separator follows
  DayHalf half = DayHalf::None;
};

int CurrentYear() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_year + 1900;
}

thread_local YearClock year_clock = CurrentYear;

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool StartsWithWord(std::string_view text, std::string_view upper_word) {
  if (text.size() < upper_word.size()) return false;
  for (std::size_t i = 0; i < upper_word.size(); ++i) {
    if (Upper(text[i]) != upper_word[i]) return false;
  }
  return true;
}

/// The length of the blank at the start of the text, 0 when there is none. The no-break space is one.
std::size_t BlankLength(std::string_view text) {
  if (text.empty()) return 0;
  if (std::string_view(" \t\r\n\f\v").find(text.front()) != std::string_view::npos) return 1;
  return text.starts_with("\u00A0") ? 2 : 0;
}

/// Cuts the text into numbers; false when it holds anything that no date holds.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : rest_(text) {}

  bool Read() {
    while (SkipBlanks(), !rest_.empty()) {
      if (!(IsDigit(rest_.front()) ? ReadDigits() : ReadSeparator() || ReadWord())) return false;
    }
    return count_ > 0 && !separator_last_;
  }

  std::span<const Number> Numbers() const { return {numbers_.data(), count_}; }

 private:
  void SkipBlanks() {
    while (const std::size_t length = BlankLength(rest_)) rest_.remove_prefix(length);
  }

  bool Add(int value, bool is_month_name) {
    if (count_ == kMaxNumbers) return false;
    numbers_[count_++] = {.value = value, .is_month_name = is_month_name};
    separator_last_ = false;
    return true;
  }

  bool ReadDigits() {
    constexpr int kBeyondAnyYear = 100'000;
    int value = 0;
    for (; !rest_.empty() && IsDigit(rest_.front()); rest_.remove_prefix(1)) {
      value = std::min(value * 10 + (rest_.front() - '0'), kBeyondAnyYear);
    }
    return Add(value, false);
  }

  bool ReadSeparator() {
    const char c = rest_.front();
    const bool time = c == ':' || c == '.';
    const bool date = c == '/' || c == '-';
    if ((!time && !date && c != ',') || count_ == 0) return false;
    Number& before = numbers_[count_ - 1];
    before.joined_as_time |= time;
    before.joined_as_date |= date;
    if (date && ++date_separators_ > 2) return false;
    separator_last_ = true;
    rest_.remove_prefix(1);
    return true;
  }

  bool ReadWord() {
    for (std::size_t i = 0; i < kMonths.size(); ++i) {
      const bool full = StartsWithWord(rest_, kMonths[i]);
      if (!full && !StartsWithWord(rest_, kMonths[i].substr(0, 3))) continue;
      rest_.remove_prefix(full ? kMonths[i].size() : 3);
      return Add(static_cast<int>(i) + 1, true);
    }
    return ReadDayHalf();
  }

  /// "AM", "PM", "A" or "P", once and behind a number.
  bool ReadDayHalf() {
    const char first = Upper(rest_.front());
    if ((first != 'A' && first != 'P') || count_ == 0 || has_half_ || separator_last_) return false;
    Number& before = numbers_[count_ - 1];
    before.half = first == 'A' ? DayHalf::Morning : DayHalf::Afternoon;
    has_half_ = true;
    rest_.remove_prefix(rest_.size() > 1 && Upper(rest_[1]) == 'M' ? 2 : 1);
    return true;
  }

  std::string_view rest_;
  std::array<Number, kMaxNumbers> numbers_{};
  std::size_t count_ = 0;
  int date_separators_ = 0;
  bool has_half_ = false;
  bool separator_last_ = false;
};

/// The run of numbers at the start of `numbers` that make a time: those joined by time separators, or a lone
/// number with AM or PM. Empty when the first number starts none.
std::size_t TimeLength(std::span<const Number> numbers) {
  std::size_t length = 0;
  while (length < numbers.size() && numbers[length].joined_as_time) ++length;
  if (length > 0 && length < numbers.size()) return length + 1;
  return !numbers.empty() && numbers[0].half != DayHalf::None ? 1 : 0;
}

/// Hour, minute and second from the numbers of a time; false when they are none.
bool ReadTime(std::span<const Number> numbers, CalendarDate& date) {
  if (numbers.size() > 3) return false;
  std::array<int, 3> fields{};
  DayHalf half = DayHalf::None;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const bool last = i + 1 == numbers.size();
    if (numbers[i].is_month_name || numbers[i].value > (i == 0 ? 23 : 59)) return false;
    if (!last && (numbers[i].half != DayHalf::None || numbers[i].joined_as_date)) return false;
    fields[i] = numbers[i].value;
    half = numbers[i].half;
  }
  if (half == DayHalf::Afternoon && fields[0] < 12) fields[0] += 12;
  if (half == DayHalf::Morning && fields[0] == 12) fields[0] = 0;
  date.hour = fields[0];
  date.minute = fields[1];
  date.second = fields[2];
  return true;
}

/// Sets the date when the parts are a real day; two-digit years stand for 1930 to 2029.
bool SetDay(CalendarDate& date, int year, int month, int day) {
  if (year < 30) {
    year += 2000;
  } else if (year < 100) {
    year += 1900;
  }
  if (!IsCalendarDay(year, month, day)) return false;
  date.year = year;
  date.month = month;
  date.day = day;
  return true;
}

bool ReadTwoFields(const Number& a, const Number& b, CalendarDate& date) {
  if (a.is_month_name || b.is_month_name) {
    if (a.is_month_name && b.is_month_name) return false;
    const int month = a.is_month_name ? a.value : b.value;
    const int number = a.is_month_name ? b.value : a.value;
    return SetDay(date, year_clock(), month, number) || SetDay(date, number, month, 1);
  }
  const int year = year_clock();
  return SetDay(date, year, a.value, b.value) || SetDay(date, year, b.value, a.value) ||
         SetDay(date, a.value, b.value, 1) || SetDay(date, b.value, a.value, 1);
}

bool ReadThreeFields(const Number& a, const Number& b, const Number& c, CalendarDate& date) {
  const int names = int{a.is_month_name} + int{b.is_month_name} + int{c.is_month_name};
  if (names > 1) return false;
  if (a.is_month_name) return SetDay(date, c.value, a.value, b.value);
  if (b.is_month_name)
    return SetDay(date, c.value, b.value, a.value) || SetDay(date, a.value, b.value, c.value);
  if (c.is_month_name) return SetDay(date, a.value, c.value, b.value);
  return SetDay(date, c.value, a.value, b.value) || SetDay(date, a.value, b.value, c.value) ||
         SetDay(date, a.value, c.value, b.value) || SetDay(date, c.value, b.value, a.value);
}

/// The numbers of the date, those of the time taken away.
bool ReadDay(std::span<const Number> numbers, CalendarDate& date) {
  for (const Number& number : numbers) {
    if (number.joined_as_time || number.half != DayHalf::None) return false;
  }
  switch (numbers.size()) {
    case 0:
      return true;  // a time alone is on day zero
    case 2:
      return ReadTwoFields(numbers[0], numbers[1], date);
    case 3:
      return ReadThreeFields(numbers[0], numbers[1], numbers[2], date);
    default:
      return false;
  }
}

/// The form that nearly all dates have, M/D/YYYY with one or two digits for month and day. None says nothing:
/// the text may still be a date.
std::optional<Date> ReadPlainDate(std::string_view text) {
  std::array<int, 3> parts{};
  std::array<std::size_t, 3> digits{};
  std::size_t part = 0;
  for (const char c : text) {
    if (c == '/' && part < 2) {
      ++part;
    } else if (IsDigit(c) && digits[part] < 4) {
      parts[part] = parts[part] * 10 + (c - '0');
      ++digits[part];
    } else {
      return std::nullopt;
    }
  }
  const bool is_plain =
      digits[0] >= 1 && digits[0] <= 2 && digits[1] >= 1 && digits[1] <= 2 && digits[2] == 4;
  CalendarDate date;
  if (!is_plain || !SetDay(date, parts[2], parts[0], parts[1])) return std::nullopt;
  return Date{SerialOf(date)};
}

/// The date reading; none when the text is no date or time.
std::optional<Date> ReadDate(std::string_view text) {
  if (const auto date = ReadPlainDate(text)) return date;
  Tokens tokens(text);
  if (!tokens.Read()) return std::nullopt;
  const std::span<const Number> numbers = tokens.Numbers();

  // The time stands in front of the date or behind it.
  std::size_t first = 0;
  std::size_t length = TimeLength(numbers);
  if (length == 0) {
    while (first < numbers.size() && TimeLength(numbers.subspan(first)) == 0) ++first;
    length = TimeLength(numbers.subspan(first));
    if (length != 0 && first + length != numbers.size()) return std::nullopt;
  }
  CalendarDate date;
  if (length != 0 && !ReadTime(numbers.subspan(first, length), date)) return std::nullopt;
  const auto rest = first == 0 && length != 0 ? numbers.subspan(length) : numbers.first(first);
  if (!ReadDay(rest, date)) return std::nullopt;
  return Date{SerialOf(date)};
}

}  // namespace

YearClock SetYearClock(YearClock clock) {
  YearClock previous = std::move(year_clock);
  year_clock = clock ? std::move(clock) : YearClock(CurrentYear);
  return previous;
}

std::optional<Date> ParseDate(std::string_view text) {
  if (const auto date = ReadDate(text)) return date;
  double serial = 0;
  if (ReadFloating(text, serial) != NumberFault::None) return std::nullopt;
  if (!(serial > kMinSerial - 1 && serial < kMaxSerial)) return std::nullopt;
  return Date{serial};
}

Date ToDate(std::string_view text) {
  const auto date = ParseDate(text);
  if (!date) ThrowNotA("a date", text);
  return *date;
}

}  // namespace corvix::core
