#include "core/field_names.h"

#include <bit>

#include "common/text.h"

namespace corvix::core {
namespace {

/// Equal for names that differ only in case: letters beyond ASCII, whose case takes a table, are left out.
std::size_t Hash(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) hash = (hash ^ (byte | 0x20u)) * 16777619u;
  }
  return hash ^ hash >> 15;
}

}  // namespace

FieldNames::FieldNames(std::span<const Field> fields)
    : fields_(fields), slots_(std::bit_ceil(2 * fields.size() + 1)) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    std::size_t slot = Hash(fields[i].name) & (slots_.size() - 1);
    while (slots_[slot] != 0) slot = (slot + 1) & (slots_.size() - 1);
    slots_[slot] = static_cast<std::uint16_t>(i + 1);
  }
}

std::optional<std::size_t> FieldNames::Find(std::string_view name) const {
  for (std::size_t slot = Hash(name) & (slots_.size() - 1); slots_[slot] != 0;
       slot = (slot + 1) & (slots_.size() - 1)) {
    const std::size_t position = slots_[slot] - 1u;
    if (common::EqualIgnoringCase(fields_[position].name, name)) return position;
  }
  return std::nullopt;
}

}  // namespace corvix::core
