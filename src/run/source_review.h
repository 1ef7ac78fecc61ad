// A look at all source records before a run: which of their values will not arrive, which will end the run,
// and what is wrong with their keys. Nothing is written.
//
// The review follows the driver's decisions record by record: which rows are new, which are overwritten, and
// so which records go through the store rules. It looks at every record, also behind one that would end the
// run, so that all such records can be put right at once. What the run itself changes on its way (a row that
// a unique index refuses, a key that a narrower table cuts) is for the preview to tell.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "run/host.h"

namespace corvix::run {

enum class Concern {
  // Fields: these are told even when no value is concerned.
  NoTargetField,  ///< values under the store rules end the run
  NeverStored,    ///< by the target field's type
  // Values.
  Cut,
  Sentinel,
  NotADate,
  Refused,      ///< by an error of the store rules
  FillRefused,  ///< a central value, or its absence, when it would fill an empty field of a row that is there
  Undecodable,  ///< characters that the table's code page does not have
  // Keys of the central table.
  BlankKey,
  LongKey,      ///< wider than the target's key
  RepeatedKey,  ///< the same key once more
  CaseKey,      ///< the same key in other letter case
  CutKey,       ///< another key that is the same once it is cut to the target's width
};

/// A word for machines: "no_target_field".
std::string_view ConcernName(Concern concern);

/// One kind of finding for one field, with how often and where first.
struct Warning {
  Concern concern{};
  std::string table;
  std::string field;
  std::int64_t values = 0;
  bool ends_run = false;
  std::string why;  ///< without a closing period
  // Of the first value: the record's number in the walk over the central table (0 for a record that is not
  // reached through it), its key, and the value.
  std::int64_t record = 0;
  std::string key;
  std::string value;
};

struct Review {
  std::vector<Warning> warnings;  ///< those that end the run first
  std::int64_t comps_left = 0;    ///< comps records that no central record reaches
};

/// Opens the tables of the boxes for itself. DupMode and ConvertPhotosFlag of the values count; where the run
/// would ask, the answer is taken to be Yes. Errors as the engine raises them.
Review ReviewSources(core::TableEngine& engine, const BoxTexts& boxes, const RunValues& values);

}  // namespace corvix::run
