// A conversion's host on a terminal: messages go to standard error, questions are answered on standard input,
// progress is a line redrawn in place.
#pragma once

#include <functional>
#include <initializer_list>
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
    /// Called for each record that is taken back.
    std::function<void(const run::TakenBack&)> taken_back;
  };

  /// Both must outlive the host.
  TerminalHost(run::Session& session, LineReader& input, Options options);

  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;
  void ShowDuplicatePrompt(run::RunValues& values) override;
  void Yield(run::RunValues& values) override;
  void IndexesRebuilt(const std::vector<run::RebuiltIndex>& rebuilt) override;
  void RecordDone(const run::RecordEvent& event) override;
  void RecordTakenBack(const run::TakenBack& record) override;

 private:
  /// Offered answers, in lower case and with different first letters.
  using Answers = std::initializer_list<std::string_view>;
  /// What an interrupt does while a question waits.
  enum class WhenInterrupted { Ends, AsksWhetherToGoOn };

  void Show(std::string_view text);
  /// Prints a question and reads until an answer is one of those, as a word or by its first letter, which is
  /// returned. The end of input, and an interrupt after which the run does not go on, count as `at_end`.
  char Ask(std::string_view question, Answers answers, char at_end,
           WhenInterrupted interrupted = WhenInterrupted::AsksWhetherToGoOn);
  /// Answers an interrupt that was noted.
  bool AskWhetherToGoOn();

  run::Session& session_;
  LineReader& input_;
  Options options_;
  ProgressLine progress_;
  Interrupt interrupt_ = Interrupt::None;  // asked for and not answered
};

}  // namespace corvix::cli
