#include "ui/message_boxes.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMessageBox>

#include "ui/modal_form.h"
#include "ui/qt_text.h"
#include "ui/version.h"

namespace corvix::ui {
namespace {

/// A box that ends with one of its buttons only: where there is no Cancel, neither Esc nor the close box may
/// answer for the user.
class Question : public QMessageBox {
 public:
  template <class... Arguments>
  explicit Question(Arguments... arguments) : QMessageBox(arguments...) {
    setWindowFlags((windowFlags() | Qt::CustomizeWindowHint) & ~Qt::WindowCloseButtonHint);
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Escape) return;
    QMessageBox::keyPressEvent(event);
  }
  void closeEvent(QCloseEvent* event) override { event->ignore(); }
};

/// Makes the box as wide as lets a window manager show its title whole.
void FitTitle(QMessageBox& box) {
  constexpr int kFrame = 130;  // icon, buttons and margins of a title bar
  auto* grid = qobject_cast<QGridLayout*>(box.layout());
  if (!grid) return;
  const int width = box.fontMetrics().horizontalAdvance(box.windowTitle()) + kFrame;
  grid->addItem(new QSpacerItem(width, 0), grid->rowCount(), 0, 1, grid->columnCount());
}

/// The window that a box is about: one without an owner gets lost behind the others.
QWidget* Owner() {
  if (QWidget* modal = QApplication::activeModalWidget()) return modal;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->isVisible() && qobject_cast<QMainWindow*>(window)) return window;
  }
  return nullptr;
}

template <class Box>
QMessageBox::StandardButton Show(std::chrono::milliseconds reading_time, QMessageBox::Icon icon,
                                 std::string_view title, std::string_view text,
                                 QMessageBox::StandardButtons buttons, QMessageBox::StandardButton first) {
  QWidget* owner = Owner();
  BringBack(owner);
  Box box(icon, ToQt(title), ToQt(text).replace("\r\n", "\n"), buttons, owner);
  new ReadingGuard(box, reading_time);
  box.setTextFormat(Qt::PlainText);
  box.setDefaultButton(first);
  FitTitle(box);
  return static_cast<QMessageBox::StandardButton>(box.exec());
}

}  // namespace

void MessageBoxes::Notice(std::string_view text) {
  Show<QMessageBox>(reading_time_, QMessageBox::NoIcon, kProgramTitle, text, QMessageBox::Ok,
                    QMessageBox::Ok);
}

bool MessageBoxes::AskYesNo(std::string_view text) {
  return Show<Question>(reading_time_, QMessageBox::NoIcon, kProgramTitle, text,
                        QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) == QMessageBox::Yes;
}

common::DeviceAnswer MessageBoxes::AskDevice(std::string_view text) {
  const auto answer =
      Show<Question>(reading_time_, QMessageBox::NoIcon, "Error", text,
                     QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore, QMessageBox::Abort);
  if (answer == QMessageBox::Retry) return common::DeviceAnswer::Retry;
  return answer == QMessageBox::Ignore ? common::DeviceAnswer::Ignore : common::DeviceAnswer::Abort;
}

bool MessageBoxes::AskQuit(std::string_view title, std::string_view text) {
  return Show<Question>(reading_time_, QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No,
                        QMessageBox::Yes) == QMessageBox::Yes;
}

void MessageBoxes::Failure(std::string_view text) {
  Show<QMessageBox>(reading_time_, QMessageBox::Critical, kProgramTitle, text, QMessageBox::Ok,
                    QMessageBox::Ok);
}

}  // namespace corvix::ui
