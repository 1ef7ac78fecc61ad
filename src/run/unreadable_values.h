// Finds the stored values of a source record that are none of their field's type. What can be read of such a
// value is used all the same; the record's account names it. Records whose values are sound cost a look at
// each field that is no text.
#pragma once

#include <vector>

#include "core/table_source.h"
#include "merge/field_pairs.h"
#include "run/events.h"

namespace corvix::run {

class UnreadableValues {
 public:
  /// Of all fields. `source` must be connected, and stay so while this is used.
  explicit UnreadableValues(const core::TableSource& source);
  /// Without the memos that the store rules never store: a merge does not touch their file.
  UnreadableValues(const core::TableSource& source, const merge::FieldPairs& pairs);

  /// Appends those of the current record.
  void AppendTo(std::vector<UnreadableValue>& found) const;

 private:
  const core::TableSource& source_;
  std::vector<std::size_t> fields_;  // those that are no text
};

}  // namespace corvix::run
