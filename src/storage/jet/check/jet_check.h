// Checks every structure of a database file: the header, who owns which page, usage maps, definitions, rows,
// long values, index trees against the rows of their tables, the catalogue. Each page is read a bounded
// number of times and memory does not grow with the number of rows; whatever the bytes are, the check ends
// with a report.
//
// docs/formats/jet4.md, "What is checked", lists it all.
//
// A problem is something that the format forbids. A note is something worth knowing that is allowed or
// harmless: lost pages, counters that real engines leave too low. Default values and validation rules that
// are not evaluated here are no fault either; new rows will lack what they ask for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

class Pager;

struct Finding {
  PageNumber page = 0;
  std::string text;  ///< names table, row or index; without a closing period
};

struct CheckReport {
  std::vector<Finding> problems;
  std::vector<Finding> notes;
  std::vector<Finding> unevaluated;
  /// Problems and notes beyond the limit, which are counted only.
  std::size_t problems_left_out = 0;
  std::size_t notes_left_out = 0;

  std::size_t pages = 0;
  std::size_t free_pages = 0;
  std::size_t lost_pages = 0;  ///< neither free nor owned
  std::size_t tables = 0;
  std::size_t rows = 0;
  std::size_t moved_rows = 0;
  std::size_t long_values = 0;
  std::size_t indexes = 0;
  std::size_t index_entries = 0;

  bool IsClean() const { return problems.empty(); }
};

struct CheckOptions {
  std::size_t max_findings = 500;  ///< of each kind
  /// Only what storing into this table relies on (RequireSoundTable).
  std::optional<std::string_view> stored_into{};
};

/// Reads through the pager and changes nothing. Errors of the device pass through; damage is in the report.
CheckReport CheckDatabase(Pager& pager, const CheckOptions& options = {});

/// Error 3049, with the first fault and its page, unless rows can be stored into the table: the catalogue,
/// the maps and owners of all pages, and definition, rows and indexes of the table are sound. What is only
/// said of the rows, their number and the last one given out, does not count, nor do rows and indexes of
/// other user tables.
void RequireSoundTable(Pager& pager, std::string_view table);

}  // namespace corvix::jet
