// How the account of one source record is written: some lines for people, one JSON object for programs.
// Previews and reports share it.
#pragma once

#include <string>
#include <string_view>

#include "run/record_account.h"

namespace corvix::cli {

enum class Tense {
  Done,   ///< a conversion tells what it did
  Would,  ///< a preview tells what would be done: a record that was asked about is still open
};

/// "added", "refused", "overwritten", "kept", "skipped_blank", "unreadable" or "would_ask".
std::string_view OutcomeName(const run::RecordEvent& event, Tense tense);

/// The line of the record and, indented, its errors; with `changes` also the changed fields and what was not
/// stored.
std::string RecordText(const run::RecordAccount& account, Tense tense, bool changes);

/// What of a record is not in the database after all.
std::string_view TakenBackWords(const run::TakenBack& record);

/// {"kind": "record", "record": n, "source_record": n, "key", "outcome", "photo_lines", "errors": [{"number",
/// "text"}]}, and with `changes` "changes": [{"row", "added", "fields": [{"field", "old", "new"}]}] and
/// "not_stored": [{"table", "source_record", "field", "value", "why"}].
std::string RecordJson(const run::RecordAccount& account, Tense tense, bool changes);

}  // namespace corvix::cli
