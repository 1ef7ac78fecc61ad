// The progress line of a terminal: bar, count, rate, time left and the key in hand, redrawn in place.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvix::cli {

struct Progress {
  int position = 0;  ///< of the bar, 0 to 100
  std::int64_t records = 0;
  double seconds = 0;  ///< since the start
  std::string_view key;
};

/// The line for a terminal of that many columns. It is shorter than that, so that it never wraps: the key is
/// cut first, then the bar shrinks.
std::string ProgressText(const Progress& progress, std::size_t columns);

class ProgressLine {
 public:
  /// Draws on the descriptor only when it is a terminal.
  explicit ProgressLine(int descriptor);

  /// Draws at most ten times a second, as wide as the terminal is then.
  void Show(int position, std::int64_t records, std::string_view key);
  /// Takes the line off the screen, so that a message can be printed.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  int descriptor_;
  bool visible_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_draw_ = start_;
};

}  // namespace corvix::cli
