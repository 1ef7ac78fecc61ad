// The types of columns, and the one table of what the engine has to know of each. A new type gets its code
// and its row here; what its values look like in a row and in a key stands in rows/row_codec.cpp and
// index/index_key.cpp.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <variant>

#include "core/field.h"
#include "core/value.h"

namespace corvix::jet {

/// Column types as the file stores them.
enum class ColumnType : std::uint8_t {
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
  Ole = 11,
  Memo = 12,
  Guid = 15,
  Decimal = 16,
  Opaque = 17,
};

struct ColumnTypeInfo {
  ColumnType type{};  ///< 0 in the gaps between the codes
  core::FieldType field_type{};
  std::size_t held_as = 0;         ///< the alternative of core::Value that holds its values
  std::uint16_t size = 0;          ///< bytes of every value; 0: values differ in length, or have no bytes
  std::uint16_t least_length = 0;  ///< lengths in bytes that a descriptor may name
  std::uint16_t most_length = 0;
  bool variable = false;    ///< columns that we create stand in the variable part of a row
  bool text = false;        ///< values are text, which is sorted by a collation and may be compressed
  bool long_value = false;  ///< values are long values (rows/long_value.h)
  bool indexable = false;   ///< keys can be built of it
};

namespace detail {

/// Position of T among the alternatives of a variant.
template <typename T, typename... Each>
constexpr std::size_t PositionIn(std::type_identity<std::variant<Each...>>) {
  constexpr std::array kIsIt{std::is_same_v<T, Each>...};
  std::size_t position = 0;
  while (!kIsIt.at(position)) ++position;
  return position;
}
template <typename T>
inline constexpr std::size_t kHeldAs = PositionIn<T>(std::type_identity<core::Value>{});

inline constexpr std::uint16_t kAnyLength = 0xFFFF;
inline constexpr std::uint16_t kMostBytes = 510;  // of a text or binary column

/// The table by code.
inline constexpr auto kColumnTypes = [] {
  using core::FieldType;
  // clang-format off
  constexpr ColumnTypeInfo kRows[] = {
      // code                 field type             value                  size  lengths         variable text  long   indexable
      {ColumnType::YesNo,    FieldType::YesNo,      kHeldAs<bool>,            0,  0, 1,           false, false, false, true},
      {ColumnType::Byte,     FieldType::Byte,       kHeldAs<std::uint8_t>,    1,  1, 1,           false, false, false, true},
      {ColumnType::Integer,  FieldType::Integer,    kHeldAs<std::int16_t>,    2,  2, 2,           false, false, false, true},
      {ColumnType::Long,     FieldType::Long,       kHeldAs<std::int32_t>,    4,  4, 4,           false, false, false, true},
      {ColumnType::Currency, FieldType::Currency,   kHeldAs<core::Currency>,  8,  8, 8,           false, false, false, true},
      {ColumnType::Single,   FieldType::Single,     kHeldAs<float>,           4,  4, 4,           false, false, false, true},
      {ColumnType::Double,   FieldType::Double,     kHeldAs<double>,          8,  8, 8,           false, false, false, true},
      {ColumnType::Date,     FieldType::Date,       kHeldAs<core::Date>,      8,  8, 8,           false, false, false, true},
      {ColumnType::Binary,   FieldType::Binary,     kHeldAs<core::Bytes>,     0,  0, kMostBytes,  true,  false, false, true},
      {ColumnType::Text,     FieldType::Text,       kHeldAs<std::string>,     0,  0, kMostBytes,  true,  true,  false, true},
      {ColumnType::Ole,      FieldType::LongBinary, kHeldAs<core::Bytes>,     0,  0, kAnyLength,  true,  false, true,  false},
      {ColumnType::Memo,     FieldType::Memo,       kHeldAs<std::string>,     0,  0, kAnyLength,  true,  true,  true,  true},
      {ColumnType::Guid,     FieldType::Guid,       kHeldAs<core::Guid>,     16, 16, 16,          false, false, false, true},
      {ColumnType::Decimal,  FieldType::Decimal,    kHeldAs<core::Decimal>,  17,  0, kAnyLength,  false, false, false, true},
      {ColumnType::Opaque,   FieldType::VarBinary,  kHeldAs<core::Bytes>,     0,  0, kAnyLength,  true,  false, false, false},
  };
  // clang-format on
  std::array<ColumnTypeInfo, 1 + static_cast<std::size_t>(ColumnType::Opaque)> by_code{};
  for (const ColumnTypeInfo& row : kRows) by_code.at(static_cast<std::size_t>(row.type)) = row;
  return by_code;
}();

}  // namespace detail

/// True for the codes of ColumnType: nothing else may be made one.
constexpr bool IsColumnType(std::uint8_t code) {
  return code < detail::kColumnTypes.size() && detail::kColumnTypes[code].type != ColumnType{};
}

constexpr const ColumnTypeInfo& InfoOf(ColumnType type) {
  return detail::kColumnTypes[static_cast<std::size_t>(type)];
}

/// True when `value` is one of the type; Null is one of no type.
inline bool IsValueOf(ColumnType type, const core::Value& value) {
  return value.index() == InfoOf(type).held_as;
}

}  // namespace corvix::jet
