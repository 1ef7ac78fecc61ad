// The application, whose event loop survives a handler that fails: the failure is told, and the program goes
// on. Actions that know better what to do about an error handle it themselves (MainWindow::Act); here ends
// what nobody foresaw, such as memory that runs out while a dialog is built.
#pragma once

#include <QApplication>
#include <exception>
#include <functional>

namespace corvix::ui {

class Application : public QApplication {
 public:
  using QApplication::QApplication;

  bool notify(QObject* receiver, QEvent* event) override;

  /// Tells about a failure. Not called for those that come while it runs: telling may fail in the same way.
  std::function<void(const std::exception& failure)> on_failure;

 private:
  bool telling_ = false;
};

}  // namespace corvix::ui
