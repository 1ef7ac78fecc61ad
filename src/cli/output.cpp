#include "cli/output.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <system_error>

#include "cli/shown_text.h"

namespace corvix::cli {
namespace {

int output_failure = 0;  // errno of the first write to standard output that failed

void NoteFailure() {
  if (output_failure == 0) output_failure = errno;
}

bool IsPlain(char c) { return (c >= ' ' && c <= '~') || c == '\n'; }

void Write(std::string_view text, std::FILE* stream) {
  if (std::fwrite(text.data(), 1, text.size(), stream) != text.size() && stream == stdout) NoteFailure();
}

void WriteShown(std::string_view text, std::FILE* stream) {
  if (std::ranges::all_of(text, IsPlain)) {
    Write(text, stream);
  } else {
    Write(ShownLines(text), stream);
  }
}

}  // namespace

void Print(std::string_view text) { WriteShown(text, stdout); }

void Say(std::string_view text) { WriteShown(std::string(text) + '\n', stderr); }

void SayWithoutLineEnd(std::string_view text) { WriteShown(text, stderr); }

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
