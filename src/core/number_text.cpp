// Text to numbers and booleans.
#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <system_error>

#include "common/error.h"
#include "common/text.h"
#include "core/conversion_errors.h"
#include "core/decimal_digits.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

constexpr std::size_t kMaxDecimalDigits = 28;

[[noreturn]] void Throw(NumberFault fault, std::string_view text, std::string_view wanted) {
  if (fault == NumberFault::TooLarge) ThrowTooLarge(wanted, text);
  ThrowNotA("a number", text);
}

template <typename T>
T Floating(std::string_view text, std::string_view wanted) {
  T value = 0;
  const NumberFault fault = ReadFloating(text, value);
  if (fault != NumberFault::None) Throw(fault, text, wanted);
  return value;
}

/// The digits of text × 10^scale as a whole number.
std::string Scaled(std::string_view text, int scale, Rounding rounding, std::string_view wanted,
                   bool& negative) {
  DecimalDigits number;
  const NumberFault fault = ScanNumber(text, number);
  if (fault != NumberFault::None) Throw(fault, text, wanted);
  std::optional<std::string> digits = ScaledDigits(number, scale, rounding);
  if (!digits) ThrowTooLarge(wanted, text);
  negative = number.negative && *digits != "0";
  return *std::move(digits);
}

/// A whole number of 64 bits from its digits, or none.
std::optional<std::int64_t> SignedValue(std::string digits, bool negative) {
  if (negative) digits.insert(digits.begin(), '-');
  std::int64_t value = 0;
  const auto error = std::from_chars(digits.data(), digits.data() + digits.size(), value).ec;
  if (error != std::errc{}) return std::nullopt;
  return value;
}

/// Val of "&H…" and "&O…", behind the "&": a number that fits 16 bits is taken as a signed 16-bit number
/// unless an "&" follows, a larger one as a signed 32-bit number.
double RadixVal(std::string_view text, std::string_view whole) {
  const bool hex = text.starts_with('H') || text.starts_with('h');
  if (!hex && !text.starts_with('O') && !text.starts_with('o')) return 0;
  text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  std::uint32_t value = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, value, hex ? 16 : 8);
  if (error == std::errc::result_out_of_range) ThrowTooLarge("a whole number", whole);
  const bool is_long = stop != end && *stop == '&';
  if (value > 0xFFFF || is_long) return static_cast<std::int32_t>(value);
  return static_cast<std::int16_t>(value);
}

}  // namespace

double ToDouble(std::string_view text) { return Floating<double>(text, "a double-precision number"); }
float ToSingle(std::string_view text) { return Floating<float>(text, "a single-precision number"); }

Currency ToCurrency(std::string_view text) {
  constexpr std::string_view kWanted = "a currency amount";
  bool negative = false;
  std::string digits = Scaled(text, 4, Rounding::HalfAwayFromZero, kWanted, negative);
  const auto scaled = SignedValue(std::move(digits), negative);
  if (!scaled) ThrowTooLarge(kWanted, text);
  return Currency{*scaled};
}

std::int64_t ToInteger(std::string_view text, std::int64_t lowest, std::int64_t highest) {
  constexpr std::string_view kWanted = "a whole number of this size";
  bool negative = false;
  std::string digits = Scaled(text, 0, Rounding::HalfToEven, kWanted, negative);
  const auto value = SignedValue(std::move(digits), negative);
  if (!value || *value < lowest || *value > highest) ThrowTooLarge(kWanted, text);
  return *value;
}

bool ToBoolean(std::string_view text) {
  for (const std::string_view name : {"True", "#True#"}) {
    if (common::EqualIgnoringCase(text, name)) return true;
  }
  for (const std::string_view name : {"False", "#False#"}) {
    if (common::EqualIgnoringCase(text, name)) return false;
  }
  return ToDouble(text) != 0;
}

Decimal ToDecimal(std::string_view text, std::uint8_t scale) {
  constexpr std::string_view kWanted = "a decimal number of 28 digits";
  Decimal result;
  result.scale = scale;
  const std::string digits = Scaled(text, scale, Rounding::TowardZero, kWanted, result.negative);
  if (digits.size() > kMaxDecimalDigits) ThrowTooLarge(kWanted, text);
  for (const char digit : digits) {
    auto carry = static_cast<std::uint64_t>(digit - '0');
    for (auto word = result.magnitude.rbegin(); word != result.magnitude.rend(); ++word) {
      carry += std::uint64_t{*word} * 10;
      *word = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
  }
  return result;
}

double Val(std::string_view text) {
  std::string compact;
  std::ranges::copy_if(text, std::back_inserter(compact),
                       [](char c) { return c != ' ' && c != '\t' && c != '\r' && c != '\n'; });
  std::string_view rest = compact;
  if (rest.starts_with('&')) return RadixVal(rest.substr(1), text);

  // The longest prefix of the form  sign? digits [. digits] [e sign? digits].
  const auto digits_from = [&](std::size_t at) {
    std::size_t end = at;
    while (end < rest.size() && rest[end] >= '0' && rest[end] <= '9') ++end;
    return end;
  };
  const std::size_t begin = rest.starts_with('+') || rest.starts_with('-') ? 1 : 0;
  std::size_t end = digits_from(begin);
  std::size_t digit_count = end - begin;
  if (end < rest.size() && rest[end] == '.') {
    const std::size_t behind = digits_from(end + 1);
    digit_count += behind - end - 1;
    end = behind;
  }
  if (digit_count == 0) return 0;
  if (end < rest.size() && std::string_view("eEdD").find(rest[end]) != std::string_view::npos) {
    const std::size_t first =
        end + 1 < rest.size() && (rest[end + 1] == '+' || rest[end + 1] == '-') ? end + 2 : end + 1;
    if (const std::size_t last = digits_from(first); last > first) end = last;
  }
  return ToDouble(rest.substr(0, end));
}

}  // namespace corvix::core
