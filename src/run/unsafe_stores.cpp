#include "run/unsafe_stores.h"

#include <algorithm>

namespace corvix::run {
namespace {

bool IsLost(const std::optional<std::int64_t>& mark, std::int64_t checkpoints) {
  return mark && *mark >= checkpoints;
}

bool IsUnsafe(const StoreMarks& marks, std::int64_t checkpoints) {
  return IsLost(marks.row, checkpoints) || IsLost(marks.later, checkpoints) ||
         IsLost(marks.photos, checkpoints);
}

}  // namespace

void UnsafeStores::Add(const RecordEvent& event, const StoreMarks& marks, std::int64_t checkpoints) {
  if (!records_.empty() && !IsUnsafe(records_.back().marks, checkpoints)) records_.clear();
  if (!IsUnsafe(marks, checkpoints)) return;
  records_.push_back({{.number = event.number,
                       .record = event.record,
                       .key = event.key,
                       .outcome = event.outcome,
                       .row = marks.row.has_value(),
                       .photo_lines = event.photo_lines},
                      marks});
}

std::vector<TakenBack> UnsafeStores::Lost(std::int64_t checkpoints) const {
  std::vector<TakenBack> lost;
  for (const Record& record : records_) {
    if (!IsUnsafe(record.marks, checkpoints)) continue;
    TakenBack& taken = lost.emplace_back(record.all);
    taken.row = IsLost(record.marks.row, checkpoints);
    if (!IsLost(record.marks.photos, checkpoints)) taken.photo_lines = 0;
  }
  return lost;
}

}  // namespace corvix::run
