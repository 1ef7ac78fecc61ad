#include "core/table_source.h"

#include "common/error.h"

namespace corvix::core {

RecordSet& TableSource::Records() const {
  if (!Recordset) {
    throw common::Error(common::kObjectNotSet, std::string(common::ErrorText(common::kObjectNotSet)),
                        "table source " + name);
  }
  return *Recordset;
}

}  // namespace corvix::core
