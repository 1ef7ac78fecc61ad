#include "storage/jet/pages/damage.h"

#include <fmt/format.h>

#include "common/error.h"

namespace corvix::jet {

std::string Place::ToString() const {
  std::string text;
  if (file != nullptr) text = file->string() + ", ";
  text += fmt::format("page {}", page);
  if (row) text += fmt::format(", row {}", *row);
  return text;
}

void ThrowDamaged(const Place& place, const std::string& text) {
  throw common::Error(common::kDamagedDatabase, text, place.ToString());
}

}  // namespace corvix::jet
