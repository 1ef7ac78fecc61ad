#include "core/decimal_digits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace corvix::core {
namespace {

constexpr std::int64_t kExponentLimit = 1'000'000'000;
constexpr std::int64_t kMaxScaledDigits = 40;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int RadixDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 16;
}

class NumberReader {
 public:
  NumberReader(std::string_view text, DecimalDigits& number) : rest_(text), number_(number) {}

  NumberFault Read() {
    SkipBlanks();
    if (Take('&')) return ReadRadix();
    ReadPrefix();
    if (!ReadMantissa() || !ReadExponent() || !ReadSuffix()) return NumberFault::NotANumber;
    number_.negative = minus_ || open_parenthesis_;
    return NumberFault::None;
  }

 private:
  char Peek() const { return rest_.empty() ? '\0' : rest_.front(); }

  bool Take(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// Takes `c` if it has not been taken before, and remembers it in `seen`.
  bool TakeOnce(char c, bool& seen) {
    if (seen || !Take(c)) return false;
    return seen = true;
  }

  void SkipBlanks() {
    constexpr std::string_view kNoBreakSpace = "\u00A0";
    for (;;) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n\f\v"), rest_.size()));
      if (!rest_.starts_with(kNoBreakSpace)) return;
      rest_.remove_prefix(kNoBreakSpace.size());
    }
  }

  void ReadPrefix() {
    while (TakeOnce('+', plus_) || TakeOnce('-', minus_) || TakeOnce('$', currency_) ||
           TakeOnce('(', open_parenthesis_)) {
      SkipBlanks();
    }
  }

  bool ReadMantissa() {
    bool any = false;
    for (; IsDigit(Peek()) || (any && Peek() == ','); rest_.remove_prefix(1)) {
      if (Peek() != ',') Append(Peek());
      any = true;
    }
    if (Take('.')) {
      for (; IsDigit(Peek()); rest_.remove_prefix(1)) {
        Append(Peek());
        --number_.exponent;
        any = true;
      }
    }
    return any;
  }

  void Append(char digit) {
    if (digit != '0' || !number_.digits.empty()) number_.digits += digit;
  }

  bool ReadExponent() {
    if (currency_ || rest_.empty() || std::string_view("eEdD").find(Peek()) == std::string_view::npos)
      return true;
    rest_.remove_prefix(1);
    const bool negative = Take('-');
    if (!negative) Take('+');
    if (!IsDigit(Peek())) return false;
    std::int64_t exponent = 0;
    for (; IsDigit(Peek()); rest_.remove_prefix(1)) {
      exponent = std::min(exponent * 10 + (Peek() - '0'), kExponentLimit);
    }
    number_.exponent += negative ? -exponent : exponent;
    return true;
  }

  bool ReadSuffix() {
    bool closed = false;
    for (SkipBlanks(); !rest_.empty(); SkipBlanks()) {
      const bool taken = TakeOnce('+', plus_) || TakeOnce('-', minus_) || Take('$') || Take(',') ||
                         (open_parenthesis_ && TakeOnce(')', closed));
      if (!taken) return false;
    }
    return closed == open_parenthesis_;
  }

  /// Behind "&".
  NumberFault ReadRadix() {
    const char kind = Peek();
    const int radix = kind == 'H' || kind == 'h' ? 16 : kind == 'O' || kind == 'o' ? 8 : 0;
    if (radix == 0) return NumberFault::NotANumber;
    rest_.remove_prefix(1);
    if (RadixDigit(Peek()) >= radix) return NumberFault::NotANumber;
    std::uint64_t value = 0;
    const auto* const end = rest_.data() + rest_.size();
    const auto [stop, error] = std::from_chars(rest_.data(), end, value, radix);
    rest_.remove_prefix(static_cast<std::size_t>(stop - rest_.data()));
    SkipBlanks();
    if (!rest_.empty()) return NumberFault::NotANumber;
    if (error != std::errc{}) return NumberFault::TooLarge;
    if (value != 0) number_.digits = std::to_string(value);
    return NumberFault::None;
  }

  std::string_view rest_;
  DecimalDigits& number_;
  bool plus_ = false;
  bool minus_ = false;
  bool currency_ = false;
  bool open_parenthesis_ = false;
};

template <typename T>
NumberFault NearestValue(DecimalDigits number, T& value) {
  value = 0;
  if (number.digits.empty()) return NumberFault::None;
  // The first digit stands in front of 10^(point - 1); no type reaches beyond these bounds.
  const std::int64_t point = static_cast<std::int64_t>(number.digits.size()) + number.exponent;
  if (point > 400) return NumberFault::TooLarge;
  if (point < -400) return NumberFault::None;
  std::string& text = number.digits;
  text += 'e';
  text += std::to_string(number.exponent);
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || std::isinf(value)) {
    value = 0;
    return point > 0 ? NumberFault::TooLarge : NumberFault::None;
  }
  if (number.negative) value = -value;
  return NumberFault::None;
}

template <typename T>
NumberFault Read(std::string_view text, T& value) {
  // What the library reads completely from a leading digit on has the same meaning here.
  if (!text.empty() && IsDigit(text.front())) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc{} && stop == text.data() + text.size() && !std::isinf(value))
      return NumberFault::None;
  }
  DecimalDigits number;
  const NumberFault fault = ScanNumber(text, number);
  return fault == NumberFault::None ? NearestValue(std::move(number), value) : fault;
}

/// Adds one to a number of decimal digits.
void Increment(std::string& digits) {
  auto digit = digits.rbegin();
  for (; digit != digits.rend() && *digit == '9'; ++digit) *digit = '0';
  if (digit == digits.rend()) {
    digits.insert(digits.begin(), '1');
  } else {
    ++*digit;
  }
}

/// True when the digits from `first` on, read as a fraction, make the digits before them round up.
bool RoundsUp(std::string_view digits, std::size_t first, Rounding rounding) {
  if (rounding == Rounding::TowardZero || digits[first] < '5') return false;
  if (rounding == Rounding::HalfAwayFromZero || digits[first] > '5') return true;
  const bool above_half = digits.find_first_not_of('0', first + 1) != std::string_view::npos;
  const bool odd = first > 0 && (digits[first - 1] - '0') % 2 == 1;
  return above_half || odd;
}

}  // namespace

NumberFault ScanNumber(std::string_view text, DecimalDigits& number) {
  number = {};
  return NumberReader(text, number).Read();
}

NumberFault ReadFloating(std::string_view text, double& value) { return Read(text, value); }
NumberFault ReadFloating(std::string_view text, float& value) { return Read(text, value); }

std::optional<std::string> ScaledDigits(const DecimalDigits& number, int scale, Rounding rounding) {
  const auto size = static_cast<std::int64_t>(number.digits.size());
  const std::int64_t shift = number.exponent + scale;
  if (size == 0 || size + shift < 0) return "0";
  if (size + shift > kMaxScaledDigits) return std::nullopt;
  std::string result = number.digits.substr(0, static_cast<std::size_t>(std::min(size, size + shift)));
  if (shift >= 0) {
    result.append(static_cast<std::size_t>(shift), '0');
  } else if (RoundsUp(number.digits, result.size(), rounding)) {
    Increment(result);
  }
  return result.empty() ? "0" : result;
}

}  // namespace corvix::core
