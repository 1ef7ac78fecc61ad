// A part of a key expression, ready to be evaluated: made by the parser (key_expression.cpp) from fields and
// constants, and by the functions here from other parts. Nodes are values; a node holds what it needs.
#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/code_page.h"
#include "storage/foxpro/index_key.h"

namespace corvix::foxpro {

/// The record that an expression is evaluated on.
struct ExpressionRow {
  storage::ByteView record;
  std::uint32_t number = 0;
};

struct ExpressionNode {
  KeyType type = KeyType::Text;
  std::size_t width = 0;           ///< text: bytes of the widest value
  bool nullable = false;           ///< its value may be Null
  std::optional<double> constant;  ///< set for a number constant
  /// Sets every member of the value that counts for `type`.
  std::function<void(const ExpressionRow&, KeyValue&)> evaluate;
};

/// `left op right` for + - * / = == <> # != < > <= >= $ AND OR. Error 3250, the text saying why, for operands
/// that do not go together.
ExpressionNode MakeBinary(std::string_view op, ExpressionNode left, ExpressionNode right);
ExpressionNode MakeNot(ExpressionNode operand);
ExpressionNode MakeNegative(ExpressionNode operand);
/// A function by its name in capitals. Error 3250 for an unknown one and for wrong arguments. `page` outlives
/// the node.
ExpressionNode MakeCall(std::string_view name, std::vector<ExpressionNode> arguments,
                        const storage::CodePage& page);

/// Error 3250 with `why` as text.
[[noreturn]] void ThrowExpression(std::string why);

}  // namespace corvix::foxpro
