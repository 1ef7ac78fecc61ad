#include <charconv>
#include <fmt/format.h>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "common/error.h"
#include "common/text.h"
#include "core/conversion_cases.h"
#include "core/json_form.h"
#include "core/text_form.h"

namespace corvix::core::test {
namespace {

constexpr int kClockYear = 2003;  // no leap year

std::string IsoText(Date date) {
  const CalendarDate parts = SplitDate(date);
  std::string text = fmt::format("{:04}-{:02}-{:02}", parts.year, parts.month, parts.day);
  if (parts.hour + parts.minute + parts.second == 0) return text;
  return text + fmt::format(" {:02}:{:02}:{:02}", parts.hour, parts.minute, parts.second);
}

template <typename T>
T Number(std::string_view text) {
  T value{};
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

class Conversions : public testing::Test {
 protected:
  Conversions() : clock_(SetYearClock([] { return kClockYear; })) {}
  ~Conversions() override { SetYearClock(clock_); }

  template <std::size_t N>
  static void Check(const ConversionCase (&cases)[N],
                    const std::function<std::string(std::string_view)>& convert) {
    for (const ConversionCase& row : cases) {
      std::string expected = row.expected;
      if (expected.starts_with("{YYYY}")) expected.replace(0, 6, std::to_string(kClockYear));
      std::string actual;
      try {
        actual = convert(row.input);
      } catch (const common::Error& error) {
        actual = fmt::format("error {}", error.number());
      }
      EXPECT_EQ(actual, expected) << "of '" << row.input << "'";
    }
  }

 private:
  YearClock clock_;
};

TEST_F(Conversions, TextToDate) {
  Check(kToDate, [](auto text) { return IsoText(ToDate(text)); });
  Check(kFormatMonthDayYear, [](auto text) { return FormatMonthDayYear(text); });
  Check(kWeekdayOfFormat,
        [](auto text) { return std::to_string(Weekday(ToDate(FormatMonthDayYear(text)))); });
  Check(kWeekdayOfDate, [](auto text) { return std::to_string(Weekday(ToDate(text))); });
  Check(kSerialOf, [](auto text) { return DoubleText(ToDate(text).serial); });
}

TEST_F(Conversions, TextToNumber) {
  Check(kToDouble, [](auto text) { return DoubleText(ToDouble(text)); });
  Check(kToSingle, [](auto text) { return SingleText(ToSingle(text)); });
  Check(kToInteger, [](auto text) { return std::to_string(ToInteger(text, -32768, 32767)); });
  Check(kToLong, [](auto text) { return std::to_string(ToInteger(text, -2147483648, 2147483647)); });
  Check(kToCurrency, [](auto text) { return CurrencyText(ToCurrency(text)); });
  Check(kToBoolean, [](auto text) { return ToText(ToBoolean(text)); });
  Check(kVal, [](auto text) { return DoubleText(Val(text)); });
}

TEST_F(Conversions, ValueToText) {
  Check(kDoubleText, [](auto text) { return DoubleText(Number<double>(text)); });
  Check(kSingleText, [](auto text) { return SingleText(Number<float>(text)); });
  Check(kStrText, [](auto text) { return StrText(Number<double>(text)); });
  Check(kBooleanText, [](auto text) { return ToText(text == "True"); });
  Check(kDateText, [](auto text) { return DateText(ToDate(text)); });
  Check(kTrim, [](auto text) { return std::string(common::Trim(text)); });
  Check(kUpperCase, [](auto text) { return common::UpperCase(text); });
}

// Readings at the edges of the rules that the tables above leave out.
TEST_F(Conversions, EdgesOfReading) {
  constexpr ConversionCase kDates[] = {{"3//5", "2003-03-05"},  // two separators count as two
                                       {"3/5/ ", "error 13"},   // nothing behind the last separator
                                       {"3/5/02,", "error 13"},
                                       {"1.2 3.4", "error 13"},
                                       {"1 4:05 2 3", "error 13"},  // a time inside the date
                                       {"1 PM:30", "error 13"},
                                       {"PM 1:30", "error 13"},
                                       {"1:30 PM AM", "error 13"},
                                       {"Mar 5:30", "error 13"},
                                       {"Mar Apr 2002", "error 13"},
                                       {"5 apr 2002 11 p", "2002-04-05 23:00:00"},
                                       {"2/29", "2029-02-01"},  // the clock's year is no leap year
                                       {"5\u00A0mar\t02", "2002-03-05"},
                                       {"-657434", "0100-01-01"},
                                       {"-657434.5", "0100-01-01 12:00:00"},
                                       {"-657435", "error 13"},
                                       {"2958465.999999", "9999-12-31 23:59:59"},
                                       {"-1.25", "1899-12-29 06:00:00"},
                                       {"1 2 3 4 5 6 7", "error 13"},
                                       {"99999999999999999999/1/1", "error 13"},
                                       {"3/5/02\xE4", "error 13"}};
  Check(kDates, [](auto text) { return IsoText(ToDate(text)); });
  constexpr ConversionCase kNumbers[] = {{"0.000000000000000000000000000001E30", "1"},
                                         {"1E-400", "0"},
                                         {"1E99999999999", "error 6"},
                                         {"0E99999999999", "0"},
                                         {"&H10000000000000000", "error 6"},
                                         {"&H", "error 13"},
                                         {"-&H1", "error 13"},
                                         {"$1E2", "error 13"},
                                         {"1,E2", "100"},
                                         {"1.5,0", "error 13"},
                                         {"((5))", "error 13"},
                                         {"-0", "0"},
                                         {"1.7976931348623158E308", "1.79769313486232E+308"},
                                         {"1.7976931348623160E308", "error 6"}};
  Check(kNumbers, [](auto text) { return DoubleText(ToDouble(text)); });
  constexpr ConversionCase kWhole[] = {{"9223372036854775807", "9223372036854775807"},
                                       {"-9223372036854775808", "-9223372036854775808"},
                                       {"9223372036854775807.5", "error 6"},
                                       {"1E40", "error 6"},
                                       {"0.5", "0"},
                                       {"0.50000000000000000001", "1"}};
  Check(kWhole, [](auto text) { return std::to_string(ToInteger(text, INT64_MIN, INT64_MAX)); });
  constexpr ConversionCase kDecimals[] = {{"1.23999", "1.23"},
                                          {"-0.001", "0"},
                                          {"(1,234.50)", "-1234.5"},
                                          {"99999999999999999999999999.99", "99999999999999999999999999.99"},
                                          {"100000000000000000000000000", "error 6"}};
  Check(kDecimals, [](auto text) { return DecimalText(ToDecimal(text, 2)); });
}

TEST_F(Conversions, TextsOfRareValues) {
  constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(ToText(Currency{kLowest}), "-922337203685477.5808");
  EXPECT_EQ(ToText(Currency{-5}), "-0.0005");
  EXPECT_EQ(ToText(Decimal{true, 30, {0, 0, 0, 120}}), "-0.00000000000000000000000000012");
  EXPECT_EQ(ToText(Decimal{false, 0, {~0u, ~0u, ~0u, ~0u}}), "340282366920938463463374607431768211455");
  EXPECT_EQ(ToText(Guid{{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD,
                         0xEE, 0xFF}}),
            "{00112233-4455-6677-8899-AABBCCDDEEFF}");
  EXPECT_EQ(ToText(Bytes{std::byte{'a'}, std::byte{0xE9}}), "a\u00E9");
  EXPECT_EQ(ToText(Null{}), "");
  EXPECT_EQ(DoubleText(-0.0), "0");
  EXPECT_EQ(DoubleText(0.01234567890123456), "1.23456789012346E-02");
  EXPECT_EQ(DoubleText(999999999999999.9), "1E+15");
  EXPECT_THROW(DateText(Date{std::numeric_limits<double>::quiet_NaN()}), common::Error);
}

TEST_F(Conversions, TimesInJsonKeepMilliseconds) {
  const auto json = [](double serial) {
    std::string text;
    AppendJson(text, Date{serial});
    return text;
  };
  constexpr double kSecond = 1.0 / 86400;
  EXPECT_EQ(json(36526.5 + 0.25 * kSecond), "\"2000-01-01T12:00:00.250\"");
  EXPECT_EQ(json(-1.25 - 59.007 * kSecond), "\"1899-12-29T06:00:59.007\"");
  EXPECT_EQ(json(36526 + 86399.9996 * kSecond), "\"2000-01-02T00:00:00\"");
  for (int second = 0; second < 86400; second += 7) {
    ASSERT_EQ(json(36526 + second * kSecond).size(), std::string_view("\"2000-01-01T12:00:00\"").size());
  }
}

TEST(Calendar, EveryDayHasItsSerialAndBack) {
  int serial = static_cast<int>(kMinSerial);
  for (int year = 100; year <= 9999; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; IsCalendarDay(year, month, day); ++day, ++serial) {
        const CalendarDate parts = SplitDate(Date{double(serial)});
        ASSERT_EQ(SerialOf({year, month, day, 0, 0, 0}), serial);
        ASSERT_TRUE(parts.year == year && parts.month == month && parts.day == day) << year << month << day;
      }
    }
  }
  EXPECT_EQ(serial, static_cast<int>(kMaxSerial));
}

}  // namespace
}  // namespace corvix::core::test
