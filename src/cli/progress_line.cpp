#include "cli/progress_line.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/shown_text.h"

namespace corvix::cli {
namespace {

constexpr std::size_t kBarWidth = 30;
constexpr std::size_t kLeastBarWidth = 5;
constexpr std::size_t kUsualColumns = 80;
constexpr int kFullPosition = 99;  // what a finished run shows
constexpr auto kInterval = std::chrono::milliseconds(100);

std::string Duration(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

std::string Bar(int position, std::size_t width) {
  const auto filled =
      static_cast<std::size_t>(std::clamp(position, 0, kFullPosition)) * width / kFullPosition;
  return fmt::format("[{:#<{}}{:{}}]", "", filled, "", width - filled);
}

std::size_t ColumnsOf(int terminal) {
  struct winsize size {};
  if (::ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
  return size.ws_col;
}

}  // namespace

std::string ProgressText(const Progress& progress, std::size_t columns) {
  const double rate = progress.seconds > 0 ? static_cast<double>(progress.records) / progress.seconds : 0;
  const std::string left =
      progress.position > 0
          ? Duration(progress.seconds * (kFullPosition - progress.position) / progress.position) + " left"
          : std::string("...");
  const std::string counts =
      fmt::format("{:>2}%  {}  {:.0f}/s  {}", progress.position, progress.records, rate, left);
  const std::size_t room = std::max<std::size_t>(columns, 1) - 1;
  constexpr std::size_t kFrame = 3;  // brackets and a blank
  std::string line;
  if (room >= counts.size() + kFrame + kLeastBarWidth) {
    line = Bar(progress.position, std::min(kBarWidth, room - counts.size() - kFrame)) + " ";
  }
  return FitColumns(line + counts + "  " + ShownText(progress.key), room);
}

ProgressLine::ProgressLine(int descriptor) : descriptor_(descriptor), visible_(::isatty(descriptor) == 1) {}

void ProgressLine::Show(int position, std::int64_t records, std::string_view key) {
  if (!visible_) return;
  const auto now = Clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kInterval;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::fputs(("\r\x1b[K" + ProgressText({position, records, seconds, key}, ColumnsOf(descriptor_))).c_str(),
             stderr);
  drawn_ = true;
}

void ProgressLine::Clear() {
  if (!drawn_) return;
  std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}

}  // namespace corvix::cli
