// Dialogs that record every box and answer from a script.
#pragma once

#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/dialogs.h"

namespace corvix::test {

class RecordingDialogs : public common::Dialogs {
 public:
  std::vector<std::string> notices;
  std::vector<std::string> questions;
  std::vector<std::string> device_boxes;
  std::deque<bool> yes_no;                          ///< answers in order; Yes when there are none left
  std::deque<common::DeviceAnswer> device_answers;  ///< answers in order

  void Notice(std::string_view text) override { notices.emplace_back(text); }
  bool AskYesNo(std::string_view text) override {
    questions.emplace_back(text);
    if (yes_no.empty()) return true;
    const bool answer = yes_no.front();
    yes_no.pop_front();
    return answer;
  }
  common::DeviceAnswer AskDevice(std::string_view text) override {
    device_boxes.emplace_back(text);
    if (device_answers.empty()) throw std::logic_error("no answer is left for: " + std::string(text));
    const auto answer = device_answers.front();
    device_answers.pop_front();
    return answer;
  }
};

}  // namespace corvix::test
