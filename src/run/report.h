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
    std::string procedure;  ///< that recorded its name last
    std::string key;        ///< of the source record in hand
  };

  std::int64_t records = 0;           ///< the number shown last in the record label
  std::int64_t added = 0;             ///< rows stored new
  std::int64_t overwritten = 0;       ///< overwrites that were stored
  std::int64_t kept = 0;              ///< records whose row was there and was not overwritten
  std::int64_t skipped_blank = 0;     ///< records without a key
  std::int64_t photo_lines = 0;       ///< lines added to photo lists and stored
  std::vector<std::string> messages;  ///< notices in order
  std::string status;                 ///< last status line
  double seconds = 0;
  std::optional<Failure> error;

  void Count(const RecordEvent& event);
};

/// One line: a JSON object with the members of Summary, `error` only where there is one.
std::string ToJson(const Summary& summary);
/// Some aligned lines for people.
std::string ToText(const Summary& summary);

/// "Error # N in module NAME" with the text, and the key where one is known.
std::string FailureText(const Summary::Failure& failure);

}  // namespace corvix::run
