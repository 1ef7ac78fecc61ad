// What the duplicate prompt shows, without saying how: the source record and the target record of one key
// side by side. The prompt reads through three table sources of its own, opened afresh for each showing, so
// that the run's positions stay untouched; nothing is ever stored by showing it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "run/host.h"

namespace corvix::run {

enum class PromptTable { Comps, Central, Target };

/// A place that shows one field: the control's name, and where its text comes from.
struct PromptCell {
  std::string_view control;
  PromptTable table;
  std::string_view field;
};

/// A row of both sides.
struct PromptRow {
  std::string_view caption;
  std::vector<PromptCell> source;
  std::vector<PromptCell> target;
};

/// The rows in their order on the screen.
std::span<const PromptRow> PromptRows();

/// The question and the texts of one showing.
class PromptContents {
 public:
  /// Opens the three tables and looks the session's CurrentKey up in them. Errors as the connections and
  /// lookups raise them.
  explicit PromptContents(Session& session);

  /// "Comp Address '...' was found.  Overwrite?"
  const std::string& question() const { return question_; }
  /// Text of a cell; empty when its record was not found.
  std::string Text(const PromptCell& cell) const;
  /// Whether the target cell at `position` of the row differs from the source cell beside it, blanks at the
  /// ends and ways to write the same date aside. One without a source cell beside it does not.
  bool Differs(const PromptRow& row, std::size_t position) const;

 private:
  bool IsDate(const PromptCell& cell) const;

  std::string question_;
  core::TableSource datcomps_{.name = "datcomps"};
  core::TableSource datcentral_{.name = "datcentral"};
  core::TableSource DATFOLVANE_{.name = "DATFOLVANE", .Connect = "Access 2000;"};
  bool source_found_ = false;
  bool central_found_ = false;
  bool target_found_ = false;
};

}  // namespace corvix::run
