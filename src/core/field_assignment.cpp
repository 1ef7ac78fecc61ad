#include "core/field_assignment.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "core/conversion_errors.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

using common::Error;

[[noreturn]] void Refuse(const Field& field, common::ErrorNumber number, const std::string& why) {
  throw Error(number, "Field '" + field.name + "' " + why);
}

std::string_view TypeName(FieldType type) {
  switch (type) {
    case FieldType::YesNo:
      return "yes/no";
    case FieldType::Byte:
    case FieldType::Integer:
    case FieldType::Long:
      return "whole number";
    case FieldType::Currency:
      return "currency";
    case FieldType::Date:
    case FieldType::Time:
    case FieldType::TimeStamp:
      return "date";
    case FieldType::Binary:
    case FieldType::LongBinary:
    case FieldType::VarBinary:
      return "binary";
    case FieldType::Guid:
      return "GUID";
    case FieldType::Text:
    case FieldType::Memo:
    case FieldType::FixedChar:
      return "text";
    default:
      return "number";
  }
}

/// What a value is as a double; none for text, binary and GUID values.
std::optional<double> NumberOf(const Value& value) {
  return std::visit(
      [](const auto& held) -> std::optional<double> {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, bool>) {
          return held ? -1 : 0;
        } else if constexpr (std::is_arithmetic_v<T>) {
          return held;
        } else if constexpr (std::is_same_v<T, Currency>) {
          return static_cast<double>(held.scaled) / 10'000;
        } else if constexpr (std::is_same_v<T, Date>) {
          return held.serial;
        } else if constexpr (std::is_same_v<T, Decimal>) {
          return ToDouble(DecimalText(held));
        } else {
          return std::nullopt;
        }
      },
      value);
}

/// A conversion for one field type: from text by the text forms, from everything else as a number. The
/// errors 13 and 6 of the text forms mean that the value does not convert; none means the same.
class Conversion {
 public:
  /// The value may be moved out of.
  Conversion(const Field& field, Value& value) : field_(field), value_(value) {}

  Value Run() {
    switch (field_.type) {
      case FieldType::YesNo:
        return ToYesNo();
      case FieldType::Byte:
        return ToWhole<std::uint8_t>();
      case FieldType::Integer:
        return ToWhole<std::int16_t>();
      case FieldType::Long:
        return ToWhole<std::int32_t>();
      case FieldType::Currency:
        return ToCurrency(Digits());
      case FieldType::Single:
        return ToSingleValue();
      case FieldType::Double:
      case FieldType::Float:
        return text() ? ToDouble(*text()) : Number();
      case FieldType::Date:
      case FieldType::Time:
      case FieldType::TimeStamp:
        return ToDateValue();
      case FieldType::Text:
      case FieldType::FixedChar:
      case FieldType::Memo:
        return ToTextValue();
      case FieldType::Binary:
      case FieldType::VarBinary:
      case FieldType::LongBinary:
        return ToBinary();
      case FieldType::Guid:
        return ToGuid();
      case FieldType::Numeric:
      case FieldType::Decimal:
        return ToDecimal(Digits(), field_.scale);
      case FieldType::BigInteger:
        break;  // no value type holds it
    }
    RefuseConversion();
  }

  [[noreturn]] void RefuseConversion() const {
    Refuse(field_, common::kConversion,
           "of type " + std::string(TypeName(field_.type)) + " cannot hold " + Shown());
  }

 private:
  const std::string* text() const { return std::get_if<std::string>(&value_); }

  /// The value for a message.
  std::string Shown() const {
    if (std::holds_alternative<Bytes>(value_)) return "binary data";
    // A date outside the range of dates has no text form but its number.
    if (const Date* date = std::get_if<Date>(&value_)) return "day " + DoubleText(date->serial);
    return Quoted(ToText(value_));
  }

  double Number() const {
    const auto number = NumberOf(value_);
    if (!number) RefuseConversion();
    return *number;
  }

  /// Decimal digits of the value: its text form, with which doubles give 15 digits and decimals all.
  std::string Digits() const {
    if (text() || std::holds_alternative<Currency>(value_) || std::holds_alternative<Decimal>(value_)) {
      return ToText(value_);
    }
    return DoubleText(Number());
  }

  Value ToYesNo() const { return text() ? ToBoolean(*text()) : Number() != 0; }

  template <typename T>
  Value ToWhole() const {
    using Limits = std::numeric_limits<T>;
    if (text()) return static_cast<T>(ToInteger(*text(), Limits::min(), Limits::max()));
    if (const bool* flag = std::get_if<bool>(&value_))
      return static_cast<T>(*flag ? -1 : 0);          // a byte takes 255
    const double rounded = std::nearbyint(Number());  // halves to even
    if (!(rounded >= Limits::min() && rounded <= Limits::max())) RefuseConversion();
    return static_cast<T>(rounded);
  }

  Value ToSingleValue() const {
    if (text()) return ToSingle(*text());
    const auto single = static_cast<float>(Number());
    if (std::isinf(single)) RefuseConversion();
    return single;
  }

  Value ToDateValue() const {
    const Date date = text() ? ToDate(*text()) : Date{Number()};
    SplitDate(date);  // error 13 outside the range of dates
    return date;
  }

  Value ToTextValue() {
    std::string result = text() ? std::move(*std::get_if<std::string>(&value_)) : ToText(value_);
    if (result.empty() && !field_.allow_zero_length) {
      Refuse(field_, common::kZeroLengthRefused,
             "does not accept an empty text; leave it without a value instead");
    }
    // A character takes at least as many bytes as UTF-16 units, so most texts need no counting.
    const auto room = static_cast<std::size_t>(std::max(field_.size, 0));
    if (field_.type != FieldType::Memo && result.size() > room && common::Utf16Length(result) > room) {
      Refuse(field_, common::kFieldTooSmall,
             "takes " + std::to_string(room) + " characters; " + Quoted(result) + " is longer");
    }
    return result;
  }

  /// Text gives one byte per character, as binary values read as text do.
  Value ToBinary() const {
    Bytes bytes;
    if (const auto* held = std::get_if<Bytes>(&value_)) {
      bytes = *held;
    } else if (text()) {
      for (const char16_t unit : common::ToUtf16(*text())) {
        if (unit > 0xFF) RefuseConversion();
        bytes.push_back(static_cast<std::byte>(unit));
      }
    } else {
      RefuseConversion();
    }
    if (field_.type != FieldType::LongBinary &&
        bytes.size() > static_cast<std::size_t>(std::max(field_.size, 0))) {
      Refuse(field_, common::kFieldTooSmall,
             "takes " + std::to_string(field_.size) + " bytes, not " + std::to_string(bytes.size()));
    }
    return bytes;
  }

  /// "{8-4-4-4-12}" in hexadecimal digits, the braces optional.
  Value ToGuid() const {
    if (std::holds_alternative<Guid>(value_)) return value_;
    if (!text()) RefuseConversion();
    std::string_view rest = *text();
    if (rest.size() == 38 && rest.front() == '{' && rest.back() == '}') rest = rest.substr(1, 36);
    if (rest.size() != 36) RefuseConversion();
    Guid guid;
    std::size_t at = 0;
    for (std::uint8_t& byte : guid.bytes) {
      if (at == 8 || at == 13 || at == 18 || at == 23) {
        if (rest[at++] != '-') RefuseConversion();
      }
      const char* const pair = rest.data() + at;
      const auto [stop, error] = std::from_chars(pair, pair + 2, byte, 16);
      if (error != std::errc{} || stop != pair + 2) RefuseConversion();
      at += 2;
    }
    return guid;
  }

  const Field& field_;
  Value& value_;
};

}  // namespace

Value ConvertForField(const Field& field, Value value) {
  if (field.autonumber)
    Refuse(field, common::kNotAssignable, "is numbered by the database and cannot be assigned to");
  if (IsNull(value)) return field.type == FieldType::YesNo ? Value(false) : value;
  Conversion conversion(field, value);
  try {
    return conversion.Run();
  } catch (const Error& error) {
    if (error.number() != common::kTypeMismatch && error.number() != common::kOverflow) throw;
    conversion.RefuseConversion();
  }
}

}  // namespace corvix::core
