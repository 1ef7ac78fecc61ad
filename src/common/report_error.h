// The one error convention. Every procedure that can fail records its name in CurrentProc, runs its
// statements one at a time, and settles an error by the action that ReportError answers. The values are kept
// per thread: the program has one user-interface thread, and tests that run side by side do not meet.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "common/dialogs.h"
#include "common/error.h"

namespace corvix::common {

/// A text of exactly 20 characters, padded with blanks or cut. Made of a literal it costs no more than a
/// copy: every read of a field records a name.
class ProcedureName {
 public:
  static constexpr std::size_t kLength = 20;
  constexpr ProcedureName() { characters_.fill(' '); }
  constexpr ProcedureName(std::string_view name) : ProcedureName() {
    for (std::size_t i = 0; i < name.size() && i < kLength; ++i) characters_[i] = name[i];
  }
  template <std::size_t N>
  constexpr ProcedureName(const char (&name)[N]) : ProcedureName(std::string_view(name)) {}
  /// All 20 characters.
  std::string_view Padded() const { return {characters_.data(), kLength}; }
  /// Without the blanks that fill it.
  std::string_view Trimmed() const;

 private:
  std::array<char, kLength> characters_{};
};

/// Name of the procedure that most recently recorded one; not restored when a procedure returns.
extern constinit thread_local ProcedureName CurrentProc;

enum class Action : std::int16_t { Retry = 0, Skip = 1, Leave = 2, PassOn = 3 };

/// The action code that the running handler received; without meaning outside a handler.
extern constinit thread_local Action ErrAction;

/// Decides what to do about an error. 3218: shows the rebuild message and ends the program (throws
/// ProgramEnd). 57, 61, 68, 71: asks Abort, Retry or Ignore, which give Leave, Retry and Skip. Any other
/// number: PassOn.
Action ReportError(const Error& error);

/// While it lives, ReportError of this thread asks through `dialogs`. Scopes nest. Without one, device errors
/// are passed on.
class DialogsScope {
 public:
  explicit DialogsScope(Dialogs& dialogs);
  ~DialogsScope();
  DialogsScope(const DialogsScope&) = delete;
  DialogsScope& operator=(const DialogsScope&) = delete;

 private:
  Dialogs* previous_;
};

/// The dialogs of the innermost scope, or none.
Dialogs* CurrentDialogs();

}  // namespace corvix::common
