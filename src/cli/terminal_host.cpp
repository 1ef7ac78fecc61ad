#include "cli/terminal_host.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "cli/output.h"
#include "cli/shown_text.h"
#include "common/error.h"
#include "common/text.h"
#include "run/duplicate_prompt.h"

namespace corvix::cli {
namespace {

constexpr int kCaptionWidth = 16;
constexpr int kSideWidth = 38;

/// The cells of one side of a row, joined.
std::string SideText(const run::PromptContents& contents, const std::vector<run::PromptCell>& cells) {
  std::string text;
  for (const run::PromptCell& cell : cells) {
    const std::string value = ShownText(common::Trim(contents.Text(cell)));
    if (!text.empty() && !value.empty()) text += "  ";
    text += value;
  }
  return text;
}

}  // namespace

TerminalHost::TerminalHost(run::Session& session, LineReader& input, Options options)
    : PlainHost(std::move(options.boxes)),
      session_(session),
      input_(input),
      options_(std::move(options)),
      progress_(STDERR_FILENO) {}

void TerminalHost::Show(std::string_view text) {
  progress_.Clear();
  Say(text);
}

char TerminalHost::Ask(std::string_view question, Answers answers, char at_end, WhenInterrupted interrupted) {
  std::string letters;
  for (const std::string_view answer : answers) letters += answer[0];
  for (;;) {
    progress_.Clear();
    SayWithoutLineEnd(fmt::format("{} [{}] ", question, fmt::join(letters, "/")));
    const auto line = input_.Next();
    if (!line) {
      Say("");
      interrupt_ = std::max(interrupt_, InterruptGuard::Take());
      if (interrupted == WhenInterrupted::Ends || interrupt_ != Interrupt::Ask) return at_end;
      if (!AskWhetherToGoOn()) return at_end;
      continue;
    }
    const std::string_view typed = common::Trim(*line);
    for (const std::string_view answer : answers) {
      if (common::EqualIgnoringCase(typed, answer) || common::EqualIgnoringCase(typed, answer.substr(0, 1))) {
        return answer[0];
      }
    }
    if (!typed.empty()) Show(fmt::format("'{}' is none of the answers.", ShownText(typed)));
  }
}

bool TerminalHost::AskWhetherToGoOn() {
  interrupt_ = Interrupt::None;
  const char answer = Ask("Conversion Temporarily Halted.  Continue or stop?", {"continue", "stop"}, 's',
                          WhenInterrupted::Ends);
  if (interrupt_ == Interrupt::Ask) interrupt_ = Interrupt::None;  // a second one is the answer
  return answer == 'c';
}

void TerminalHost::Notice(std::string_view text) {
  PlainHost::Notice(text);
  Show(text);
}

bool TerminalHost::AskYesNo(std::string_view text) {
  constexpr char kNone = 0;
  const char answer = options_.assume_yes ? 'y' : Ask(text, {"yes", "no"}, kNone, WhenInterrupted::Ends);
  if (answer == kNone && interrupt_ == Interrupt::None) {
    Show(
        "Nobody answers on standard input, so nothing was done. Add --yes where there is a good backup, or "
        "--backup --yes to have one made first.");
  }
  if (answer == 'y' && options_.confirmed) options_.confirmed();
  return answer == 'y';
}

common::DeviceAnswer TerminalHost::AskDevice(std::string_view text) {
  switch (Ask(std::string(text) + "\nAbort, retry or ignore?", {"abort", "retry", "ignore"}, 'a')) {
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
  Show(fmt::format("\n{:<{}}  {:<{}}  {}", "", kCaptionWidth, "Source", kSideWidth, "Target"));
  for (const run::PromptRow& row : run::PromptRows()) {
    const std::string source = SideText(contents, row.source);
    const std::string target = SideText(contents, row.target);
    Show(fmt::format("{:<{}}{} {:<{}}  {}", row.caption, kCaptionWidth, source == target ? ' ' : '*', source,
                     kSideWidth, target));
  }
  if (const std::string records = contents.SourceRecords(); !records.empty()) Show("Source: " + records);
  for (;;) {
    switch (
        Ask(ShownText(contents.question()) + "  (yes, no, stop, all)", {"yes", "no", "stop", "all"}, 's')) {
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
        if (Ask("Continue without stopping?", {"yes", "no"}, 'n') == 'y') {
          values.AskResult = run::kAskOverwriteAll;
          return;
        }
    }
  }
}

void TerminalHost::Yield(run::RunValues& values) {
  // Noted until it is answered, so that it outlives a checkpoint that fails.
  interrupt_ = std::max(interrupt_, InterruptGuard::Take());
  if (interrupt_ == Interrupt::None) return;
  if (interrupt_ == Interrupt::Stop) {
    values.EscapeState = run::kEscapeStop;
    return;
  }
  if (session_.access.TargetDb) session_.access.TargetDb->Checkpoint();
  values.EscapeState = AskWhetherToGoOn() ? run::kEscapeContinue : run::kEscapeStop;
}

void TerminalHost::IndexesRebuilt(const std::vector<run::RebuiltIndex>& rebuilt) {
  PlainHost::IndexesRebuilt(rebuilt);
  for (const run::RebuiltIndex& each : rebuilt) Show(run::RebuiltIndexText({each}));
}

void TerminalHost::RecordTakenBack(const run::TakenBack& record) {
  PlainHost::RecordTakenBack(record);
  if (options_.taken_back) options_.taken_back(record);
}

void TerminalHost::RecordDone(const run::RecordEvent& event) {
  PlainHost::RecordDone(event);
  if (options_.record_done) options_.record_done(event);
  progress_.Show(BarPosition(), event.number, event.key);
}

}  // namespace corvix::cli
