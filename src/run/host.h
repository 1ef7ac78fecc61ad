// What the driver asks of whoever runs a conversion: the boxes that define it, labels and bar to show
// progress, the dialogs, and a chance to serve events. The window and the terminal implement it; tests script
// it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/dialogs.h"
#include "common/error.h"
#include "core/connections.h"
#include "run/events.h"
#include "run/run_values.h"
#include "run/unsafe_stores.h"
#include "settings/path_strings.h"

namespace corvix::run {

/// A label-like control.
class Label {
 public:
  virtual ~Label() = default;
  virtual void SetTextColour(double colour) = 0;
  virtual void SetCaption(std::string_view caption) = 0;
  virtual std::string Caption() const = 0;
};

/// The progress bar. Setting a value outside its range is error 380.
class Gauge {
 public:
  virtual ~Gauge() = default;
  virtual void SetMaximum(int value) = 0;
  virtual void SetMinimum(int value) = 0;
  virtual void SetValue(int value) = 0;
};

/// The texts of the four boxes that define a conversion.
struct BoxTexts {
  std::string txtCompPath;       ///< source directory
  std::string txtcompfilename;   ///< source comps file
  std::string txtCompsPath;      ///< target directory
  std::string txtcompsfilename;  ///< target file
};

class Host : public common::Dialogs {
 public:
  virtual BoxTexts Boxes() const = 0;

  virtual Label& lblmsg() = 0;      ///< status line
  virtual Label& lblRecord() = 0;   ///< number of the record handled last
  virtual Label& lblAddress() = 0;  ///< its key
  virtual Gauge& gauprogress() = 0;

  virtual void SetBusyPointer(bool busy) = 0;
  /// Puts the keyboard focus on the target file-name box.
  virtual void FocusTargetFileName() = 0;

  /// Shows the duplicate prompt and returns when it is closed; the answer goes to values.AskResult.
  virtual void ShowDuplicatePrompt(RunValues& values) = 0;
  /// Serves pending events once. A request to interrupt is answered in here, through values.EscapeState.
  virtual void Yield(RunValues& values) = 0;
  /// Once more after the last record: a host that serves events less often than it is asked to must serve
  /// all that are pending now, so that no request is lost.
  virtual void LastYield(RunValues& values) { static_cast<void>(values); }
  /// Told once before a run begins, where sources are read by indexes that were built from their records.
  virtual void IndexesRebuilt(const std::vector<RebuiltIndex>& rebuilt);
  /// Told when a run ends before its first record, because the error left it without something that it needs.
  virtual void RunRefused(const common::Error& failure) { static_cast<void>(failure); }
  /// Told once for each source record when it is done, also while an error carries the run out of it: must
  /// not throw.
  virtual void RecordDone(const RecordEvent& event) = 0;
  /// Told at the end, in the order of the records, where what they stored is not in the database after all.
  virtual void RecordTakenBack(const TakenBack& record) { static_cast<void>(record); }
};

/// Everything of one conversion that outlives a run: owned by the host.
struct Session {
  core::DataAccess access;
  core::ConversionSources sources;
  RunValues values;
  settings::PathStrings paths;
  /// The error that ended the last run by its error table or by the user's Abort, where one did; the status
  /// line tells less.
  std::optional<common::Error> ended_by;
  /// Device errors of the run after which a step was left out: such a run is not complete, whatever its end.
  std::int64_t left_out = 0;
  UnsafeStores unsafe;
};

/// One line a table: what is wrong with its index, and that the run goes by its records.
std::string RebuiltIndexText(const std::vector<RebuiltIndex>& rebuilt);

/// Sets the label's text colour (0 is black), then its caption.
void DisplayMessage(Label& target, std::string_view text, double text_colour);

}  // namespace corvix::run
