// The boxes of the window as the toolkit's message boxes, over whatever window is active.
#pragma once

#include "ui/window_dialogs.h"

namespace corvix::ui {

class MessageBoxes : public WindowDialogs {
 public:
  void Notice(std::string_view text) override;
  bool AskYesNo(std::string_view text) override;
  common::DeviceAnswer AskDevice(std::string_view text) override;
  bool AskQuit(std::string_view title, std::string_view text) override;
  void Failure(std::string_view text) override;
};

}  // namespace corvix::ui
