// The progress line of a terminal: bar, count, rate, time left and the key in hand, redrawn in place.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

namespace corvix::cli {

class ProgressLine {
 public:
  /// Draws on the descriptor only when it is a terminal.
  explicit ProgressLine(int descriptor);

  /// Position 0 to 100, records done and the key. Draws at most ten times a second.
  void Show(int position, std::int64_t records, std::string_view key);
  /// Takes the line off the screen, so that a message can be printed.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  bool visible_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_draw_ = start_;
};

}  // namespace corvix::cli
