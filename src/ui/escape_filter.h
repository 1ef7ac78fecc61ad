// One key filter for a whole window: the Esc key, whatever control has the focus. A key held down counts
// once.
#pragma once

#include <QWidget>
#include <functional>

namespace corvix::ui {

class EscapeFilter : public QObject {
 public:
  /// Calls `pressed` for each press while the window itself, not a dialog over it or one of its menus, has
  /// the keyboard.
  EscapeFilter(QWidget& window, std::function<void()> pressed);

  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  QWidget& window_;
  std::function<void()> pressed_;
};

}  // namespace corvix::ui
