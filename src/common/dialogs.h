// The three kinds of message box that the system shows, as an interface: the window shows real boxes, the
// terminal prints and asks, tests record and answer. Texts are UTF-8; "\r\n" separates lines.
#pragma once

#include <string_view>

namespace corvix::common {

enum class DeviceAnswer { Abort, Retry, Ignore };

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  /// A box with an OK button, no icon and the program's title.
  virtual void Notice(std::string_view text) = 0;
  /// A box with Yes and No, no icon and the program's title; true for Yes.
  virtual bool AskYesNo(std::string_view text) = 0;
  /// The box titled "Error" with Abort, Retry and Ignore, no icon.
  virtual DeviceAnswer AskDevice(std::string_view text) = 0;
};

}  // namespace corvix::common
