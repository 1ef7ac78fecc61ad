// Where the program writes: results to standard output, everything else to standard error. Writing never
// throws: a run must not end in the middle because somebody closed a pipe.
#pragma once

#include <string_view>

#include "cli/exit_code.h"
#include "common/error.h"

namespace corvix::cli {

/// Writes to standard output, as it is.
void Print(std::string_view text);
/// Writes a line to standard error.
void Say(std::string_view text);
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
