// A conversion's host in the main window: progress goes to its labels and bar, questions to its dialogs.
//
// The window stays alive during a run because the run yields after each record. Serving events and painting
// after every one of thousands of records would cost more than converting them, so the host does so when a
// frame's time has passed since it last did. Requests to halt (Esc, the close box) are noted while events are
// served and answered right after, where an error can still take its way through the run.
#pragma once

#include <QMainWindow>
#include <chrono>

#include "run/host.h"
#include "ui/run_widgets.h"
#include "ui/window_dialogs.h"

namespace corvix::ui {

class WindowHost : public run::Host {
 public:
  /// Finds its controls in `window` by name.
  WindowHost(QMainWindow& window, run::Session& session, WindowDialogs& dialogs,
             std::chrono::milliseconds reading_time);

  /// A run begins: nothing is asked of it yet, and its first yield serves events.
  void Begin();
  /// Brings labels and bar up to date.
  void ShowProgress();
  /// Asks the run to show the interrupt dialog when it yields next.
  void RequestHalt() { halt_requested_ = true; }
  /// The same for a request to close the window, which stands unless the user lets the run continue.
  void RequestClose();
  bool close_requested() const { return close_requested_; }
  /// From now on nobody is asked or waited for: a run stops after its record, and every question counts as
  /// answered in the way that changes nothing.
  void StopAsking() { asks_ = false; }
  bool asks() const { return asks_; }
  /// Shows the interrupt dialog now.
  void Halt();
  /// Nothing that was stored is at risk while the program waits for a person.
  void MakeSafe();
  /// Whether the run wanted the focus on the target file name, which is disabled while it runs.
  bool wants_target_file_name() const { return wants_target_file_name_; }

  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;

  run::BoxTexts Boxes() const override;
  run::Label& lblmsg() override { return lblmsg_; }
  run::Label& lblRecord() override { return lblRecord_; }
  run::Label& lblAddress() override { return lblAddress_; }
  run::Gauge& gauprogress() override { return gauprogress_; }
  void SetBusyPointer(bool busy) override;
  void FocusTargetFileName() override { wants_target_file_name_ = true; }
  void ShowDuplicatePrompt(run::RunValues& values) override;
  void Yield(run::RunValues& values) override;
  void LastYield(run::RunValues& values) override;
  void RunRefused(const common::Error& failure) override;
  void RecordDone(const run::RecordEvent&) override {}  // the labels say it all

 private:
  using Clock = std::chrono::steady_clock;

  void ServeEvents(run::RunValues& values);

  QMainWindow& window_;
  run::Session& session_;
  WindowDialogs& dialogs_;
  std::chrono::milliseconds reading_time_;
  ShownLabel lblmsg_;
  ShownLabel lblRecord_;
  ShownLabel lblAddress_;
  ShownGauge gauprogress_;
  Clock::time_point next_frame_;
  bool halt_requested_ = false;
  bool close_requested_ = false;
  bool asks_ = true;
  bool wants_target_file_name_ = false;
};

}  // namespace corvix::ui
