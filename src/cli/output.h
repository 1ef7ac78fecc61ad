// Where the program writes: results to standard output, everything else to standard error. Writing never
// throws: a run must not end in the middle because somebody closed a pipe.
#pragma once

#include <string_view>

#include "cli/exit_code.h"
#include "common/error.h"

namespace corvix::cli {

/// Writes to standard output. Here as in what follows, control characters other than line ends are written as
/// \xNN, whatever file or argument they came from.
void Print(std::string_view text);
/// Writes to standard error: a line, or a question whose answer is typed behind it.
void Say(std::string_view text);
void SayWithoutLineEnd(std::string_view text);
/// "corvix-cli: error 53: text (place)." on standard error, behind what was printed so far.
void SayError(const common::Error& error);

enum class BrokenPipe {
  Ends,     ///< the program ends quietly when nobody reads its output any more, as others do in a pipe
  Ignored,  ///< for commands that change files: they finish their work
};
void SetBrokenPipe(BrokenPipe what);

/// Writes out what is still buffered. `code`, or Failed with a message when something was not written; a
/// closed pipe is no failure.
ExitCode FinishOutput(ExitCode code);

}  // namespace corvix::cli
