// What a conversion tells about each source record, as data: the window, the terminal and the reports render
// it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/error_numbers.h"

namespace corvix::run {

/// How a run came to its end.
enum class RunEnd {
  Declined,   ///< the backup question was not answered with Yes
  Completed,  ///< past the last record
  Cancelled,  ///< by Esc
  Stopped,    ///< in the duplicate prompt
  Failed,     ///< by an error that the error table or the user's Abort settled, or before it could begin
};

/// Every source record is in exactly one of these classes.
enum class Outcome {
  Blank,        ///< no key: counted, nothing else
  Unreadable,   ///< its key could not be read: nothing else either
  Added,        ///< a new row was stored
  NotAdded,     ///< a new row was refused
  Overwritten,  ///< the row was there and the overwrite was stored
  Kept,         ///< the row was there and was not overwritten, whatever the reason
};

/// A stored value that is none of its field's type, in a record that was merged.
struct UnreadableValue {
  std::string table;
  std::int64_t record = 0;  ///< its number in the table's file
  std::string field;
  std::string text;  ///< the stored characters
  std::string why;   ///< what is wrong with it and what became of it, without a closing period
};

struct RecordEvent {
  std::int64_t number = 0;  ///< of the source record, from 1, in the order of the walk
  std::int64_t record = 0;  ///< its number in CENTRAL.DBF; 0 where the table numbers none
  std::string key;          ///< trimmed, upper-cased
  Outcome outcome = Outcome::Blank;
  bool asked = false;           ///< the duplicate prompt was shown
  int photo_lines = 0;          ///< added to the photo list and stored
  bool merged_central = false;  ///< the central record went through the store rules (merge/store_field.h)
  bool merged_comps = false;    ///< the comps record did
  std::vector<common::ErrorNumber> errors;  ///< every error that reached the run, the silent ones included
  std::vector<std::string> error_texts;     ///< the text of each, with its place
  std::vector<std::string> left_out;        ///< boxes of device errors after which a step was left out
  std::vector<UnreadableValue> unreadable;
};

/// What a record stored and the database does not hold, because it went back to its last checkpoint.
struct TakenBack {
  std::int64_t number = 0;
  std::int64_t record = 0;
  std::string key;
  Outcome outcome = Outcome::Kept;
  bool row = false;     ///< the row that the outcome tells of; otherwise what was merged into it later
  int photo_lines = 0;  ///< of its photo list
};

/// A source whose index CENTRALKEY is not used, because it is not that of its table.
struct RebuiltIndex {
  std::string table;
  std::string why;  ///< without a closing period
};

}  // namespace corvix::run
