#include "storage/foxpro/key_expression.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <fmt/format.h>
#include <optional>

#include "common/error.h"
#include "common/text.h"
#include "storage/foxpro/dbf_value.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

using storage::AsBytes;
using storage::ByteView;
using storage::ReadLittle;

/// Also bounds how deep the parser descends.
constexpr std::size_t kMaxLength = cdx::kPoolSize;

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

struct Token {
  enum class Kind { End, Name, Text, Number, Symbol, Word };  // Word: .AND. .OR. .NOT. .T. .F.
  Kind kind = Kind::End;
  std::string text;  // names and words in capitals
};

/// Cuts an expression into tokens.
class Lexer {
 public:
  explicit Lexer(std::string_view text) : rest_(text) {}

  Token Next() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
    if (rest_.empty()) return {};
    const char c = rest_[0];
    if (c == '"' || c == '\'' || c == '[') return Quoted(c == '[' ? ']' : c);
    if (IsDigit(c) || (c == '.' && rest_.size() > 1 && IsDigit(rest_[1]))) return Number();
    if (IsLetter(c)) return Name();
    if (c == '.') {
      if (auto word = DottedWord()) return *word;
    }
    for (const std::string_view pair : {"<>", "!=", "<=", ">=", "==", "->"}) {
      if (rest_.starts_with(pair)) return Take(Token::Kind::Symbol, pair.size());
    }
    return Take(Token::Kind::Symbol, 1);
  }

 private:
  Token Take(Token::Kind kind, std::size_t length) {
    Token token{kind, std::string(rest_.substr(0, length))};
    rest_.remove_prefix(length);
    return token;
  }

  Token Quoted(char close) {
    const std::size_t end = rest_.find(close, 1);
    if (end == std::string_view::npos) ThrowExpression("a text in it does not end");
    Token token{Token::Kind::Text, std::string(rest_.substr(1, end - 1))};
    rest_.remove_prefix(end + 1);
    return token;
  }

  Token Number() {
    std::size_t end = 0;
    while (end < rest_.size() && IsDigit(rest_[end])) ++end;
    if (end + 1 < rest_.size() && rest_[end] == '.' && IsDigit(rest_[end + 1])) {
      ++end;
      while (end < rest_.size() && IsDigit(rest_[end])) ++end;
    }
    return Take(Token::Kind::Number, end);
  }

  Token Name() {
    std::size_t end = 0;
    while (end < rest_.size() && (IsLetter(rest_[end]) || IsDigit(rest_[end]))) ++end;
    Token token = Take(Token::Kind::Name, end);
    token.text = common::UpperCase(token.text);
    return token;
  }

  std::optional<Token> DottedWord() {
    for (const std::string_view word : {".AND.", ".OR.", ".NOT.", ".T.", ".F."}) {
      if (!common::EqualIgnoringCase(rest_.substr(0, word.size()), word)) continue;
      rest_.remove_prefix(word.size());
      return Token{Token::Kind::Word, std::string(word.substr(1, word.size() - 2))};
    }
    return std::nullopt;
  }

  std::string_view rest_;
};

ExpressionNode NumberConstant(double number) {
  ExpressionNode node{.type = KeyType::Number, .constant = number};
  node.evaluate = [number](const ExpressionRow&, KeyValue& value) {
    value.type = KeyType::Number;
    value.is_null = false;
    value.number = number;
  };
  return node;
}

ExpressionNode TruthConstant(bool truth) {
  ExpressionNode node{.type = KeyType::Logical};
  node.evaluate = [truth](const ExpressionRow&, KeyValue& value) {
    value.type = KeyType::Logical;
    value.is_null = false;
    value.number = truth ? 1 : 0;
  };
  return node;
}

ExpressionNode TextConstant(std::string text) {
  ExpressionNode node{.type = KeyType::Text, .width = text.size()};
  node.evaluate = [text = std::move(text)](const ExpressionRow&, KeyValue& value) {
    value.type = KeyType::Text;
    value.is_null = false;
    value.text = text;
  };
  return node;
}

KeyType TypeOfField(const DbfField& field, DbfVersion version) {
  switch (field.type) {
    case 'C':
    case 'V':
      return KeyType::Text;
    case 'N':
    case 'F':
    case 'O':
      return KeyType::Number;
    case 'B':
      if (IsVisual(version)) return KeyType::Number;
      break;
    case 'D':
      return KeyType::Date;
    case 'T':
    case '@':
      return KeyType::Time;
    case 'L':
      return KeyType::Logical;
    case 'I':
    case '+':
      return KeyType::Integer;
    case 'Y':
      return KeyType::Currency;
    default:
      break;
  }
  ThrowExpression(fmt::format("the field {} of type {} cannot be part of a key", field.name, field.type));
}

/// What a field is in a key: blanks and impossible values count as 0, as an empty date, as false.
void FieldValue(const DbfField& field, ByteView record, KeyValue& value) {
  const std::string_view raw = RawField(field, record);
  switch (field.type) {
    case 'N':
    case 'F':
      value.number = ParseNumber(raw).value.value_or(0);
      break;
    case 'B':
    case 'O':
      value.number = std::bit_cast<double>(ReadLittle<std::uint64_t>(AsBytes(raw), 0));
      break;
    case 'D': {
      const auto day = ParseDay(raw);
      value.number = day ? JulianDay(*day) : 0;
      break;
    }
    case 'T':
    case '@': {
      const auto point = ParseDayAndTime(raw);
      value.number = point ? point->julian_day + point->milliseconds / 86400000.0 : 0;
      break;
    }
    case 'L':
      value.number = TruthOfField(raw[0]) ? 1 : 0;
      break;
    case 'I':
    case '+':
      value.integer = static_cast<std::int32_t>(ReadLittle<std::uint32_t>(AsBytes(raw), 0));
      break;
    case 'Y':
      value.integer = static_cast<std::int64_t>(ReadLittle<std::uint64_t>(AsBytes(raw), 0));
      break;
    default:
      value.text = raw;
      break;
  }
}

/// Recursive descent; each function reads what its operators bind.
class Parser {
 public:
  Parser(std::string_view text, const DbfHeader& header, const storage::CodePage& page)
      : lexer_(text), header_(header), page_(page), token_(lexer_.Next()) {}

  ExpressionNode Whole() {
    ExpressionNode node = Disjunction();
    if (token_.kind != Token::Kind::End) ThrowExpression(fmt::format("'{}' is not expected", token_.text));
    return node;
  }

 private:
  bool Accept(Token::Kind kind, std::string_view text) {
    if (token_.kind != kind || token_.text != text) return false;
    token_ = lexer_.Next();
    return true;
  }
  bool AcceptSymbol(std::string_view text) { return Accept(Token::Kind::Symbol, text); }
  bool AcceptWord(std::string_view text) {
    return Accept(Token::Kind::Word, text) || Accept(Token::Kind::Name, text);
  }
  void Require(std::string_view symbol) {
    if (!AcceptSymbol(symbol)) ThrowExpression(fmt::format("'{}' is missing", symbol));
  }

  ExpressionNode Disjunction() {
    ExpressionNode node = Conjunction();
    while (AcceptWord("OR")) node = MakeBinary("OR", std::move(node), Conjunction());
    return node;
  }

  ExpressionNode Conjunction() {
    ExpressionNode node = Negation();
    while (AcceptWord("AND")) node = MakeBinary("AND", std::move(node), Negation());
    return node;
  }

  ExpressionNode Negation() {
    if (AcceptWord("NOT") || AcceptSymbol("!")) return MakeNot(Negation());
    return Comparison();
  }

  ExpressionNode Comparison() {
    ExpressionNode node = Sum();
    for (const std::string_view op : {"=", "==", "<>", "#", "!=", "<", ">", "<=", ">=", "$"}) {
      if (AcceptSymbol(op)) return MakeBinary(op, std::move(node), Sum());
    }
    return node;
  }

  ExpressionNode Sum() {
    ExpressionNode node = Product();
    for (;;) {
      if (AcceptSymbol("+")) {
        node = MakeBinary("+", std::move(node), Product());
      } else if (AcceptSymbol("-")) {
        node = MakeBinary("-", std::move(node), Product());
      } else {
        return node;
      }
    }
  }

  ExpressionNode Product() {
    ExpressionNode node = Primary();
    for (;;) {
      if (AcceptSymbol("*")) {
        node = MakeBinary("*", std::move(node), Primary());
      } else if (AcceptSymbol("/")) {
        node = MakeBinary("/", std::move(node), Primary());
      } else {
        return node;
      }
    }
  }

  ExpressionNode Primary() {
    if (AcceptSymbol("(")) {
      ExpressionNode node = Disjunction();
      Require(")");
      return node;
    }
    if (AcceptSymbol("-")) return MakeNegative(Primary());
    const Token token = std::move(token_);
    token_ = lexer_.Next();
    switch (token.kind) {
      case Token::Kind::Text:
        return TextConstant(token.text);
      case Token::Kind::Number: {
        double number = 0;
        std::from_chars(token.text.data(), token.text.data() + token.text.size(), number);
        return NumberConstant(number);
      }
      case Token::Kind::Word:
        if (token.text == "T" || token.text == "F") return TruthConstant(token.text == "T");
        break;
      case Token::Kind::Name:
        if (AcceptSymbol("(")) return Call(token.text);
        if (AcceptSymbol("->") || AcceptSymbol(".")) return FieldAfterAlias();
        return Field(token.text);
      default:
        break;
    }
    ThrowExpression(token.kind == Token::Kind::End ? std::string("it ends too early")
                                                   : fmt::format("'{}' is not expected", token.text));
  }

  ExpressionNode Call(const std::string& name) {
    std::vector<ExpressionNode> arguments;
    if (!AcceptSymbol(")")) {
      do {
        arguments.push_back(Disjunction());
      } while (AcceptSymbol(","));
      Require(")");
    }
    return MakeCall(name, std::move(arguments), page_);
  }

  ExpressionNode FieldAfterAlias() {
    const Token name = std::move(token_);
    token_ = lexer_.Next();
    if (name.kind != Token::Kind::Name) ThrowExpression("an alias in it names no field");
    return Field(name.text);
  }

  ExpressionNode Field(std::string_view name) {
    // Visual FoxPro knows longer names; the table has their first ten characters.
    if (IsVisual(header_.version)) name = name.substr(0, descriptor::kNameSize - 1);
    const auto found = std::ranges::find_if(
        header_.fields, [&](const DbfField& field) { return common::EqualIgnoringCase(field.name, name); });
    if (found == header_.fields.end()) ThrowExpression(fmt::format("the table has no field {}", name));
    const DbfField& field = *found;
    const KeyType type = TypeOfField(field, header_.version);
    ExpressionNode node{.type = type,
                        .width = type == KeyType::Text ? field.length : std::size_t{0},
                        .nullable = field.null_bit.has_value()};
    const FieldReader reader(header_, page_, nullptr);
    node.evaluate = [&field, type, reader](const ExpressionRow& row, KeyValue& value) {
      value.type = type;
      value.is_null = reader.IsNull(field, row.record);
      FieldValue(field, row.record, value);
    };
    return node;
  }

  Lexer lexer_;
  const DbfHeader& header_;
  const storage::CodePage& page_;
  Token token_;
};

}  // namespace

KeyExpression::KeyExpression(std::string_view text, const DbfHeader& header, const storage::CodePage& page) {
  if (text.size() > kMaxLength) ThrowExpression("A key expression is longer than an index can hold");
  try {
    root_ = Parser(text, header, page).Whole();
  } catch (const common::Error& error) {
    throw common::Error(error.number(),
                        fmt::format("The expression '{}' cannot be evaluated: {}", text, error.text()));
  }
}

bool KeyExpression::Holds(ByteView record, std::uint32_t number) const {
  KeyValue value;
  Evaluate(record, number, value);
  return !value.is_null && value.type == KeyType::Logical && value.number != 0;
}

}  // namespace corvix::foxpro
