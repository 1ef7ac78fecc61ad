// What a review of the sources finds: one warning for each kind of finding, field and error, counted, with
// where it was met first.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "common/error.h"

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
  Required,     ///< a field of a new row that must have a value gets none
  FillRefused,  ///< a central value, or its absence, when it would fill an empty field of a row that is there
  Undecodable,  ///< characters that the table's code page does not have
  PhotoListTooLong,  ///< for the field PHOTOS
  ViewAgain,         ///< a view with "|" in its name is added again by each conversion
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
  // reached through it) and in the file of its own table, its key, and the value.
  std::int64_t record = 0;
  std::int64_t source_record = 0;
  std::string key;
  std::string value;
};

class WarningList {
 public:
  /// Where a value stands.
  struct Spot {
    std::string_view table;
    std::string_view field;
    std::int64_t record = 0;
    std::int64_t source_record = 0;
    const std::string& key;
  };

  /// A finding about a field, whether or not values are concerned.
  Warning& Note(Concern concern, std::string_view table, std::string_view field,
                common::ErrorNumber number = 0);
  /// A value more. `error`: what the run meets there.
  void Count(Concern concern, const Spot& spot, const std::string& value, const std::string& why,
             const std::optional<common::Error>& error = {});
  /// All of them, those that end the run first.
  std::vector<Warning> Take();

 private:
  std::map<std::tuple<Concern, std::string, std::string, common::ErrorNumber>, Warning> warnings_;
};

}  // namespace corvix::run
