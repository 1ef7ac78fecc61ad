// What merging photos into a target row will meet: fields that it needs and does not find, a list that
// outgrows its field, views that their own name keeps from being known again. Nothing is written.
#pragma once

#include <cstdint>
#include <string>

#include "core/table_source.h"
#include "run/review_warnings.h"

namespace corvix::run {

class PhotoReview {
 public:
  /// All must outlive this; the sources are connected.
  PhotoReview(core::TableSource& photo, const core::TableSource& target, WarningList& warnings)
      : photo_(photo), target_(target), warnings_(warnings) {}

  /// The photos of `key` are merged into the target's current row (`row_is_there`) or a new one. The warnings
  /// name the central record by its number in the walk and its key as it stands there.
  void Review(const std::string& key, bool row_is_there, std::int64_t number, const std::string& exact);

 private:
  /// The assignment of a text to a field of the target.
  void CheckField(std::string_view field, const std::string& text, const WarningList::Spot& spot);

  core::TableSource& photo_;
  const core::TableSource& target_;
  WarningList& warnings_;
};

}  // namespace corvix::run
