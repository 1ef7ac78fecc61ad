// What a record set tells about one of its fields.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvix::core {

/// The engines' 16-bit type codes.
enum class FieldType : std::int16_t {
  YesNo = 1,
  Byte = 2,
  Integer = 3,
  Long = 4,
  Currency = 5,
  Single = 6,
  Double = 7,
  Date = 8,
  Binary = 9,
  Text = 10,
  LongBinary = 11,
  Memo = 12,
  Guid = 15,
  BigInteger = 16,
  VarBinary = 17,
  FixedChar = 18,
  Numeric = 19,
  Decimal = 20,
  Float = 21,
  Time = 22,
  TimeStamp = 23,
};

/// The type as people name it: "text", "yes/no".
std::string_view FieldTypeName(FieldType type);

struct Field {
  std::string name;
  FieldType type = FieldType::Text;
  /// Text: maximum number of UTF-16 code units. Numbers: bytes. Memo and long binary: 0.
  std::int32_t size = 0;
  bool required = false;          ///< Null is refused when the row is stored (3314)
  bool allow_zero_length = true;  ///< text and memo: the empty text may be assigned (3315 otherwise)
  bool autonumber = false;        ///< filled by the engine, not assignable (3164)
  std::uint8_t scale = 0;         ///< decimals only: digits behind the point
};

}  // namespace corvix::core
