// frmEscape: the small dialog that an Esc key raises. A run stands still while it is open.
#pragma once

#include <chrono>

#include "run/run_values.h"
#include "ui/modal_form.h"

namespace corvix::ui {

class EscapeDialog : public ModalForm {
 public:
  /// The buttons answer through values.EscapeState; the close box leaves it as it is.
  EscapeDialog(run::RunValues& values, std::chrono::milliseconds reading_time, QWidget* parent);
};

}  // namespace corvix::ui
