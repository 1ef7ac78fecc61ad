#include "core/field_assignment.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <variant>

#include "common/error.h"
#include "core/text_form.h"
#include "support/errors.h"

namespace corvix::core::test {
namespace {

using namespace std::string_literals;

struct Assignment {
  FieldType type;
  Value value;
  std::variant<Value, common::ErrorNumber> expected;
};

constexpr common::ErrorNumber kRefused = common::kConversion;

TEST(ConvertForField, ConvertsEveryTypeOrNamesTheField) {
  const Assignment kCases[] = {
      {FieldType::YesNo, "true"s, Value(true)},
      {FieldType::YesNo, "0"s, Value(false)},
      {FieldType::YesNo, "-1"s, Value(true)},
      {FieldType::YesNo, "Yes"s, kRefused},
      {FieldType::YesNo, ""s, kRefused},
      {FieldType::YesNo, Null{}, Value(false)},
      {FieldType::YesNo, 0.25, Value(true)},
      {FieldType::Byte, "255.4"s, Value(std::uint8_t{255})},
      {FieldType::Byte, "256"s, kRefused},
      {FieldType::Byte, "-1"s, kRefused},
      {FieldType::Byte, true, Value(std::uint8_t{255})},
      {FieldType::Integer, "2.5"s, Value(std::int16_t{2})},
      {FieldType::Integer, 3.5, Value(std::int16_t{4})},
      {FieldType::Integer, 32767.5, kRefused},
      {FieldType::Integer, true, Value(std::int16_t{-1})},
      {FieldType::Integer, "1E300"s, kRefused},
      {FieldType::Long, Currency{-25'000}, Value(std::int32_t{-2})},
      {FieldType::Long, std::numeric_limits<double>::quiet_NaN(), kRefused},
      {FieldType::Long, Decimal{true, 1, {0, 0, 0, 35}}, Value(std::int32_t{-4})},
      {FieldType::Long, Null{}, Value(Null{})},
      {FieldType::Currency, "$1,234.56"s, Value(Currency{12'345'600})},
      {FieldType::Currency, 1.00005, Value(Currency{10'001})},
      {FieldType::Currency, 1e300, kRefused},
      {FieldType::Currency, Currency{std::numeric_limits<std::int64_t>::max()},
       Value(Currency{std::numeric_limits<std::int64_t>::max()})},
      {FieldType::Single, "(5)"s, Value(-5.0f)},
      {FieldType::Single, 1e39, kRefused},
      {FieldType::Double, " 1,5 "s, Value(15.0)},
      {FieldType::Double, "abc"s, kRefused},
      {FieldType::Double, ""s, kRefused},
      {FieldType::Double, 0.1f, Value(static_cast<double>(0.1f))},
      {FieldType::Date, "3/5/02"s, Value(Date{37320})},
      {FieldType::Date, "unknown"s, kRefused},
      {FieldType::Date, 2.5, Value(Date{2.5})},
      {FieldType::Date, 1e9, kRefused},
      {FieldType::Date, Date{1e9}, kRefused},
      {FieldType::Text, "0123456789"s, Value("0123456789"s)},
      {FieldType::Text, "01234567890"s, common::kFieldTooSmall},
      {FieldType::Text, "\u00E4\u00F6\u00FC\u00DF\u20AC\u20AC\u20AC\u20AC\u20AC\u20AC"s,
       Value("\u00E4\u00F6\u00FC\u00DF\u20AC\u20AC\u20AC\u20AC\u20AC\u20AC"s)},
      {FieldType::Text, "123456789\U0001F600"s, common::kFieldTooSmall},  // two units
      {FieldType::Text, " "s, Value(" "s)},
      {FieldType::Text, 0.5, Value("0.5"s)},
      {FieldType::Text, true, Value("True"s)},
      {FieldType::Text, Date{37320}, Value("3/5/2002"s)},
      {FieldType::Text, Bytes{}, common::kZeroLengthRefused},
      {FieldType::Text, ""s, common::kZeroLengthRefused},
      {FieldType::Memo, std::string(70'000, 'x'), Value(std::string(70'000, 'x'))},
      {FieldType::Memo, ""s, common::kZeroLengthRefused},
      {FieldType::Decimal, "1.239"s, Value(Decimal{false, 2, {0, 0, 0, 123}})},
      {FieldType::Decimal, 1e30, kRefused},
      {FieldType::Decimal, Decimal{false, 3, {0, 0, 0, 1239}}, Value(Decimal{false, 2, {0, 0, 0, 123}})},
      {FieldType::Guid, "{00000000-0000-0000-0000-0000000000fF}"s,
       Value(Guid{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF}})},
      {FieldType::Guid, "{00000000-0000-0000-0000-0000000000-1}"s, kRefused},
      {FieldType::LongBinary, "a\u00E9"s, Value(Bytes{std::byte{'a'}, std::byte{0xE9}})},
      {FieldType::LongBinary, "\u20AC"s, kRefused},
      {FieldType::Binary, Bytes(11), common::kFieldTooSmall},
      {FieldType::BigInteger, "1"s, kRefused},
  };
  for (const Assignment& row : kCases) {
    const Field field{.name = "GLA", .type = row.type, .size = 10, .allow_zero_length = false, .scale = 2};
    SCOPED_TRACE("type " + std::to_string(static_cast<int>(row.type)));
    if (const auto* value = std::get_if<Value>(&row.expected)) {
      try {
        const Value actual = ConvertForField(field, row.value);
        EXPECT_EQ(actual.index(), value->index());
        EXPECT_TRUE(actual == *value) << ToText(actual) << " instead of " << ToText(*value);
      } catch (const common::Error& error) {
        ADD_FAILURE() << error.what();
      }
      continue;
    }
    const common::Error error = corvix::test::ErrorOf([&] { ConvertForField(field, row.value); });
    EXPECT_EQ(error.number(), std::get<common::ErrorNumber>(row.expected)) << error.what();
    EXPECT_NE(error.text().find("'GLA'"), std::string::npos) << error.text();
  }
}

TEST(ConvertForField, LeavesAutonumbersToTheDatabase) {
  const Field field{.name = "ID", .type = FieldType::Long, .size = 4, .autonumber = true};
  for (const Value& value : {Value(std::int32_t{1}), Value(Null{})}) {
    EXPECT_EQ(corvix::test::NumberOf([&] { ConvertForField(field, value); }), common::kNotAssignable);
  }
}

}  // namespace
}  // namespace corvix::core::test
