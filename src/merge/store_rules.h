// The store rules: what becomes of one source text in one target field, decided without storing anything. The
// merges carry a decision out (store_field.h); previews warn with it, reports explain with it what did not
// arrive, and the duplicate prompt marks with it what an overwrite would change.
//
//   text      the text without blanks at both ends, cut or padded to the field's size
//   single,   the number that the text is; error 13 where it is none, 6 where it is too large
//   double
//   date      the date, if the text is one; otherwise the field keeps what it has
//   SALEDATE  SaleDate as month/day/year, or SaleSerial as the sentinel's day number
//   others    nothing: the field keeps what it has
//
// A central record that fills a row that is there goes another way: plain assignment (AssignmentError).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/error.h"
#include "core/value.h"
#include "merge/field_pairs.h"

namespace corvix::merge {

enum class Fate {
  Stored,
  Cut,          ///< a text longer than the field: the rest is lost
  Sentinel,     ///< a sale date that is no date: SaleSerial gets the sentinel's number, SaleDate stays
  NotADate,     ///< for a date field; it keeps what it has
  NeverStored,  ///< the field's type takes nothing; it keeps what it has
  Refused,      ///< an error
};

struct Decision {
  Fate fate = Fate::Stored;
  TargetField target;                  ///< the field concerned; none when the target lacks it
  std::optional<core::Value> value;    ///< to be assigned to it; none: it keeps what it has
  std::optional<common::Error> error;  ///< raised instead of assigning
};

/// What becomes of a text that is not empty. Whether the key is stored at all depends on the row and is not
/// decided here. Records the names of the date procedures that it uses in CurrentProc.
Decision Decide(const FieldPair& pair, std::string_view text);

/// The rule of SALEDATE alone.
Decision DecideSaleDate(const TargetField& sale_date, const TargetField& sale_serial, std::string_view text);

/// The error of a plain assignment, none when it succeeds.
std::optional<common::Error> AssignmentError(const core::Field& field, const std::string& text);

/// Why the value is not stored, or not all of it; empty for Stored. Without a closing period.
std::string Explain(const Decision& decision);

}  // namespace corvix::merge
