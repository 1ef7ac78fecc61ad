#include "cli/preview_host.h"

#include <string>
#include <unistd.h>
#include <utility>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/record_lines.h"

namespace corvix::cli {
namespace {

// Records that are printed on the screen are their own progress, and a line between them would disturb.
constexpr int kNoTerminal = -1;

}  // namespace

PreviewHost::PreviewHost(run::Accountant& accountant, Options options)
    : PlainHost(std::move(options.boxes)),
      accountant_(accountant),
      json_(options.json),
      changes_(options.changes),
      progress_(::isatty(STDOUT_FILENO) == 1 ? kNoTerminal : STDERR_FILENO) {}

common::DeviceAnswer PreviewHost::AskDevice(std::string_view text) {
  progress_.Clear();
  Say(text);
  return common::DeviceAnswer::Abort;
}

void PreviewHost::ShowDuplicatePrompt(run::RunValues& values) { values.AskResult = run::kAskNo; }

void PreviewHost::Yield(run::RunValues& values) {
  if (InterruptGuard::Take() != Interrupt::None) values.EscapeState = run::kEscapeStop;
}

void PreviewHost::RecordDone(const run::RecordEvent& event) {
  PlainHost::RecordDone(event);
  const run::RecordAccount account = accountant_.Take(event);
  Print(json_ ? RecordJson(account, Tense::Would, changes_) + "\n"
              : RecordText(account, Tense::Would, changes_));
  if (event.outcome == run::Outcome::Kept && event.asked) ++would_ask_;
  progress_.Show(BarPosition(), event.number, event.key);
}

}  // namespace corvix::cli
