// The properties of a table and its columns, as the catalogue keeps them in one long value ("LvProp") per
// object: named, typed values, each belonging to the object itself or to one of its columns. The engine obeys
// a few of them when rows are written (Required, AllowZeroLength, DefaultValue, ValidationRule); the others
// are a user interface's and are kept as they are.
//
//   const PropertyMap map = catalog.ReadProperties(*catalog.FindTable("COMPS"));
//   if (map.RulesOf("CENTRALKEY").required) ...
//
// Parse and Build are inverse. Column and property names are found without regard to case.
//
// docs/formats/jet4.md, "Properties".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/pages/damage.h"

namespace corvix::jet {

/// One value. Text is UTF-16LE in `data`, yes/no one byte, numbers little-endian.
struct Property {
  std::string name;
  std::uint8_t type = 0;        ///< ColumnType code
  std::uint8_t definition = 0;  ///< 1: part of the table's definition, obeyed by the engine
  std::vector<std::byte> data;

  static Property YesNo(std::string_view name, bool value);
  static Property Text(std::string_view name, std::string_view value);  ///< short text (type 10)
  static Property Memo(std::string_view name, std::string_view value);  ///< type 12: expressions
  bool AsBool() const;                                                  ///< false for a value without bytes
  std::string AsText() const;  ///< the UTF-16 text; empty for other types
};

/// What writing rows has to obey. An absent property means no rule, and no empty text.
struct ValidationRule {
  std::string expression;  ///< empty: none
  std::string text;        ///< message for the user
};
struct ColumnRules {
  bool required = false;
  bool allow_zero_length = false;
  std::string default_value;  ///< expression; empty: none
  ValidationRule validation;
};

class PropertyMap {
 public:
  /// An empty blob gives an empty map. Error 3049 on damage; `place` is the row that holds the blob.
  static PropertyMap Parse(storage::ByteView blob, const Place& place);
  /// The blob; an empty map gives no bytes.
  std::vector<std::byte> Build() const;

  /// The property of a column, or of the object itself when `owner` is empty; null when there is none.
  const Property* Find(std::string_view owner, std::string_view name) const;
  /// Replaces the property of that name, or adds it (and the owner's block).
  void Set(std::string_view owner, Property property);

  ColumnRules RulesOf(std::string_view column) const;
  ValidationRule TableRule() const;

  /// True when there is no blob: not even names.
  bool empty() const { return names_.empty() && blocks_.empty(); }

 private:
  // A block of the blob: the properties of one owner, or of an unknown kind and then only bytes.
  struct Block {
    std::uint16_t kind = 0;
    std::string owner;
    std::vector<Property> properties;
    std::vector<std::byte> unknown;

    bool BelongsTo(std::string_view name) const;
  };
  void ParseBlocks(storage::ByteView blob);
  static Block ParseBlock(std::uint16_t kind, storage::ByteView content,
                          const std::vector<std::string>& names);
  std::string TextOf(std::string_view owner, std::string_view name) const;

  std::vector<std::string> names_;  // the order of the names block, unused names included
  std::vector<Block> blocks_;
};

}  // namespace corvix::jet
