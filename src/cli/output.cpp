#include "cli/output.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <system_error>

namespace corvix::cli {
namespace {

int output_failure = 0;  // errno of the first write to standard output that failed

void NoteFailure() {
  if (output_failure == 0) output_failure = errno;
}

}  // namespace

void Print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) NoteFailure();
}

void Say(std::string_view text) {
  std::string line(text);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void SayError(const common::Error& error) {
  if (std::fflush(stdout) != 0) NoteFailure();
  Say(fmt::format("corvix-cli: error {}: {}.", error.number(), error.what()));
}

void SetBrokenPipe(BrokenPipe what) { std::signal(SIGPIPE, what == BrokenPipe::Ends ? SIG_DFL : SIG_IGN); }

ExitCode FinishOutput(ExitCode code) {
  if (std::fflush(stdout) != 0) NoteFailure();
  if (output_failure == 0 || output_failure == EPIPE) return code;
  Say("corvix-cli: the output could not be written: " + std::generic_category().message(output_failure) +
      ".");
  return ExitCode::Failed;
}

}  // namespace corvix::cli
