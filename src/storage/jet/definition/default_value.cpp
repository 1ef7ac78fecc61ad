#include "storage/jet/definition/default_value.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <string>

#include "common/error.h"
#include "common/text.h"
#include "core/field_assignment.h"
#include "core/text_form.h"

namespace corvix::jet {
namespace {

core::Date LocalNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return core::Date{core::SerialOf({.year = local.tm_year + 1900,
                                    .month = local.tm_mon + 1,
                                    .day = local.tm_mday,
                                    .hour = local.tm_hour,
                                    .minute = local.tm_min,
                                    .second = std::min(local.tm_sec, 59)})};
}

std::string_view Trimmed(std::string_view expression) {
  expression = common::Trim(expression);
  if (expression.starts_with('=')) expression = common::Trim(expression.substr(1));
  return expression;
}

/// The text between quotes, doubled ones standing for one; none when this is not one quoted text.
std::optional<std::string> Unquoted(std::string_view expression) {
  const char quote = expression.front();
  if (expression.size() < 2 || expression.back() != quote) return std::nullopt;
  const std::string_view inner = expression.substr(1, expression.size() - 2);
  std::string text;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    if (inner[i] == quote && (++i == inner.size() || inner[i] != quote)) return std::nullopt;
    text += inner[i];
  }
  return text;
}

bool IsNumber(std::string_view expression) {
  if (expression.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return false;
  try {
    core::ToDouble(expression);
    return true;
  } catch (const common::Error&) {
    return false;
  }
}

/// The value of a constant expression; none for anything else.
std::optional<core::Value> Constant(std::string_view expression) {
  struct Word {
    std::string_view text;
    core::Value value;
  };
  static const std::array kWords{Word{"True", true},        Word{"Yes", true}, Word{"On", true},
                                 Word{"False", false},      Word{"No", false}, Word{"Off", false},
                                 Word{"Null", core::Null{}}};
  const auto word = std::ranges::find_if(
      kWords, [&](const Word& each) { return common::EqualIgnoringCase(each.text, expression); });
  if (word != kWords.end()) return word->value;
  if (expression.empty()) return std::nullopt;
  if (expression.front() == '"' || expression.front() == '\'') {
    if (auto text = Unquoted(expression)) return core::Value(*std::move(text));
    return std::nullopt;
  }
  if (expression.size() > 2 && expression.front() == '#' && expression.back() == '#') {
    const auto date = core::ParseDate(expression.substr(1, expression.size() - 2));
    return date ? std::optional<core::Value>(*date) : std::nullopt;
  }
  // A number stays text, so that no digit is lost before the field's type is known.
  if (IsNumber(expression)) return core::Value(std::string(expression));
  return std::nullopt;
}

bool IsCall(std::string_view expression, std::string_view name) {
  if (!expression.ends_with(')')) return false;
  expression = common::TrimRight(expression.substr(0, expression.size() - 1));
  if (!expression.ends_with('(')) return false;
  return common::EqualIgnoringCase(common::TrimRight(expression.substr(0, expression.size() - 1)), name);
}

}  // namespace

std::optional<DefaultValue> DefaultValue::Parse(std::string_view expression, const core::Field& field) {
  expression = Trimmed(expression);
  DefaultValue result;
  result.field_ = field;
  if (IsCall(expression, "Now")) {
    result.kind_ = Kind::Now;
  } else if (IsCall(expression, "Date")) {
    result.kind_ = Kind::Today;
  } else if (auto constant = Constant(expression)) {
    result.constant_ = *std::move(constant);
  } else {
    return std::nullopt;
  }
  try {
    if (result.kind_ == Kind::Constant) {
      result.constant_ = core::ConvertForField(field, result.constant_);
    } else {
      result.Get();
    }
  } catch (const common::Error&) {
    return std::nullopt;
  }
  return result;
}

core::Value DefaultValue::Get() const {
  if (kind_ == Kind::Constant) return constant_;
  const core::Date now = LocalNow();
  return core::ConvertForField(field_, kind_ == Kind::Now ? now : core::Date{std::floor(now.serial)});
}

}  // namespace corvix::jet
