// Keeps a dialog from being answered by keys and clicks that were meant for what the screen showed before it:
// for a moment after it appears it takes none, and a key that is held down never answers.
#pragma once

#include <QWidget>
#include <chrono>

class QKeyEvent;

namespace corvix::ui {

/// Long enough to see that a question has come, too short to be waited for.
inline constexpr std::chrono::milliseconds kReadingTime{300};

class ReadingGuard : public QObject {
 public:
  /// Guards `dialog`, and belongs to it. The moment begins when the dialog is first painted.
  ReadingGuard(QWidget& dialog, std::chrono::milliseconds reading_time);

  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  using Clock = std::chrono::steady_clock;

  /// Whether the event is the repetition of a key that is held down and does more than move.
  bool IsHeldDown(const QKeyEvent& key) const;
  bool MayPass(const QEvent& event) const;

  QWidget& dialog_;
  std::chrono::milliseconds reading_time_;
  Clock::time_point shown_ = Clock::now();
  bool painted_ = false;
  quint32 released_key_ = 0;  ///< scan code of the key released last
  quint64 released_at_ = 0;   ///< the window system's time, 0 where it gives none
};

}  // namespace corvix::ui
