#include <algorithm>
#include <fmt/format.h>

#include "common/error.h"
#include "storage/foxpro/expression_node.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

bool IsNumeric(KeyType type) {
  return type == KeyType::Number || type == KeyType::Integer || type == KeyType::Currency;
}
bool IsDay(KeyType type) { return type == KeyType::Date || type == KeyType::Time; }

double NumberOf(const KeyValue& value) {
  switch (value.type) {
    case KeyType::Integer:
      return static_cast<double>(value.integer);
    case KeyType::Currency:
      return static_cast<double>(value.integer) / 10000;
    default:
      return value.number;
  }
}

/// Pads the shorter text with blanks and compares.
int ComparePadded(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  if (const int order = a.substr(0, common).compare(b.substr(0, common)); order != 0) return order;
  for (const char c : a.substr(common)) {
    if (c != ' ') return static_cast<unsigned char>(c) < ' ' ? -1 : 1;
  }
  for (const char c : b.substr(common)) {
    if (c != ' ') return static_cast<unsigned char>(c) < ' ' ? 1 : -1;
  }
  return 0;
}

/// The node that evaluates both operands and, when neither is Null, combines them in `value`, which holds the
/// left one.
template <typename Combine>
ExpressionNode Combined(KeyType type, ExpressionNode left, ExpressionNode right, Combine combine) {
  ExpressionNode node{.type = type, .nullable = left.nullable || right.nullable};
  node.evaluate = [type, left = std::move(left), right = std::move(right), combine](const ExpressionRow& row,
                                                                                    KeyValue& value) {
    left.evaluate(row, value);
    KeyValue other;
    right.evaluate(row, other);
    if (!value.is_null && !other.is_null) combine(value, other);
    value.is_null = value.is_null || other.is_null;
    value.type = type;
  };
  return node;
}

ExpressionNode Concatenation(bool blanks_to_the_end, ExpressionNode left, ExpressionNode right) {
  const std::size_t width = left.width + right.width;
  ExpressionNode node = Combined(KeyType::Text, std::move(left), std::move(right),
                                 [blanks_to_the_end](KeyValue& a, const KeyValue& b) {
                                   const std::size_t full = a.text.size() + b.text.size();
                                   if (blanks_to_the_end) a.text.resize(TextOfField(a.text).size());
                                   a.text += b.text;
                                   a.text.resize(full, ' ');
                                 });
  node.width = width;
  return node;
}

ExpressionNode Arithmetic(char op, ExpressionNode left, ExpressionNode right) {
  const bool on_days = op == '+' || op == '-';
  const bool numbers = IsNumeric(left.type) && IsNumeric(right.type);
  const bool shifted_day = on_days && IsDay(left.type) && IsNumeric(right.type);
  const bool distance = op == '-' && IsDay(left.type) && left.type == right.type;
  if (!numbers && !shifted_day && !distance)
    ThrowExpression(fmt::format("the operands of {} do not go together", op));
  const KeyType type = shifted_day ? left.type : KeyType::Number;
  return Combined(type, std::move(left), std::move(right), [op](KeyValue& a, const KeyValue& b) {
    const double x = NumberOf(a);
    const double y = NumberOf(b);
    a.number = op == '+' ? x + y : op == '-' ? x - y : op == '*' ? x * y : y == 0 ? 0 : x / y;
  });
}

bool Satisfies(std::string_view op, int order) {
  if (op == "<") return order < 0;
  if (op == ">") return order > 0;
  if (op == "<=") return order <= 0;
  if (op == ">=") return order >= 0;
  if (op == "=" || op == "==") return order == 0;
  return order != 0;  // <> # !=
}

ExpressionNode Comparison(std::string_view op_text, ExpressionNode left, ExpressionNode right) {
  const std::string op(op_text);
  const bool texts = left.type == KeyType::Text && right.type == KeyType::Text;
  const bool others = left.type != KeyType::Text && right.type != KeyType::Text &&
                      (IsNumeric(left.type) == IsNumeric(right.type)) && op != "$";
  if (!texts && !others) ThrowExpression(fmt::format("the operands of {} do not go together", op));
  return Combined(
      KeyType::Logical, std::move(left), std::move(right), [op, texts](KeyValue& a, const KeyValue& b) {
        bool truth = false;
        if (!texts) {
          const double x = NumberOf(a);
          const double y = NumberOf(b);
          truth = Satisfies(op, x < y ? -1 : x > y ? 1 : 0);
        } else if (op == "$") {
          truth = b.text.find(a.text) != std::string::npos;
        } else if (op == "==") {
          truth = a.text == b.text;
        } else if (op == "=" || op == "<>" || op == "#" || op == "!=") {
          truth = a.text.starts_with(b.text) == (op == "=");  // equal as far as the right text goes
        } else {
          truth = Satisfies(op, ComparePadded(a.text, b.text));
        }
        a.number = truth ? 1 : 0;
      });
}

ExpressionNode Connective(bool is_and, ExpressionNode left, ExpressionNode right) {
  if (left.type != KeyType::Logical || right.type != KeyType::Logical) {
    ThrowExpression("AND and OR need conditions on both sides");
  }
  return Combined(
      KeyType::Logical, std::move(left), std::move(right), [is_and](KeyValue& a, const KeyValue& b) {
        const bool truth = is_and ? a.number != 0 && b.number != 0 : a.number != 0 || b.number != 0;
        a.number = truth ? 1 : 0;
      });
}

}  // namespace

void ThrowExpression(std::string why) { throw common::Error(common::kCannotBuildKey, std::move(why)); }

ExpressionNode MakeBinary(std::string_view op, ExpressionNode left, ExpressionNode right) {
  if (op == "AND" || op == "OR") return Connective(op == "AND", std::move(left), std::move(right));
  if (op == "+" || op == "-" || op == "*" || op == "/") {
    const bool texts = left.type == KeyType::Text && right.type == KeyType::Text;
    if (texts && op == "+") return Concatenation(false, std::move(left), std::move(right));
    if (texts && op == "-") return Concatenation(true, std::move(left), std::move(right));
    return Arithmetic(op[0], std::move(left), std::move(right));
  }
  return Comparison(op, std::move(left), std::move(right));
}

ExpressionNode MakeNot(ExpressionNode operand) {
  if (operand.type != KeyType::Logical) ThrowExpression("NOT needs a condition");
  ExpressionNode node{.type = KeyType::Logical, .nullable = operand.nullable};
  node.evaluate = [operand = std::move(operand)](const ExpressionRow& row, KeyValue& value) {
    operand.evaluate(row, value);
    value.number = value.number != 0 ? 0 : 1;
  };
  return node;
}

ExpressionNode MakeNegative(ExpressionNode operand) {
  if (!IsNumeric(operand.type)) ThrowExpression("a minus sign needs a number");
  ExpressionNode node{.type = KeyType::Number, .nullable = operand.nullable};
  if (operand.constant) node.constant = -*operand.constant;
  node.evaluate = [operand = std::move(operand)](const ExpressionRow& row, KeyValue& value) {
    operand.evaluate(row, value);
    value.number = -NumberOf(value);
    value.type = KeyType::Number;
  };
  return node;
}

}  // namespace corvix::foxpro
