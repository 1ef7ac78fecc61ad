// How the warnings and the result of a preview are written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/report_format.h"
#include "run/source_review.h"

namespace corvix::cli {

/// Sizes in bytes.
struct SizeForecast {
  std::uint64_t before = 0;
  std::uint64_t after = 0;
  std::uint64_t copy = 0;   ///< of the database, where one is wanted
  std::uint64_t limit = 0;  ///< of the format
  std::uint64_t free = 0;   ///< on the disk of the target

  std::uint64_t Growth() const { return after > before ? after - before : 0; }
  bool Fits() const { return after <= limit && Growth() + copy <= free; }
};

struct PreviewResult {
  RunResult run;
  std::int64_t would_ask = 0;  ///< a part of the records that are kept
  std::optional<SizeForecast> size;
  std::optional<common::Error> obstacle;        ///< keeps the database from being written
  std::optional<common::Error> review_failure;  ///< the review is not complete
};

std::string WarningsText(const run::Review& review, const PreviewResult& result);
std::string ResultText(const PreviewResult& result);

/// One object a line: {"kind": "warning", "concern", "table", "field", "values", "ends_run", "why", and of
/// the first value "record", "source_record", "key", "value"}. An unreadable value is a warning of its own.
std::string WarningsJson(const run::Review& review, const PreviewResult& result);
/// {"kind": "result", "result", "would_ask", "refused", "summary": {...}, "size": {...}}.
std::string ResultJson(const PreviewResult& result);

}  // namespace corvix::cli
