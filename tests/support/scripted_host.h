// A conversion's host for tests: boxes given, answers and interrupt requests scripted, everything recorded.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/error.h"
#include "run/host.h"
#include "run/report.h"
#include "support/recording_dialogs.h"

namespace corvix::test {

class ScriptedHost : public run::Host {
 public:
  run::BoxTexts boxes;
  RecordingDialogs dialogs;

  /// One entry a showing of the prompt, with the result that its last click gives; No when there are none
  /// left.
  std::deque<std::int16_t> prompt_results;
  /// Escape requests by number of the record after which they are answered.
  std::map<std::int64_t, std::int16_t> escapes;

  std::function<void()> on_prompt = [] {};  ///< called while the prompt is shown

  std::vector<std::string> asked;  ///< key of each showing of the prompt
  std::vector<run::RecordEvent> events;
  std::vector<run::TakenBack> taken_back;
  std::vector<std::string> statuses;  ///< captions of the status line
  std::vector<int> positions;         ///< of the bar
  std::vector<bool> pointer;          ///< busy or not, at each change
  bool target_file_name_focused = false;

  run::Summary Result() const {
    run::Summary summary;
    for (const run::RecordEvent& event : events) summary.Count(event);
    for (const run::TakenBack& record : taken_back) summary.TakeBack(record);
    summary.records = record_.caption.empty() ? 0 : std::stoll(record_.caption);
    summary.messages = dialogs.notices;
    summary.status = statuses.empty() ? "" : statuses.back();
    return summary;
  }

  void Notice(std::string_view text) override { dialogs.Notice(text); }
  bool AskYesNo(std::string_view text) override { return dialogs.AskYesNo(text); }
  common::DeviceAnswer AskDevice(std::string_view text) override { return dialogs.AskDevice(text); }
  run::BoxTexts Boxes() const override { return boxes; }
  run::Label& lblmsg() override { return status_; }
  run::Label& lblRecord() override { return record_; }
  run::Label& lblAddress() override { return address_; }
  run::Gauge& gauprogress() override { return gauge_; }
  void SetBusyPointer(bool busy) override { pointer.push_back(busy); }
  void FocusTargetFileName() override { target_file_name_focused = true; }
  void ShowDuplicatePrompt(run::RunValues& values) override {
    asked.push_back(values.CurrentKey);
    on_prompt();
    values.AskResult = run::kAskNo;
    if (prompt_results.empty()) return;
    values.AskResult = prompt_results.front();
    prompt_results.pop_front();
  }
  void Yield(run::RunValues& values) override {
    const auto request = escapes.find(events.back().number);
    if (request != escapes.end()) values.EscapeState = request->second;
  }
  void RecordDone(const run::RecordEvent& event) override { events.push_back(event); }
  void RecordTakenBack(const run::TakenBack& record) override { taken_back.push_back(record); }

  std::string AddressText() const { return address_.caption; }

 private:
  struct TextLabel : run::Label {
    std::string caption;
    std::vector<std::string>* history = nullptr;
    void SetTextColour(double) override {}
    void SetCaption(std::string_view text) override {
      caption = text;
      if (history) history->emplace_back(text);
    }
    std::string Caption() const override { return caption; }
  };
  struct Bar : run::Gauge {
    std::vector<int>* positions = nullptr;
    void SetMaximum(int) override {}
    void SetMinimum(int) override {}
    void SetValue(int value) override {
      if (value < 0 || value > 100) throw common::Error(common::kInvalidPropertyValue);
      positions->push_back(value);
    }
  };

  TextLabel status_{};
  TextLabel record_{};
  TextLabel address_{};
  Bar gauge_{};

 public:
  ScriptedHost() {
    status_.history = &statuses;
    gauge_.positions = &positions;
  }
};

}  // namespace corvix::test
