// Procedure and Trap: the error convention as two small helpers, so that no procedure contains a `try`.
//
//   std::string RemoveRSlash(std::string& path) {
//     std::string result;
//     Procedure("RemoveRSlash", [&](const Trap& trap) {
//       trap([&] { path = Trim(path); });
//       ...
//     });
//     return result;
//   }
//
// A statement changes its target last, so that Skip leaves the old value; results live outside the statement,
// so that Leave returns what was set. The path without errors costs a try block and nothing else.
#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <string_view>

#include "common/report_error.h"

namespace corvix::common {

/// The numbers that a procedure settles itself, before the common reporter is asked; none for the others.
using Rules = std::function<std::optional<Action>(const Error&)>;

/// Thrown by Trap for Action::Leave; never leaves Procedure().
struct LeaveProcedure {};

/// Runs single statements under the convention.
class Trap {
 public:
  explicit Trap(const Rules& rules) : rules_(rules) {}

  void operator()(std::invocable auto&& statement) const {
    for (;;) {
      try {
        statement();
        return;
      } catch (const Error& error) {
        const std::optional<Action> own = rules_ ? rules_(error) : std::nullopt;
        ErrAction = own ? *own : ReportError(error);
        if (ErrAction == Action::Retry) continue;
        if (ErrAction == Action::Skip) return;
        if (ErrAction == Action::Leave) throw LeaveProcedure{};
        throw;  // PassOn: the same error, to the caller
      }
    }
  }

 private:
  const Rules& rules_;
};

/// Records `name` and runs `body(trap)`; a Leave inside it ends the body and nothing more.
void Procedure(const ProcedureName& name, std::invocable<const Trap&> auto&& body, const Rules& rules = {}) {
  CurrentProc = name;
  try {
    body(Trap(rules));
  } catch (const LeaveProcedure&) {
    return;  // results set so far stand
  }
}

}  // namespace corvix::common
