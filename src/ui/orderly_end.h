// Requests from outside that the program ends: SIGINT, SIGTERM, the terminal's hang-up, and the desktop at
// log-out. They are told in the event loop, where windows may be touched.
#pragma once

#include <QObject>
#include <array>
#include <functional>

namespace corvix::ui {

class OrderlyEnd : public QObject {
 public:
  /// While it lives, `end` is called for each request. One at a time. A signal that the program was started
  /// to ignore (nohup, say) stays ignored.
  explicit OrderlyEnd(std::function<void()> end);
  ~OrderlyEnd() override;

 private:
  std::function<void()> end_;
  std::array<int, 2> pipe_{-1, -1};  // the signal handler writes, the event loop reads
};

}  // namespace corvix::ui
