// Requests to stop from outside: Ctrl-C asks, an ordered end (SIGTERM, hang-up) stops. The signal only leaves
// a mark; the run looks at it between two records.
#pragma once

namespace corvix::cli {

enum class Interrupt { None, Ask, Stop };  // from the weakest to the strongest

/// While it lives, SIGINT, SIGTERM and SIGHUP are marked instead of ending the program. One at a time. A
/// signal that the program was started to ignore (nohup, say) stays ignored.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// The strongest request since the last call. Two Ctrl-C at once count as a stop.
  static Interrupt Take();
  /// True from the first request to stop on: nobody may be waited for any more.
  static bool StopRequested();
  /// Waits until the descriptor can be read; false when a request comes meanwhile, or none has taken an
  /// earlier one.
  static bool WaitForInput(int descriptor);
};

}  // namespace corvix::cli
