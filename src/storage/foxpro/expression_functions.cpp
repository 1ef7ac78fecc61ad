#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

#include "storage/foxpro/dbf_value.h"
#include "storage/foxpro/expression_node.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

using Arguments = std::vector<ExpressionNode>;

constexpr std::size_t kMaxTextWidth = 65535;

/// A node of one argument whose value is changed in place; Null stays Null.
template <typename Change>
ExpressionNode Changed(KeyType type, std::size_t width, ExpressionNode argument, Change change) {
  ExpressionNode node{.type = type, .width = width, .nullable = argument.nullable};
  node.evaluate = [type, argument = std::move(argument), change](const ExpressionRow& row, KeyValue& value) {
    argument.evaluate(row, value);
    if (!value.is_null) change(value);
    value.type = type;
  };
  return node;
}

/// A text function that keeps the width of its argument.
template <typename Change>
ExpressionNode ChangedText(Arguments arguments, Change change) {
  const std::size_t width = arguments[0].width;
  return Changed(KeyType::Text, width, std::move(arguments[0]),
                 [change](KeyValue& value) { change(value.text); });
}

/// The argument's value, which must be a constant so that the width of keys is known.
std::size_t ConstantCount(const Arguments& arguments, std::size_t index, std::size_t otherwise) {
  if (index >= arguments.size()) return otherwise;
  const auto& constant = arguments[index].constant;
  if (!constant || *constant < 0 || *constant > static_cast<double>(kMaxTextWidth)) {
    ThrowExpression("a width in it is not a constant");
  }
  return static_cast<std::size_t>(*constant);
}

Day DayOf(double julian) {
  // Outside these limits (4713 BC to about AD 9999) there is no day that a table can hold.
  if (!(julian >= 1 && julian < 5373485)) return {};
  return DayOfJulian(static_cast<std::int32_t>(std::floor(julian)));
}

void TrimLeft(std::string& text) { text.erase(0, text.find_first_not_of(' ')); }
void TrimRight(std::string& text) { text.resize(TextOfField(text).size()); }

/// A number in `width` characters, halves away from zero; asterisks when it does not fit.
std::string FixedText(double value, std::size_t width, std::size_t decimals) {
  const double scale = std::pow(10.0, static_cast<double>(decimals));
  const double scaled = std::fabs(value) * scale;
  const double rounded = std::floor(scaled + 0.5 + scaled * 1e-15) / scale;
  std::string text = fmt::format("{:.{}f}", std::copysign(rounded, rounded == 0 ? 1.0 : value), decimals);
  if (text.size() > width) return std::string(width, '*');
  return std::string(width - text.size(), ' ') + text;
}

ExpressionNode Upper(Arguments arguments, const storage::CodePage& page) {
  return ChangedText(std::move(arguments), [&page](std::string& text) {
    for (char& c : text) c = page.Upper(c);
  });
}

ExpressionNode Lower(Arguments arguments, const storage::CodePage& page) {
  return ChangedText(std::move(arguments), [&page](std::string& text) {
    for (char& c : text) c = page.Lower(c);
  });
}

ExpressionNode Trim(Arguments arguments, const storage::CodePage&) {
  return ChangedText(std::move(arguments), TrimRight);
}

ExpressionNode LeftTrim(Arguments arguments, const storage::CodePage&) {
  return ChangedText(std::move(arguments), TrimLeft);
}

ExpressionNode AllTrim(Arguments arguments, const storage::CodePage&) {
  return ChangedText(std::move(arguments), [](std::string& text) {
    TrimRight(text);
    TrimLeft(text);
  });
}

ExpressionNode Left(Arguments arguments, const storage::CodePage&) {
  const std::size_t count = ConstantCount(arguments, 1, 0);
  const std::size_t width = std::min(count, arguments[0].width);
  return Changed(KeyType::Text, width, std::move(arguments[0]), [count](KeyValue& value) {
    if (value.text.size() > count) value.text.resize(count);
  });
}

ExpressionNode Right(Arguments arguments, const storage::CodePage&) {
  const std::size_t count = ConstantCount(arguments, 1, 0);
  const std::size_t width = std::min(count, arguments[0].width);
  return Changed(KeyType::Text, width, std::move(arguments[0]), [count](KeyValue& value) {
    if (value.text.size() > count) value.text.erase(0, value.text.size() - count);
  });
}

ExpressionNode Substring(Arguments arguments, const storage::CodePage&) {
  const std::size_t from = std::max<std::size_t>(1, ConstantCount(arguments, 1, 1)) - 1;
  const std::size_t left_over = arguments[0].width - std::min(from, arguments[0].width);
  const std::size_t count = ConstantCount(arguments, 2, left_over);
  return Changed(KeyType::Text, std::min(count, left_over), std::move(arguments[0]),
                 [from, count](KeyValue& value) {
                   value.text.erase(0, from);
                   if (value.text.size() > count) value.text.resize(count);
                 });
}

ExpressionNode PadRight(Arguments arguments, const storage::CodePage&) {
  const std::size_t width = ConstantCount(arguments, 1, 0);
  return Changed(KeyType::Text, width, std::move(arguments[0]),
                 [width](KeyValue& value) { value.text.resize(width, ' '); });
}

ExpressionNode PadLeft(Arguments arguments, const storage::CodePage&) {
  const std::size_t width = ConstantCount(arguments, 1, 0);
  return Changed(KeyType::Text, width, std::move(arguments[0]), [width](KeyValue& value) {
    if (value.text.size() < width) value.text.insert(0, width - value.text.size(), ' ');
    value.text.resize(width);
  });
}

ExpressionNode Str(Arguments arguments, const storage::CodePage&) {
  const std::size_t width = ConstantCount(arguments, 1, 10);
  const std::size_t decimals = std::min<std::size_t>(18, ConstantCount(arguments, 2, 0));
  const KeyType from = arguments[0].type;
  return Changed(KeyType::Text, width, std::move(arguments[0]), [width, decimals, from](KeyValue& value) {
    const double number = from == KeyType::Integer    ? static_cast<double>(value.integer)
                          : from == KeyType::Currency ? static_cast<double>(value.integer) / 10000
                                                      : value.number;
    value.text = FixedText(number, width, decimals);
  });
}

ExpressionNode Val(Arguments arguments, const storage::CodePage&) {
  return Changed(KeyType::Number, 0, std::move(arguments[0]),
                 [](KeyValue& value) { value.number = ParseNumber(value.text).value.value_or(0); });
}

void PutDays(KeyValue& value) {
  const Day day = DayOf(value.number);
  value.text =
      day.year == 0 ? std::string(8, ' ') : fmt::format("{:04}{:02}{:02}", day.year, day.month, day.day);
}

ExpressionNode DaysToText(Arguments arguments, const storage::CodePage&) {
  return Changed(KeyType::Text, 8, std::move(arguments[0]), PutDays);
}

ExpressionNode DaysToShownText(Arguments arguments, const storage::CodePage&) {
  const bool sortable = ConstantCount(arguments, 1, 0) == 1;
  return Changed(KeyType::Text, 8, std::move(arguments[0]), [sortable](KeyValue& value) {
    PutDays(value);
    if (sortable) return;
    const std::string& t = value.text;
    value.text = t.front() == ' ' ? std::string("  /  /  ")
                                  : t.substr(4, 2) + '/' + t.substr(6, 2) + '/' + t.substr(2, 2);
  });
}

template <int Day::*Part>
ExpressionNode PartOfDay(Arguments arguments, const storage::CodePage&) {
  return Changed(KeyType::Number, 0, std::move(arguments[0]),
                 [](KeyValue& value) { value.number = DayOf(value.number).*Part; });
}

ExpressionNode Empty(Arguments arguments, const storage::CodePage&) {
  const KeyType from = arguments[0].type;
  return Changed(KeyType::Logical, 0, std::move(arguments[0]), [from](KeyValue& value) {
    const bool empty = from == KeyType::Text ? TextOfField(value.text).empty()
                       : from == KeyType::Integer || from == KeyType::Currency ? value.integer == 0
                                                                               : value.number == 0;
    value.number = empty ? 1 : 0;
  });
}

ExpressionNode Deleted(Arguments, const storage::CodePage&) {
  ExpressionNode node{.type = KeyType::Logical};
  node.evaluate = [](const ExpressionRow& row, KeyValue& value) {
    value.type = KeyType::Logical;
    value.is_null = false;
    value.number = IsHidden(static_cast<char>(row.record[0])) ? 1 : 0;
  };
  return node;
}

ExpressionNode RecordNumber(Arguments, const storage::CodePage&) {
  ExpressionNode node{.type = KeyType::Number};
  node.evaluate = [](const ExpressionRow& row, KeyValue& value) {
    value.type = KeyType::Number;
    value.is_null = false;
    value.number = row.number;
  };
  return node;
}

ExpressionNode Choice(Arguments arguments, const storage::CodePage&) {
  if (arguments[1].type != arguments[2].type) ThrowExpression("both results of IIF must be of one type");
  ExpressionNode node{.type = arguments[1].type,
                      .width = std::max(arguments[1].width, arguments[2].width),
                      .nullable = arguments[0].nullable || arguments[1].nullable || arguments[2].nullable};
  node.evaluate = [arguments = std::move(arguments)](const ExpressionRow& row, KeyValue& value) {
    arguments[0].evaluate(row, value);
    const bool truth = !value.is_null && value.number != 0;
    arguments[truth ? 1 : 2].evaluate(row, value);
  };
  return node;
}

enum class Takes { Nothing, Text, Number, Day, Truth, Anything };

struct Function {
  std::string_view name;
  std::size_t least_arguments;
  std::size_t most_arguments;
  Takes first;  // what the first argument must be; all others are numbers, those of IIF excepted
  ExpressionNode (*make)(Arguments, const storage::CodePage&);
};

constexpr std::array kFunctions{
    Function{"ALLTRIM", 1, 1, Takes::Text, AllTrim},
    Function{"DAY", 1, 1, Takes::Day, PartOfDay<&Day::day>},
    Function{"DELETED", 0, 0, Takes::Nothing, Deleted},
    Function{"DTOC", 1, 2, Takes::Day, DaysToShownText},
    Function{"DTOS", 1, 1, Takes::Day, DaysToText},
    Function{"EMPTY", 1, 1, Takes::Anything, Empty},
    Function{"IIF", 3, 3, Takes::Truth, Choice},
    Function{"LEFT", 2, 2, Takes::Text, Left},
    Function{"LOWER", 1, 1, Takes::Text, Lower},
    Function{"LTRIM", 1, 1, Takes::Text, LeftTrim},
    Function{"MONTH", 1, 1, Takes::Day, PartOfDay<&Day::month>},
    Function{"PADL", 2, 2, Takes::Text, PadLeft},
    Function{"PADR", 2, 2, Takes::Text, PadRight},
    Function{"RECNO", 0, 0, Takes::Nothing, RecordNumber},
    Function{"RIGHT", 2, 2, Takes::Text, Right},
    Function{"RTRIM", 1, 1, Takes::Text, Trim},
    Function{"STR", 1, 3, Takes::Number, Str},
    Function{"SUBSTR", 2, 3, Takes::Text, Substring},
    Function{"TRIM", 1, 1, Takes::Text, Trim},
    Function{"UPPER", 1, 1, Takes::Text, Upper},
    Function{"VAL", 1, 1, Takes::Text, Val},
    Function{"YEAR", 1, 1, Takes::Day, PartOfDay<&Day::year>},
};

bool Accepts(Takes takes, KeyType type) {
  switch (takes) {
    case Takes::Text:
      return type == KeyType::Text;
    case Takes::Number:
      return type == KeyType::Number || type == KeyType::Integer || type == KeyType::Currency;
    case Takes::Day:
      return type == KeyType::Date || type == KeyType::Time;
    case Takes::Truth:
      return type == KeyType::Logical;
    default:
      return true;
  }
}

}  // namespace

ExpressionNode MakeCall(std::string_view name, std::vector<ExpressionNode> arguments,
                        const storage::CodePage& page) {
  const auto* function = std::ranges::find(kFunctions, name, &Function::name);
  if (function == kFunctions.end()) ThrowExpression(fmt::format("the function {} is not known", name));
  if (arguments.size() < function->least_arguments || arguments.size() > function->most_arguments ||
      (!arguments.empty() && !Accepts(function->first, arguments[0].type))) {
    ThrowExpression(fmt::format("the arguments of {} do not fit", name));
  }
  return function->make(std::move(arguments), page);
}

}  // namespace corvix::foxpro
