// What a run has stored and is not safe yet: a database that fails goes back to its last checkpoint, and then
// the totals must not tell of rows that are gone. A store is safe as soon as a checkpoint has succeeded
// after it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "run/events.h"

namespace corvix::run {

/// Of the stores of one record: how many checkpoints had succeeded when each was made.
struct StoreMarks {
  std::optional<std::int64_t> row;     ///< the row that the record's outcome tells of
  std::optional<std::int64_t> later;   ///< the last store of what was merged into it later
  std::optional<std::int64_t> photos;  ///< its photo list
};

class UnsafeStores {
 public:
  /// A run begins.
  void Clear() { records_.clear(); }
  /// A record is done; `checkpoints` have succeeded by now.
  void Add(const RecordEvent& event, const StoreMarks& marks, std::int64_t checkpoints);
  /// What is taken back when no further checkpoint succeeds.
  std::vector<TakenBack> Lost(std::int64_t checkpoints) const;

 private:
  struct Record {
    TakenBack all;  // everything that it stored
    StoreMarks marks;
  };
  std::vector<Record> records_;  // those of a checkpoint before are dropped with the next record
};

}  // namespace corvix::run
