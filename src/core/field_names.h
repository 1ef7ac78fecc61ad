// Finds fields by name without regard to case: a hash table over the names of one table. Looking up an ASCII
// name allocates nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/field.h"

namespace corvix::core {

class FieldNames {
 public:
  /// `fields` must outlive this.
  explicit FieldNames(std::span<const Field> fields);

  std::optional<std::size_t> Find(std::string_view name) const;

 private:
  std::span<const Field> fields_;
  std::vector<std::uint16_t> slots_;  // a power of two of them; position + 1, 0 = free
};

}  // namespace corvix::core
