#include "ui/escape_filter.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>
#include <utility>

namespace corvix::ui {

EscapeFilter::EscapeFilter(QWidget& window, std::function<void()> pressed)
    : QObject(&window), window_(window), pressed_(std::move(pressed)) {
  QApplication::instance()->installEventFilter(this);
}

bool EscapeFilter::eventFilter(QObject* receiver, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return false;
  const auto* key = static_cast<QKeyEvent*>(event);
  const auto* widget = qobject_cast<QWidget*>(receiver);
  if (key->key() != Qt::Key_Escape || !widget || widget->window() != &window_) return false;
  if (qobject_cast<const QMenuBar*>(widget)) return false;  // leaves the menu bar
  if (!key->isAutoRepeat()) pressed_();
  return true;
}

}  // namespace corvix::ui
