// The number reader behind every conversion from text to a number: it turns a text in one of the accepted
// spellings into decimal digits, from which each type takes what it can hold without passing through another
// type. Nothing here throws, so that a date test on arbitrary text costs no exception.
//
// Accepted, with blanks (space, no-break space, tab, line ends, form feed, vertical tab) around every part:
//   number  := prefix* mantissa exponent? suffix*  |  "&H" hex digits  |  "&O" octal digits
//   prefix  := "+" | "-" | "$" | "("            each at most once
//   mantissa:= digits, "," anywhere behind the first digit, at most one "." followed by digits without ","
//   exponent:= one of e E d D, optional sign, digits; not behind a currency sign
//   suffix  := "+" | "-" (where the prefix had none of the kind) | "$" | "," | ")" (exactly where "(" was)
// A minus sign or parentheses make the number negative.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvix::core {

enum class NumberFault { None, NotANumber, TooLarge };

/// digits × 10^exponent, negated when `negative`.
struct DecimalDigits {
  bool negative = false;
  std::string digits;         ///< no leading zeros; empty for zero
  std::int64_t exponent = 0;  ///< clamped to about ±2 × 10^9
};

/// Reads the text; TooLarge only for a hexadecimal or octal number of more than 64 bits.
NumberFault ScanNumber(std::string_view text, DecimalDigits& number);

/// The nearest value of a floating-point type. TooLarge beyond its range; what is too small becomes 0.
NumberFault ReadFloating(std::string_view text, double& value);
NumberFault ReadFloating(std::string_view text, float& value);

enum class Rounding { HalfToEven, HalfAwayFromZero, TowardZero };

/// The digits of |number| × 10^scale rounded to a whole number, without leading zeros ("0" for zero); none
/// when there would be more than 40 of them, which no type holds.
std::optional<std::string> ScaledDigits(const DecimalDigits& number, int scale, Rounding rounding);

}  // namespace corvix::core
