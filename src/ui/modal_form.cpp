#include "ui/modal_form.h"

#include <QKeyEvent>
#include <QPushButton>

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
  // Else the toolkit draws one of the buttons as if Enter pressed it wherever the focus is.
  for (QPushButton* button : findChildren<QPushButton*>()) button->setAutoDefault(false);
}

void ModalForm::showEvent(QShowEvent* event) {
  BringBack(parentWidget());
  QDialog::showEvent(event);
}

void ModalForm::keyPressEvent(QKeyEvent* event) {
  const int key = event->key();
  if (key == Qt::Key_Return || key == Qt::Key_Enter) {
    if (auto* button = qobject_cast<QPushButton*>(focusWidget())) button->click();
    return;
  }
  if (key == Qt::Key_Escape) return;
  QDialog::keyPressEvent(event);
}

}  // namespace corvix::ui
