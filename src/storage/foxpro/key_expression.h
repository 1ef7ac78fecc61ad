// Key expressions and FOR conditions of tags, evaluated on records. The engine walks and seeks by the keys
// that an index stores; expressions are evaluated to build indexes, to check them against their table, and to
// find the place of a given record in an order.
//
// Understood: field names (an alias before them is ignored), constants, + - * / on numbers, + and - on texts
// and dates, comparisons and $, .AND. .OR. .NOT. (also !), and the functions ALLTRIM DAY DELETED DTOC DTOS
// EMPTY IIF LEFT LOWER LTRIM MONTH PADL PADR RECNO RIGHT RTRIM STR SUBSTR TRIM UPPER VAL YEAR.
#pragma once

#include <string_view>

#include "storage/base/bytes.h"
#include "storage/base/code_page.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/expression_node.h"
#include "storage/foxpro/index_key.h"

namespace corvix::foxpro {

class KeyExpression {
 public:
  /// Error 3250 when the expression is not understood; the text says why. Header and page outlive the object.
  KeyExpression(std::string_view text, const DbfHeader& header, const storage::CodePage& page);

  KeyType type() const { return root_.type; }
  /// Text: bytes of its widest value.
  std::size_t width() const { return root_.width; }
  /// True when its value may be Null.
  bool nullable() const { return root_.nullable; }

  /// `value` is overwritten; its memory is used again. `number` is the record's.
  void Evaluate(storage::ByteView record, std::uint32_t number, KeyValue& value) const {
    root_.evaluate({record, number}, value);
  }
  /// The truth of a condition; false for Null and for values that are no truth.
  bool Holds(storage::ByteView record, std::uint32_t number) const;

 private:
  ExpressionNode root_;
};

}  // namespace corvix::foxpro
