#include "ui/reading_guard.h"

#include <QApplication>
#include <QKeyEvent>

namespace corvix::ui {
namespace {

/// Keys that move the focus or the cursor may be held down.
bool Moves(int key) {
  return key == Qt::Key_Tab || key == Qt::Key_Backtab || (key >= Qt::Key_Home && key <= Qt::Key_PageDown);
}

/// Whether the event can answer a dialog. Of a key or click that is kept from it at the press, the release
/// does nothing. Only a close request from outside is one of a person.
bool CanAnswer(const QEvent& event) {
  switch (event.type()) {
    case QEvent::KeyPress:
    case QEvent::ShortcutOverride:  // the same press, before it counts as a shortcut; taken, it does not
    case QEvent::Shortcut:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::TouchBegin:
      return true;
    case QEvent::Close:
      return event.spontaneous();
    default:
      return false;
  }
}

}  // namespace

ReadingGuard::ReadingGuard(QWidget& dialog, std::chrono::milliseconds reading_time)
    : QObject(&dialog), dialog_(dialog), reading_time_(reading_time) {
  QApplication::instance()->installEventFilter(this);
}

bool ReadingGuard::IsHeldDown(const QKeyEvent& key) const {
  if (Moves(key.key())) return false;
  // X repeats a key as a release and a press at the same moment; the toolkit takes the two for one repetition
  // only where they come together.
  return key.isAutoRepeat() ||
         (key.timestamp() != 0 && key.timestamp() == released_at_ && key.nativeScanCode() == released_key_);
}

bool ReadingGuard::MayPass(const QEvent& event) const {
  if (!CanAnswer(event)) return true;
  const bool press = event.type() == QEvent::KeyPress || event.type() == QEvent::ShortcutOverride;
  if (press && IsHeldDown(static_cast<const QKeyEvent&>(event))) return false;
  return Clock::now() - shown_ >= reading_time_;
}

bool ReadingGuard::eventFilter(QObject* receiver, QEvent* event) {
  const auto* widget = qobject_cast<QWidget*>(receiver);
  if (!widget || widget->window() != &dialog_) return false;
  if (event->type() == QEvent::Paint && !painted_) {
    painted_ = true;
    shown_ = Clock::now();
  } else if (event->type() == QEvent::KeyRelease) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    released_key_ = key.nativeScanCode();
    released_at_ = key.timestamp();
  }
  if (MayPass(*event)) return false;
  event->setAccepted(event->type() != QEvent::Close);
  return true;
}

}  // namespace corvix::ui
