// Numbers and whole values to text.
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <iterator>

#include "common/text.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

template <typename T>
void AppendInteger(std::string& out, T value) {
  std::array<char, 24> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  out.append(buffer.data(), end);
}

/// `value` with up to `precision` significant digits: in plain form while neither side of the point needs
/// more than `precision` digits, else with an exponent of at least two digits.
template <typename T>
void AppendFloating(std::string& out, T value, int precision) {
  if (std::isnan(value)) {
    out += "-1.#IND";
    return;
  }
  if (std::isinf(value)) {
    out += value < 0 ? "-1.#INF" : "1.#INF";
    return;
  }
  // d.ddde±nn, taken apart.
  std::array<char, 48> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                 std::chars_format::scientific, precision - 1)
                       .ptr;
  std::string_view written(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
  if (written.starts_with('-')) {
    if (value != 0) out += '-';
    written.remove_prefix(1);
  }
  const std::size_t mark = written.find('e');
  int exponent = 0;
  std::from_chars(written.data() + mark + (written[mark + 1] == '+' ? 2 : 1), end, exponent);

  std::array<char, 20> digits;
  int count = 0;
  for (const char c : written.substr(0, mark)) {
    if (c != '.') digits[static_cast<std::size_t>(count++)] = c;
  }
  while (count > 1 && digits[static_cast<std::size_t>(count - 1)] == '0') --count;
  const std::string_view significant(digits.data(), static_cast<std::size_t>(count));

  if (exponent < precision && count - 1 - exponent <= precision) {
    if (exponent < 0) {
      out += "0.";
      out.append(static_cast<std::size_t>(-exponent - 1), '0');
      out += significant;
      return;
    }
    const auto whole = static_cast<std::size_t>(exponent + 1);
    out += significant.substr(0, whole);
    if (significant.size() > whole) {
      out += '.';
      out += significant.substr(whole);
    } else {
      out.append(whole - significant.size(), '0');
    }
    return;
  }
  out += significant[0];
  if (count > 1) {
    out += '.';
    out += significant.substr(1);
  }
  fmt::format_to(std::back_inserter(out), "E{}{:02}", exponent < 0 ? '-' : '+', std::abs(exponent));
}

void AppendDouble(std::string& out, double value) {
  // Whole numbers of up to 15 digits, the bulk of what tables hold, need no rounding.
  constexpr double kPlainLimit = 1e15;
  if (value > -kPlainLimit && value < kPlainLimit) {
    if (const auto whole = static_cast<std::int64_t>(value); static_cast<double>(whole) == value) {
      AppendInteger(out, whole);
      return;
    }
  }
  AppendFloating(out, value, 15);
}

/// Decimal digits with a point `scale` places from the right, zeros behind the point cut.
void AppendScaled(std::string& out, bool negative, std::string digits, std::size_t scale) {
  if (digits.size() <= scale) digits.insert(0, scale + 1 - digits.size(), '0');
  const std::size_t whole = digits.size() - scale;
  const std::size_t last = digits.find_last_not_of('0');
  if (negative && last != std::string::npos) out += '-';
  out.append(digits, 0, whole);
  if (last != std::string::npos && last >= whole) {
    out += '.';
    out.append(digits, whole, last + 1 - whole);
  }
}

void AppendCurrency(std::string& out, Currency value) {
  const bool negative = value.scaled < 0;
  const auto magnitude = static_cast<std::uint64_t>(value.scaled);
  AppendScaled(out, negative, std::to_string(negative ? 0 - magnitude : magnitude), 4);
}

void AppendDecimal(std::string& out, const Decimal& value) {
  auto words = value.magnitude;
  std::string digits;  // least significant first
  while (words != decltype(words){}) {
    std::uint64_t remainder = 0;
    for (std::uint32_t& word : words) {
      remainder = remainder << 32 | word;
      word = static_cast<std::uint32_t>(remainder / 10);
      remainder %= 10;
    }
    digits += static_cast<char>('0' + remainder);
  }
  AppendScaled(out, value.negative, std::string(digits.rbegin(), digits.rend()), value.scale);
}

void AppendGuid(std::string& out, const Guid& value) {
  out += '{';
  for (std::size_t i = 0; i < value.bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    fmt::format_to(std::back_inserter(out), "{:02X}", value.bytes[i]);
  }
  out += '}';
}

void Append(std::string&, Null) {}
void Append(std::string& out, bool value) { out += value ? "True" : "False"; }
void Append(std::string& out, std::uint8_t value) { AppendInteger(out, value); }
void Append(std::string& out, std::int16_t value) { AppendInteger(out, value); }
void Append(std::string& out, std::int32_t value) { AppendInteger(out, value); }
void Append(std::string& out, Currency value) { AppendCurrency(out, value); }
void Append(std::string& out, float value) { AppendFloating(out, value, 7); }
void Append(std::string& out, double value) { AppendDouble(out, value); }
void Append(std::string& out, Date value) { out += DateText(value); }
void Append(std::string& out, const std::string& value) { out += value; }
void Append(std::string& out, const Bytes& value) {
  for (const std::byte byte : value) common::AppendUtf8(out, std::to_integer<char32_t>(byte));
}
void Append(std::string& out, const Guid& value) { AppendGuid(out, value); }
void Append(std::string& out, const Decimal& value) { AppendDecimal(out, value); }

template <typename T>
std::string Text(const T& value) {
  std::string out;
  Append(out, value);
  return out;
}

}  // namespace

void AppendText(std::string& out, const Value& value) {
  std::visit([&](const auto& held) { Append(out, held); }, value);
}

std::string ToText(const Value& value) {
  std::string out;
  AppendText(out, value);
  return out;
}

std::string DoubleText(double value) { return Text(value); }
std::string SingleText(float value) { return Text(value); }
std::string CurrencyText(Currency value) { return Text(value); }
std::string DecimalText(const Decimal& value) { return Text(value); }

std::string StrText(double value) {
  std::string text = DoubleText(value);
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  if (text.compare(first, 2, "0.") == 0) text.erase(first, 1);
  return first == 0 ? " " + text : text;
}

}  // namespace corvix::core
