// Default values of columns. The file holds them as expressions; those that are constants (a number, a quoted
// text, True, False, Yes, No, On, Off, Null, #date#) and the calls Now() and Date() are computed here. A "="
// may stand before the expression.
#pragma once

#include <optional>
#include <string_view>

#include "core/field.h"
#include "core/value.h"

namespace corvix::jet {

class DefaultValue {
 public:
  /// None when the expression is of another kind, or its value does not fit the field.
  static std::optional<DefaultValue> Parse(std::string_view expression, const core::Field& field);

  /// The value for a new row, of the field's type. Now() and Date() give local time.
  core::Value Get() const;

 private:
  enum class Kind { Constant, Now, Today };
  Kind kind_ = Kind::Constant;
  core::Value constant_;
  core::Field field_;
};

}  // namespace corvix::jet
