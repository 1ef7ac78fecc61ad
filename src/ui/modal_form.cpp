#include "ui/modal_form.h"

#include <QKeyEvent>

#include "ui/form.h"

namespace corvix::ui {

void BringBack(QWidget* window) {
  for (; window; window = window->parentWidget() ? window->parentWidget()->window() : nullptr) {
    if (window->isMinimized()) window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
  }
}

ModalForm::ModalForm(const FormEntry& form, std::span<const ControlEntry> controls, QWidget* parent)
    : QDialog(parent,
              Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint) {
  setObjectName(ToQt(form.name));
  setWindowTitle(ToQt(form.caption));
  setFixedSize(ToPixels(form.width), ToPixels(form.height));
  MakeControls(*this, controls);
}

void ModalForm::showEvent(QShowEvent* event) {
  BringBack(parentWidget());
  QDialog::showEvent(event);
}

void ModalForm::keyPressEvent(QKeyEvent* event) {
  const int key = event->key();
  if (key == Qt::Key_Escape || key == Qt::Key_Return || key == Qt::Key_Enter) return;
  QDialog::keyPressEvent(event);
}

}  // namespace corvix::ui
