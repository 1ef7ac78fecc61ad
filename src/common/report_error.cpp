#include "common/report_error.h"

#include <string>

#include "common/text.h"

namespace corvix::common {
namespace {

thread_local Dialogs* current_dialogs = nullptr;

constexpr std::string_view kRebuildMessage =
    "The databases may be corrupt.  Please run the rebuild programs. (Double Click on the icons) and restart "
    "Lumivar.";

}  // namespace

constinit thread_local ProcedureName CurrentProc;
constinit thread_local Action ErrAction = Action::Retry;

std::string_view ProcedureName::Trimmed() const { return Trim(Padded()); }

Action ReportError(const Error& error) {
  if (error.number() == kRecordLocked) {
    if (current_dialogs) current_dialogs->Notice(kRebuildMessage);
    throw ProgramEnd{};
  }
  if (!IsDeviceError(error.number()) || !current_dialogs) return Action::PassOn;
  const std::string text = std::string(error.what()) + ".\r\nError # " + std::to_string(error.number()) +
                           " in module " + std::string(CurrentProc.Trimmed()) + ".";
  switch (current_dialogs->AskDevice(text)) {
    case DeviceAnswer::Retry:
      return Action::Retry;
    case DeviceAnswer::Ignore:
      return Action::Skip;
    case DeviceAnswer::Abort:
      break;
  }
  return Action::Leave;
}

DialogsScope::DialogsScope(Dialogs& dialogs) : previous_(current_dialogs) { current_dialogs = &dialogs; }
DialogsScope::~DialogsScope() { current_dialogs = previous_; }

Dialogs* CurrentDialogs() { return current_dialogs; }

}  // namespace corvix::common
