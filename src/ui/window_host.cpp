#include "ui/window_host.h"

#include <QCoreApplication>
#include <QLineEdit>

#include "ui/ask_dialog.h"
#include "ui/escape_dialog.h"
#include "ui/form.h"

namespace corvix::ui {
namespace {

constexpr auto kFrame = std::chrono::milliseconds(16);  // about 60 frames a second

}  // namespace

WindowHost::WindowHost(QMainWindow& window, run::Session& session, WindowDialogs& dialogs,
                       std::chrono::milliseconds reading_time)
    : window_(window),
      session_(session),
      dialogs_(dialogs),
      reading_time_(reading_time),
      lblmsg_(Control<QLabel>(window, "lblmsg")),
      lblRecord_(Control<QLabel>(window, "lblRecord")),
      lblAddress_(Control<QLabel>(window, "lblAddress")),
      gauprogress_(Control<QProgressBar>(window, "gauprogress")) {}

void WindowHost::Begin() {
  halt_requested_ = false;
  close_requested_ = false;
  wants_target_file_name_ = false;
  next_frame_ = Clock::now();
}

void WindowHost::ShowProgress() {
  lblmsg_.Show();
  lblRecord_.Show();
  lblAddress_.Show();
  gauprogress_.Show();
}

void WindowHost::RequestClose() {
  halt_requested_ = true;
  close_requested_ = true;
}

void WindowHost::Halt() {
  MakeSafe();
  halt_requested_ = false;
  EscapeDialog(session_.values, reading_time_, &window_).exec();
  if (session_.values.EscapeState != run::kEscapeStop) close_requested_ = false;
}

void WindowHost::MakeSafe() {
  if (session_.access.TargetDb) session_.access.TargetDb->Checkpoint();
}

void WindowHost::Notice(std::string_view text) {
  ShowProgress();
  if (asks_) dialogs_.Notice(text);
}

bool WindowHost::AskYesNo(std::string_view text) {
  ShowProgress();
  return asks_ && dialogs_.AskYesNo(text);
}

common::DeviceAnswer WindowHost::AskDevice(std::string_view text) {
  ShowProgress();
  return asks_ ? dialogs_.AskDevice(text) : common::DeviceAnswer::Abort;
}

run::BoxTexts WindowHost::Boxes() const {
  const auto text = [this](std::string_view name) {
    return FromQt(Control<QLineEdit>(window_, name).text());
  };
  return {.txtCompPath = text("txtCompPath"),
          .txtcompfilename = text("txtcompfilename"),
          .txtCompsPath = text("txtCompsPath"),
          .txtcompsfilename = text("txtcompsfilename")};
}

void WindowHost::SetBusyPointer(bool busy) {
  if (busy) {
    window_.setCursor(Qt::WaitCursor);
  } else {
    window_.unsetCursor();
  }
}

void WindowHost::ShowDuplicatePrompt(run::RunValues& values) {
  ShowProgress();
  if (!asks_) {
    values.AskResult = run::kAskStop;
    return;
  }
  const run::PromptContents contents(session_);
  AskDialog dialog(contents, dialogs_, reading_time_, &window_);
  dialog.exec();
  values.AskResult = dialog.answer();
}

void WindowHost::Yield(run::RunValues& values) {
  if (!asks_ || Clock::now() >= next_frame_) ServeEvents(values);
}

void WindowHost::LastYield(run::RunValues& values) { ServeEvents(values); }

void WindowHost::RunRefused(const common::Error& failure) {
  ShowProgress();
  if (asks_) dialogs_.Failure(std::string("Nothing was converted.  ") + failure.what() + ".");
}

void WindowHost::ServeEvents(run::RunValues& values) {
  if (asks_) {
    ShowProgress();
    QCoreApplication::processEvents();
    if (asks_ && halt_requested_) Halt();
    next_frame_ = Clock::now() + kFrame;
  }
  if (!asks_) values.EscapeState = run::kEscapeStop;
}

}  // namespace corvix::ui
