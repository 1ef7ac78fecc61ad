// A conversion's host on a terminal: messages go to standard error, questions are answered on standard input,
// progress is a line redrawn in place.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "cli/interrupt.h"
#include "cli/line_reader.h"
#include "cli/plain_host.h"
#include "cli/progress_line.h"

namespace corvix::cli {

class TerminalHost : public PlainHost {
 public:
  struct Options {
    run::BoxTexts boxes;
    bool assume_yes = false;  ///< the backup question is answered with Yes, unseen
    /// Called when the question has been answered with Yes; nothing is open yet. What it throws ends the run.
    std::function<void()> confirmed;
    /// Called for each record that is done.
    std::function<void(const run::RecordEvent&)> record_done;
  };

  /// Both must outlive the host.
  TerminalHost(run::Session& session, LineReader& input, Options options);

  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;
  void ShowDuplicatePrompt(run::RunValues& values) override;
  void Yield(run::RunValues& values) override;
  void RecordDone(const run::RecordEvent& event) override;

 private:
  void Show(std::string_view text);
  /// Prints a question and reads until the answer begins with one of `letters` (lower case); the end of input
  /// counts as `at_end`.
  char AskLetter(std::string_view question, std::string_view letters, char at_end);

  run::Session& session_;
  LineReader& input_;
  Options options_;
  ProgressLine progress_;
  Interrupt interrupt_ = Interrupt::None;  // asked for and not answered
};

}  // namespace corvix::cli
