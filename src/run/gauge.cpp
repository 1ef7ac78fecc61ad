#include "run/gauge.h"

#include <cmath>

#include "common/trap.h"

namespace corvix::run {
namespace {

using common::Action;
using common::Error;

constexpr double kFull = 99.9;
constexpr common::ErrorNumber kBarRefused = 31008;

std::optional<Action> IgnoreOutOfRange(const Error& error) {
  if (error.number() == common::kInvalidPropertyValue || error.number() == kBarRefused) return Action::Skip;
  return std::nullopt;
}

/// Position for a count. 11: total 0 (6 for 0 of 0). 380: beyond what a bar can take.
int Position(float count, std::int32_t total_count) {
  if (total_count == 0) throw Error(count == 0 ? common::kOverflow : common::kDivisionByZero);
  const double position = std::floor(static_cast<double>(count) / total_count * kFull);
  if (!(std::abs(position) <= 32767)) throw Error(common::kInvalidPropertyValue);
  return static_cast<int>(position);
}

}  // namespace

void InitProgressBar(Gauge& gauge) {
  gauge.SetMaximum(100);
  gauge.SetMinimum(0);
}

void SetGaugeValue(Gauge& gauge, float count, std::int32_t total_count) {
  const common::Rules rules = IgnoreOutOfRange;
  common::Procedure(
      "SetGaugeValue",
      [&](const common::Trap& trap) { trap([&] { gauge.SetValue(Position(count, total_count)); }); }, rules);
}

}  // namespace corvix::run
