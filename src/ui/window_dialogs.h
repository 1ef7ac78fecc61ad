// Every box that the window shows, behind one interface: the real boxes, or a test's script.
#pragma once

#include "common/dialogs.h"

namespace corvix::ui {

class WindowDialogs : public common::Dialogs {
 public:
  /// Yes and No with a question icon; true for Yes.
  virtual bool AskQuit(std::string_view title, std::string_view text) = 0;
  /// The box that names an error which left a user action.
  virtual void Failure(std::string_view text) = 0;
};

}  // namespace corvix::ui
