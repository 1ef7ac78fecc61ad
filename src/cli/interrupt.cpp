#include "cli/interrupt.h"

#include <array>
#include <atomic>
#include <csignal>

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
  action.sa_handler = Mark;  // no SA_RESTART: a read that waits for an answer must return
  for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &action, &previous_actions[i]);
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &previous_actions[i], nullptr);
}

Interrupt InterruptGuard::Take() {
  const int interrupts = interrupts_pending.exchange(0);
  if (stop_pending.exchange(false) || interrupts > 1) return Interrupt::Stop;
  return interrupts == 1 ? Interrupt::Ask : Interrupt::None;
}

}  // namespace corvix::cli
