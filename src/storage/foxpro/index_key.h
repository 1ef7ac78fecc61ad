// Index keys: what the value of a key expression looks like in an index, so that comparing bytes compares
// values.
//
//   text            its bytes, padded with blanks to the key length
//   number, date,   8 bytes, IEEE double, most significant byte first: with the sign bit set when it was
//   clear, time            else with all bits inverted. Dates are Julian day numbers, an empty date is 0
//   logical         'T' or 'F'
//   integer         4 bytes, most significant first, sign bit inverted
//   currency        8 bytes, the same
//   nullable        one byte before any of these: 0x80, or 0x00 for Null with zeros behind it
//
// Tags with a collating sequence hold weights instead of text; the engine walks them but forms no keys for
// them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/code_page.h"
#include "storage/foxpro/cdx_tree.h"

namespace corvix::foxpro {

enum class KeyType { Text, Number, Date, Time, Logical, Integer, Currency };

/// A value of a key expression.
struct KeyValue {
  KeyType type = KeyType::Text;
  bool is_null = false;
  std::string text;          ///< Text: bytes in the table's code page
  double number = 0;         ///< Number; Date and Time as Julian day; Logical as 0 or 1
  std::int64_t integer = 0;  ///< Integer; Currency times 10,000
};

/// How the keys of a tag are made.
struct KeyForm {
  KeyType type = KeyType::Text;
  bool nullable = false;
  bool collated = false;
  std::size_t length = 0;

  /// Bytes of a key without the one that tells Null.
  std::size_t OwnLength() const { return length - (nullable ? 1 : 0); }
  /// What the trailing count of a leaf entry stands for.
  std::byte Pad() const { return type == KeyType::Text && !collated ? std::byte{' '} : std::byte{0}; }
};

/// The form of a tag whose expression gives `type`; without a type it is guessed from the key length.
KeyForm FormOfTag(const Tag& tag, std::optional<KeyType> type);

/// Bytes that a key of this type takes, without the byte for Null; 0 for text.
std::size_t KeyLengthOf(KeyType type);

/// Writes the key of `value` to `key`, which is form.length bytes long. False when no key of this form can be
/// made of it (a collated tag, another length).
bool EncodeKey(const KeyForm& form, const KeyValue& value, storage::ByteSpan key);

/// The key that a text asks for: the text itself, or the number, date or truth that it stands for. None when
/// no entry can be equal to it (longer than the key, a character outside the code page). 3250: the text does
/// not convert to the type of the key.
std::optional<std::vector<std::byte>> SoughtKey(const KeyForm& form, const storage::CodePage& page,
                                                std::string_view text);

}  // namespace corvix::foxpro
