// A look at all source records before a run: which of their values will not arrive, which will end the run,
// and what is wrong with their keys. Nothing is written.
//
// The review follows the driver's decisions record by record: which rows are new, which are overwritten, and
// so which records go through the store rules. It looks at every record, also behind one that would end the
// run, so that all such records can be put right at once. What the run itself changes on its way (a row that
// a unique index refuses, a key that a narrower table cuts) is for the preview to tell.
#pragma once

#include <cstdint>
#include <vector>

#include "run/host.h"
#include "run/review_warnings.h"

namespace corvix::run {

struct Review {
  std::vector<Warning> warnings;  ///< those that end the run first
  std::vector<UnreadableValue> unreadable;
  std::vector<RebuiltIndex> rebuilt;
  std::int64_t comps_left = 0;  ///< comps records that no central record reaches
};

/// Opens the tables of the boxes for itself. DupMode and ConvertPhotosFlag of the values count; where the run
/// would ask, the answer is taken to be Yes. Errors as the engine raises them.
Review ReviewSources(core::TableEngine& engine, const BoxTexts& boxes, const RunValues& values);

}  // namespace corvix::run
