#include "cli/terminal_host.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "cli/output.h"
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
    const std::string value(common::Trim(contents.Text(cell)));
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

char TerminalHost::AskLetter(std::string_view question, std::string_view letters, char at_end) {
  for (;;) {
    progress_.Clear();
    std::fputs(fmt::format("{} [{}] ", question, fmt::join(letters, "/")).c_str(), stderr);
    const auto line = input_.Next();
    if (!line) {
      Say("");
      return at_end;
    }
    const std::string_view answer = common::Trim(*line);
    if (answer.empty()) continue;
    const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(answer[0])));
    if (letters.find(letter) != std::string_view::npos) return letter;
    Show(fmt::format("'{}' is none of the answers.", answer));
  }
}

void TerminalHost::Notice(std::string_view text) {
  PlainHost::Notice(text);
  Show(text);
}

bool TerminalHost::AskYesNo(std::string_view text) {
  const bool yes = options_.assume_yes || AskLetter(text, "yn", 'n') == 'y';
  if (yes && options_.confirmed) options_.confirmed();
  return yes;
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
  Show(fmt::format("\n{:<{}}  {:<{}}  {}", "", kCaptionWidth, "Source", kSideWidth, "Target"));
  for (const run::PromptRow& row : run::PromptRows()) {
    const std::string source = SideText(contents, row.source);
    const std::string target = SideText(contents, row.target);
    Show(fmt::format("{:<{}}{} {:<{}}  {}", row.caption, kCaptionWidth, source == target ? ' ' : '*', source,
                     kSideWidth, target));
  }
  if (const std::string records = contents.SourceRecords(); !records.empty()) Show("Source: " + records);
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
  // Noted until it is answered, so that it outlives a checkpoint that fails.
  interrupt_ = std::max(interrupt_, InterruptGuard::Take());
  if (interrupt_ == Interrupt::None) return;
  if (interrupt_ == Interrupt::Stop) {
    values.EscapeState = run::kEscapeStop;
    return;
  }
  if (session_.access.TargetDb) session_.access.TargetDb->Checkpoint();
  interrupt_ = Interrupt::None;
  const char answer = AskLetter("Conversion Temporarily Halted.  Continue or stop?", "cs", 's');
  values.EscapeState = answer == 'c' ? run::kEscapeContinue : run::kEscapeStop;
}

void TerminalHost::RecordDone(const run::RecordEvent& event) {
  PlainHost::RecordDone(event);
  if (options_.record_done) options_.record_done(event);
  progress_.Show(BarPosition(), event.number, event.key);
}

}  // namespace corvix::cli
