// A modal dialog made from a control table: fixed size, and closed only by its buttons or its close box. Esc
// does nothing, Enter presses the button that has the focus and nothing else.
#pragma once

#include <QDialog>
#include <span>

#include "ui/control_table.h"

namespace corvix::ui {

/// Shows a minimised window, and those that it belongs to, again: a dialog over it would be hidden with it.
void BringBack(QWidget* window);

class ModalForm : public QDialog {
 public:
  ModalForm(const FormEntry& form, std::span<const ControlEntry> controls, QWidget* parent);

 protected:
  void showEvent(QShowEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace corvix::ui
