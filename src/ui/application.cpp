#include "ui/application.h"

#include <cstdio>

namespace corvix::ui {

bool Application::notify(QObject* receiver, QEvent* event) {
  try {
    return QApplication::notify(receiver, event);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "corvix: %s\n", failure.what());
    if (telling_ || !on_failure) return true;
    telling_ = true;
    try {
      on_failure(failure);
    } catch (const std::exception& second) {
      std::fprintf(stderr, "corvix: %s\n", second.what());
    }
    telling_ = false;
  }
  return true;
}

}  // namespace corvix::ui
