#include "storage/foxpro/index_key.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "common/error.h"
#include "common/text.h"
#include "core/text_form.h"

namespace corvix::foxpro {
namespace {

constexpr std::byte kNotNull{0x80};
constexpr double kJulianOfSerialZero = 2415019;

void PutDouble(storage::ByteSpan key, double value) {
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  const auto bits = std::bit_cast<std::uint64_t>(value == 0 ? 0.0 : value);  // -0 is 0
  storage::WriteBig<std::uint64_t>(key, 0, bits & kSign ? ~bits : bits | kSign);
}

/// A date of the system as Julian day; below zero its fraction still counts forward.
double JulianOfSerial(double serial) {
  const double days = std::trunc(serial);
  return days + std::fabs(serial - days) + kJulianOfSerialZero;
}

KeyValue ConvertText(KeyType type, std::string_view text) {
  KeyValue value{.type = type};
  switch (type) {
    case KeyType::Text:
      break;
    case KeyType::Number:
      value.number = core::ToDouble(text);
      break;
    case KeyType::Date:
      value.number = std::floor(JulianOfSerial(core::ToDate(text).serial));
      break;
    case KeyType::Time:
      value.number = JulianOfSerial(core::ToDate(text).serial);
      break;
    case KeyType::Logical:
      value.number = core::ToBoolean(text) ? 1 : 0;
      break;
    case KeyType::Integer:
      value.integer = core::ToInteger(text, std::numeric_limits<std::int32_t>::min(),
                                      std::numeric_limits<std::int32_t>::max());
      break;
    case KeyType::Currency:
      value.integer = core::ToCurrency(text).scaled;
      break;
  }
  return value;
}

}  // namespace

std::size_t KeyLengthOf(KeyType type) {
  switch (type) {
    case KeyType::Text:
      return 0;
    case KeyType::Logical:
      return 1;
    case KeyType::Integer:
      return 4;
    default:
      return 8;
  }
}

KeyForm FormOfTag(const Tag& tag, std::optional<KeyType> type) {
  KeyForm form;
  form.length = tag.key_length;
  form.nullable = tag.IsNullable();
  form.collated = !tag.collation.empty();
  const std::size_t own = form.OwnLength();
  form.type = type.value_or(own == KeyLengthOf(KeyType::Number)    ? KeyType::Number
                            : own == KeyLengthOf(KeyType::Integer) ? KeyType::Integer
                                                                   : KeyType::Text);
  return form;
}

bool EncodeKey(const KeyForm& form, const KeyValue& value, storage::ByteSpan key) {
  if (form.collated) return false;
  if (form.nullable) {
    if (value.is_null) {
      std::ranges::fill(key, std::byte{0});
      return true;
    }
    key[0] = kNotNull;
    key = key.subspan(1);
  }
  const std::size_t needed = KeyLengthOf(value.type);
  if (needed != 0 && needed != key.size()) return false;
  switch (value.type) {
    case KeyType::Text: {
      const auto bytes = storage::AsBytes(value.text).first(std::min(value.text.size(), key.size()));
      const auto end = std::ranges::copy(bytes, key.begin()).out;
      std::fill(end, key.end(), std::byte{' '});
      break;
    }
    case KeyType::Number:
    case KeyType::Date:
    case KeyType::Time:
      PutDouble(key, value.number);
      break;
    case KeyType::Logical:
      key[0] = static_cast<std::byte>(value.number != 0 ? 'T' : 'F');
      break;
    case KeyType::Integer:
      storage::WriteBig<std::uint32_t>(key, 0, static_cast<std::uint32_t>(value.integer) ^ 0x80000000u);
      break;
    case KeyType::Currency:
      storage::WriteBig<std::uint64_t>(key, 0,
                                       static_cast<std::uint64_t>(value.integer) ^ (std::uint64_t{1} << 63));
      break;
  }
  return true;
}

std::optional<std::vector<std::byte>> SoughtKey(const KeyForm& form, const storage::CodePage& page,
                                                std::string_view text) {
  KeyValue value{.type = form.type};
  if (form.type == KeyType::Text) {
    auto bytes = page.FromUtf8(common::TrimRight(text));
    // A text that is cut would match a key that is only its beginning.
    if (!bytes || bytes->size() > form.OwnLength()) return std::nullopt;
    value.text = *std::move(bytes);
  } else {
    try {
      value = ConvertText(form.type, text);
    } catch (const common::Error& error) {
      if (error.number() == common::kOverflow)
        return std::nullopt;  // outside everything that the index can hold
      throw common::Error(
          common::kCannotBuildKey,
          "The text '" + std::string(text) + "' cannot be looked up: the index does not hold texts");
    }
  }
  std::vector<std::byte> key(form.length);
  if (!EncodeKey(form, value, key)) return std::nullopt;
  return key;
}

}  // namespace corvix::foxpro
