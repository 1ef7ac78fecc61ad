// How the texts of a column, or of new columns of a database, are ordered.
#pragma once

#include <cstdint>

#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

struct SortOrder {
  std::uint16_t lcid = kGeneralSortOrder;  ///< language identifier
  std::uint8_t version = 0;
  bool operator==(const SortOrder&) const = default;
  /// The order of Access 2000, the one that keys are computed for.
  bool IsGeneral() const { return lcid == kGeneralSortOrder && version == 0; }
};

}  // namespace corvix::jet
