#include "cli/interrupt.h"

#include <array>
#include <atomic>
#include <csignal>
#include <poll.h>

namespace corvix::cli {
namespace {

std::atomic<int> interrupts_pending{0};
std::atomic<bool> stop_pending{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler may only touch lock-free atomics");

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, kSignals.size()> previous_actions;

void Mark(int signal) {
  if (signal == SIGINT) {
    interrupts_pending.fetch_add(1);
  } else {
    stop_pending.store(true);
  }
}

}  // namespace

InterruptGuard::InterruptGuard() {
  struct sigaction action {};
  action.sa_handler = Mark;
  interrupts_pending = 0;
  stop_pending = false;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    ::sigaction(kSignals[i], nullptr, &previous_actions[i]);
    if (previous_actions[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &previous_actions[i], nullptr);
}

bool InterruptGuard::StopRequested() { return stop_pending.load(); }

bool InterruptGuard::WaitForInput(int descriptor) {
  sigset_t watched, before;
  ::sigemptyset(&watched);
  for (const int signal : kSignals) ::sigaddset(&watched, signal);
  // Blocked until the wait itself lets them through, so that none falls between the look and the wait.
  ::pthread_sigmask(SIG_BLOCK, &watched, &before);
  pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
  const bool requested = interrupts_pending.load() > 0 || StopRequested();
  const bool readable = !requested && ::ppoll(&input, 1, nullptr, &before) > 0;
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return readable;
}

Interrupt InterruptGuard::Take() {
  const int interrupts = interrupts_pending.exchange(0);
  if (interrupts > 1) stop_pending.store(true);
  if (StopRequested()) return Interrupt::Stop;
  return interrupts == 1 ? Interrupt::Ask : Interrupt::None;
}

}  // namespace corvix::cli
