// What the duplicate prompt shows, without saying how: the source record and the target record of one key
// side by side. The prompt looks the key up through table sources of its own, opened afresh for each showing,
// so that the run's positions stay untouched; the central record is the very one that the run stands on,
// which the key would not find where the table holds it in lower case, or twice. Nothing is ever stored by
// showing it.
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
  /// Opens the tables and looks the session's CurrentKey up in them. Errors as the connections and lookups
  /// raise them. The session must outlive the contents.
  explicit PromptContents(Session& session);

  /// "Comp Address '...' was found.  Overwrite?"
  const std::string& question() const { return question_; }
  /// "CENTRAL record 12, COMPS record 7": where the source's files hold the records that are shown; empty
  /// when none was found, or the files number none.
  std::string SourceRecords() const;
  /// Text of a cell; empty when its record was not found.
  std::string Text(const PromptCell& cell) const;
  /// Whether the target cell at `position` of the row differs from the source cell beside it, blanks at the
  /// ends and ways to write the same date aside. One without a source cell beside it does not.
  bool Differs(const PromptRow& row, std::size_t position) const;

 private:
  bool IsDate(const PromptCell& cell) const;

  std::string question_;
  std::string comps_table_;  ///< upper-case name of the table that the comps file name box names
  const core::TableSource& datCentral_;
  core::TableSource datcomps_{.name = "datcomps"};
  core::TableSource DATFOLVANE_{.name = "DATFOLVANE", .Connect = "Access 2000;"};
  bool source_found_ = false;
  bool target_found_ = false;
};

}  // namespace corvix::run
