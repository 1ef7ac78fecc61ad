// The boxes of the window as the toolkit's message boxes, over the dialog that is open, else over the main
// window, which is brought back for them when it is minimised.
#pragma once

#include "ui/reading_guard.h"
#include "ui/window_dialogs.h"

namespace corvix::ui {

class MessageBoxes : public WindowDialogs {
 public:
  explicit MessageBoxes(std::chrono::milliseconds reading_time = kReadingTime)
      : reading_time_(reading_time) {}

  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;
  bool AskQuit(std::string_view title, std::string_view text) override;
  void Failure(std::string_view text) override;

 private:
  std::chrono::milliseconds reading_time_;
};

}  // namespace corvix::ui
