// The rule that turns a record count into a position of the progress bar.
#pragma once

#include <cstdint>

#include "run/host.h"

namespace corvix::run {

/// Range 0 to 100.
void InitProgressBar(Gauge& gauge);

/// Sets the bar to the whole part of count / total × 99.9, so that a finished run shows 99. A value outside
/// the range leaves the bar where it was; a total of 0 is an error that goes through the common reporter.
void SetGaugeValue(Gauge& gauge, float count, std::int32_t total_count);

}  // namespace corvix::run
