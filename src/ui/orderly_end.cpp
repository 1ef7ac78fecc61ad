#include "ui/orderly_end.h"

#include <QGuiApplication>
#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace corvix::ui {
namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
int write_end = -1;

void Tell(int) {
  const int code = errno;
  const char byte = 0;
  [[maybe_unused]] const auto written = ::write(write_end, &byte, 1);  // a full pipe tells as well
  errno = code;
}

/// Sets the action where the signal is not ignored.
void SetAction(void (*action)(int)) {
  for (const int signal : kSignals) {
    struct sigaction wanted {};
    ::sigaction(signal, nullptr, &wanted);
    if (wanted.sa_handler == SIG_IGN) continue;
    wanted = {};
    wanted.sa_handler = action;
    wanted.sa_flags = SA_RESTART;
    ::sigaction(signal, &wanted, nullptr);
  }
}

}  // namespace

OrderlyEnd::OrderlyEnd(std::function<void()> end) : end_(std::move(end)) {
  connect(
      qGuiApp, &QGuiApplication::commitDataRequest, this, [this] { end_(); }, Qt::DirectConnection);
  if (::pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;  // signals then end the program as ever
  auto* notifier = new QSocketNotifier(pipe_[0], QSocketNotifier::Read, this);
  connect(notifier, &QSocketNotifier::activated, this, [this] {
    std::array<char, 16> bytes;
    while (::read(pipe_[0], bytes.data(), bytes.size()) > 0) continue;
    end_();
  });
  write_end = pipe_[1];
  SetAction(Tell);
}

OrderlyEnd::~OrderlyEnd() {
  if (pipe_[0] < 0) return;
  SetAction(SIG_DFL);
  for (const int descriptor : pipe_) ::close(descriptor);
}

}  // namespace corvix::ui
