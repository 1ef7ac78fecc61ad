#include "cli/terminal_host.h"

#include <cctype>
#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "cli/interrupt.h"
#include "common/error.h"
#include "common/text.h"
#include "core/text_form.h"
#include "run/duplicate_prompt.h"

namespace corvix::cli {
namespace {

constexpr int kCaptionWidth = 16;
constexpr int kSideWidth = 38;

/// The cells of one side of a row, joined.
std::string SideText(const run::PromptContents& contents, const std::vector<run::PromptCell>& cells) {
  std::string text;
  for (const run::PromptCell& cell : cells) {
    const std::string value(common::Trim(contents.Text(cell)));
    if (!text.empty() && !value.empty()) text += "  ";
    text += value;
  }
  return text;
}

}  // namespace

TerminalHost::TerminalHost(run::Session& session, Options options)
    : session_(session), options_(std::move(options)), input_(STDIN_FILENO), progress_(STDERR_FILENO) {}

void TerminalHost::Position::SetValue(int value) {
  if (value < minimum_ || value > maximum_) throw common::Error(common::kInvalidPropertyValue);
  value_ = value;
}

run::Summary TerminalHost::Result() const {
  run::Summary summary = summary_;
  summary.records = static_cast<std::int64_t>(core::Val(record_.Caption()));
  summary.status = status_.Caption();
  return summary;
}

void TerminalHost::Print(std::string_view text) {
  progress_.Clear();
  fmt::print(stderr, "{}\n", text);
}

char TerminalHost::AskLetter(std::string_view question, std::string_view letters, char at_end) {
  for (;;) {
    progress_.Clear();
    fmt::print(stderr, "{} [{}] ", question, fmt::join(letters, "/"));
    std::fflush(stderr);
    const auto line = input_.Next();
    if (!line) {
      fmt::print(stderr, "\n");
      return at_end;
    }
    const std::string_view answer = common::Trim(*line);
    if (answer.empty()) continue;
    const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(answer[0])));
    if (letters.find(letter) != std::string_view::npos) return letter;
    Print(fmt::format("'{}' is none of the answers.", answer));
  }
}

void TerminalHost::Notice(std::string_view text) {
  summary_.messages.emplace_back(text);
  Print(text);
}

bool TerminalHost::AskYesNo(std::string_view text) {
  if (options_.assume_yes) return true;
  return AskLetter(text, "yn", 'n') == 'y';
}

common::DeviceAnswer TerminalHost::AskDevice(std::string_view text) {
  switch (AskLetter(std::string(text) + "\nAbort, retry or ignore?", "ari", 'a')) {
    case 'r':
      return common::DeviceAnswer::Retry;
    case 'i':
      return common::DeviceAnswer::Ignore;
    default:
      return common::DeviceAnswer::Abort;
  }
}

void TerminalHost::ShowDuplicatePrompt(run::RunValues& values) {
  const run::PromptContents contents(session_);
  Print(fmt::format("\n{:<{}}  {:<{}}  {}", "", kCaptionWidth, "Source", kSideWidth, "Target"));
  for (const run::PromptRow& row : run::PromptRows()) {
    const std::string source = SideText(contents, row.source);
    const std::string target = SideText(contents, row.target);
    Print(fmt::format("{:<{}}{} {:<{}}  {}", row.caption, kCaptionWidth, source == target ? ' ' : '*', source,
                      kSideWidth, target));
  }
  for (;;) {
    switch (AskLetter(contents.question() + "  (yes, no, stop, all)", "ynsa", 's')) {
      case 'y':
        values.AskResult = run::kAskYes;
        return;
      case 'n':
        values.AskResult = run::kAskNo;
        return;
      case 's':
        values.AskResult = run::kAskStop;
        return;
      default:
        if (AskLetter("Continue without stopping?", "yn", 'n') == 'y') {
          values.AskResult = run::kAskOverwriteAll;
          return;
        }
    }
  }
}

void TerminalHost::Yield(run::RunValues& values) {
  switch (InterruptGuard::Take()) {
    case Interrupt::None:
      return;
    case Interrupt::Stop:
      values.EscapeState = run::kEscapeStop;
      return;
    case Interrupt::Ask:
      break;
  }
  if (session_.access.TargetDb) session_.access.TargetDb->Checkpoint();
  const char answer = AskLetter("Conversion Temporarily Halted.  Continue or stop?", "cs", 's');
  values.EscapeState = answer == 'c' ? run::kEscapeContinue : run::kEscapeStop;
}

void TerminalHost::RecordDone(const run::RecordEvent& event) {
  summary_.Count(event);
  progress_.Show(gauge_.value(), event.number, event.key);
}

}  // namespace corvix::cli
