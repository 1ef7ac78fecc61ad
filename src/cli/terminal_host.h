// A conversion's host on a terminal: messages go to standard error, questions are answered on standard input,
// progress is a line redrawn in place.
#pragma once

#include <string>
#include <vector>

#include "cli/line_reader.h"
#include "cli/progress_line.h"
#include "run/host.h"
#include "run/report.h"

namespace corvix::cli {

class TerminalHost : public run::Host {
 public:
  struct Options {
    run::BoxTexts boxes;
    bool assume_yes = false;  ///< the backup question is answered with Yes, unseen
  };

  TerminalHost(run::Session& session, Options options);

  /// What the run has done so far.
  run::Summary Result() const;

  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;

  run::BoxTexts Boxes() const override { return options_.boxes; }
  run::Label& lblmsg() override { return status_; }
  run::Label& lblRecord() override { return record_; }
  run::Label& lblAddress() override { return address_; }
  run::Gauge& gauprogress() override { return gauge_; }
  void SetBusyPointer(bool) override {}
  void FocusTargetFileName() override {}
  void ShowDuplicatePrompt(run::RunValues& values) override;
  void Yield(run::RunValues& values) override;
  void RecordDone(const run::RecordEvent& event) override;

 private:
  class TextLabel : public run::Label {
   public:
    void SetTextColour(double) override {}
    void SetCaption(std::string_view caption) override { caption_ = caption; }
    std::string Caption() const override { return caption_; }

   private:
    std::string caption_;
  };

  class Position : public run::Gauge {
   public:
    void SetMaximum(int value) override { maximum_ = value; }
    void SetMinimum(int value) override { minimum_ = value; }
    void SetValue(int value) override;
    int value() const { return value_; }

   private:
    int minimum_ = 0;
    int maximum_ = 100;
    int value_ = 0;
  };

  void Print(std::string_view text);
  /// Prints a question and reads until the answer begins with one of `letters` (lower case); the end of input
  /// counts as `at_end`.
  char AskLetter(std::string_view question, std::string_view letters, char at_end);

  run::Session& session_;
  Options options_;
  LineReader input_;
  ProgressLine progress_;
  TextLabel status_;
  TextLabel record_;
  TextLabel address_;
  Position gauge_;
  run::Summary summary_;
};

}  // namespace corvix::cli
