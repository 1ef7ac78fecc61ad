// What becomes of one source value, told without storing it: previews warn with it, reports explain with it
// what did not arrive. The two ways by which values travel are judged apart: the store rules
// (merge/store_field.h), and the plain assignment that fills an empty field of a row that is there
// (merge::MergeCentralData).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/error.h"
#include "core/record_set.h"

namespace corvix::run {

enum class Fate {
  Stored,
  Cut,          ///< a text longer than the field: the rest is lost
  Sentinel,     ///< a sale date that is no date: SaleSerial gets the sentinel's number, SaleDate stays
  NotADate,     ///< for a date field; it keeps what it has
  NeverStored,  ///< the field's type takes nothing; it keeps what it has
  Refused,      ///< an error, told in ValueFate::error
};

struct ValueFate {
  Fate fate = Fate::Stored;
  const core::Field* field = nullptr;  ///< of the target; none when the target lacks it
  std::optional<common::Error> error;
};

/// The fate of a source value that is not empty under the store rules. A key is not judged: whether it is
/// stored depends on the row.
ValueFate FateOf(const core::RecordSet& target, std::string_view name, const std::string& value);

/// The error of a plain assignment, none when it succeeds.
std::optional<common::Error> AssignmentError(const core::Field& field, const std::string& value);

/// True when the run does not settle an error of this number by itself while it merges a record.
bool EndsRun(common::ErrorNumber number);

/// Why the value is not stored, or not all of it; empty for Stored. Without a closing period.
std::string Explain(const ValueFate& fate);

}  // namespace corvix::run
