#include "cli/progress_line.h"

#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

#include "cli/shown_text.h"

namespace corvix::cli {
namespace {

constexpr int kBarWidth = 30;
constexpr int kFullPosition = 99;  // what a finished run shows
constexpr auto kInterval = std::chrono::milliseconds(100);

std::string Duration(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

ProgressLine::ProgressLine(int descriptor) : visible_(::isatty(descriptor) == 1) {}

void ProgressLine::Show(int position, std::int64_t records, std::string_view key) {
  if (!visible_) return;
  const auto now = Clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kInterval;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const double rate = elapsed > 0 ? static_cast<double>(records) / elapsed : 0;
  const int filled = position * kBarWidth / kFullPosition;
  const std::string left =
      position > 0 ? Duration(elapsed * (kFullPosition - position) / position) + " left" : std::string("...");
  std::fputs(fmt::format("\r\x1b[K[{:#<{}}{:{}}] {:>2}%  {}  {:.0f}/s  {}  {}", "", filled, "",
                         kBarWidth - filled, position, records, rate, left, ShownText(key))
                 .c_str(),
             stderr);
  drawn_ = true;
}

void ProgressLine::Clear() {
  if (!drawn_) return;
  std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}

}  // namespace corvix::cli
