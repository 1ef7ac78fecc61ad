// Requests to stop from outside: Ctrl-C asks, an ordered end (SIGTERM, hang-up) stops. The signal only leaves
// a mark; the run looks at it between two records.
#pragma once

namespace corvix::cli {

enum class Interrupt { None, Ask, Stop };  // from the weakest to the strongest

/// While it lives, SIGINT, SIGTERM and SIGHUP are marked instead of ending the program. One at a time.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// The strongest request since the last call; clears it. A second Ctrl-C is told from the first by asking
  /// again.
  static Interrupt Take();
};

}  // namespace corvix::cli
