// The dialogs of a run, which note the device errors after which a step was left out (Ignore and Abort): the
// procedure that asked goes on without it and says nothing to its caller.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/dialogs.h"

namespace corvix::run {

class DeviceAnswers : public common::Dialogs {
 public:
  /// Asks through `dialogs`, and counts in `left_out`.
  DeviceAnswers(common::Dialogs& dialogs, std::int64_t& left_out) : dialogs_(dialogs), left_out_(left_out) {}

  /// While it lives, what is left out is tried again later, and not noted.
  class Pause {
   public:
    explicit Pause(DeviceAnswers& answers) : answers_(answers) { answers_.paused_ = true; }
    ~Pause() { answers_.paused_ = false; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

   private:
    DeviceAnswers& answers_;
  };

  /// The texts of the boxes since the last call.
  std::vector<std::string> TakeLeftOut() { return std::exchange(texts_, {}); }

  void Notice(std::string_view text) override { dialogs_.Notice(text); }
  bool AskYesNo(std::string_view text) override { return dialogs_.AskYesNo(text); }
  common::DeviceAnswer AskDevice(std::string_view text) override {
    const common::DeviceAnswer answer = dialogs_.AskDevice(text);
    if (answer != common::DeviceAnswer::Retry && !paused_) {
      ++left_out_;
      texts_.emplace_back(text);
    }
    return answer;
  }

 private:
  common::Dialogs& dialogs_;
  std::int64_t& left_out_;
  bool paused_ = false;
  std::vector<std::string> texts_;
};

}  // namespace corvix::run
