// The outcome of a whole run: counted from the record events, rendered as text for people and as JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "run/events.h"

namespace corvix::run {

struct Summary {
  /// The error that left the run.
  struct Failure {
    common::ErrorNumber number = 0;
    std::string text;
    std::string procedure;    ///< that recorded its name last
    std::string key;          ///< of the source record in hand
    std::int64_t record = 0;  ///< its number in CENTRAL.DBF
  };

  /// Records that an error concerned, by its number.
  struct Concerned {
    common::ErrorNumber number = 0;
    std::string text;                   ///< of the first
    std::vector<std::string> keys;      ///< of the records
    std::vector<std::int64_t> records;  ///< their numbers in CENTRAL.DBF
  };

  // Each record is counted in exactly one of these; a record that left the run by an error is not in
  // `records` yet.
  std::int64_t added = 0;          ///< rows stored new
  std::int64_t overwritten = 0;    ///< overwrites that were stored
  std::int64_t kept = 0;           ///< records whose row was there and was not overwritten
  std::vector<Concerned> refused;  ///< new rows that were not stored
  std::int64_t skipped_blank = 0;  ///< records without a key
  std::int64_t unreadable = 0;     ///< records whose key could not be read
  std::int64_t taken_back = 0;     ///< added or overwritten, and gone since the database could not be closed

  std::int64_t records = 0;            ///< the number shown last in the record label
  std::int64_t photo_lines = 0;        ///< lines added to photo lists and stored
  std::vector<Concerned> incomplete;   ///< rows that are there, and of which an error left something out
  std::int64_t unreadable_values = 0;  ///< in records that were merged
  std::int64_t left_out = 0;           ///< device errors after which a step was left out
  std::vector<RebuiltIndex> rebuilt_indexes;
  std::vector<std::string> messages;  ///< notices in order
  std::string status;                 ///< last status line
  RunEnd end = RunEnd::Failed;
  double seconds = 0;
  std::optional<Failure> error;

  void Count(const RecordEvent& event);
  void TakeBack(const TakenBack& record);
  std::int64_t Refused() const;
  /// True when the run changed nothing that is still there.
  bool ChangedNothing() const { return added + overwritten + photo_lines == 0; }
};

/// One line: a JSON object with the members of Summary, `error` only where there is one.
std::string ToJson(const Summary& summary);
/// How the run ended: "complete", "stopped at record 12".
std::string EndText(const Summary& summary);
/// Some aligned lines for people.
std::string ToText(const Summary& summary);

/// "'KEY' (CENTRAL record 12)", as far as both are known.
std::string RecordName(std::string_view key, std::int64_t record);
/// "Error # N in module NAME" with the text, and the record where one is known.
std::string FailureText(const Summary::Failure& failure);

}  // namespace corvix::run
