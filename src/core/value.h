// A field value: Null, or one of the types that the two file formats hold. Values are plain data; how they
// look as text, and how text becomes one, is text_form.h.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace corvix::core {

struct Null {
  auto operator<=>(const Null&) const = default;
};

/// A decimal with four places: the value times 10,000.
struct Currency {
  std::int64_t scaled = 0;
  auto operator<=>(const Currency&) const = default;
};

/// Days since 30 December 1899; the fraction is the time of day and counts forward also below zero
/// (-1.25 is 29 December 1899, 06:00).
struct Date {
  double serial = 0;
  auto operator<=>(const Date&) const = default;
};

/// The 16 bytes in the order in which they are printed.
struct Guid {
  std::array<std::uint8_t, 16> bytes{};
  auto operator<=>(const Guid&) const = default;
};

/// magnitude × 10^-scale, negated when `negative`. The magnitude is a 96-bit to 128-bit number in 32-bit
/// words, most significant first.
struct Decimal {
  bool negative = false;
  std::uint8_t scale = 0;
  std::array<std::uint32_t, 4> magnitude{};
  auto operator<=>(const Decimal&) const = default;
};

using Bytes = std::vector<std::byte>;

using Value = std::variant<Null, bool, std::uint8_t, std::int16_t, std::int32_t, Currency, float, double,
                           Date, std::string, Bytes, Guid, Decimal>;

inline bool IsNull(const Value& value) { return std::holds_alternative<Null>(value); }

}  // namespace corvix::core
