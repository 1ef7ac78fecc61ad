#include "storage/jet/open_row.h"

#include <algorithm>
#include <string>
#include <utility>

#include "storage/jet/rows/long_value.h"

namespace corvix::jet {

void OpenRow::Assign(std::span<const core::Value> from, const ColumnSet& changed) {
  incoming.resize(from.size());
  for (std::size_t i = 0; i < from.size(); ++i) {
    if (changed[i]) incoming[i] = from[i];
  }
  for (std::size_t i = 0; i < from.size(); ++i) {  // nothing fails from here on
    if (changed[i]) std::swap(values[i], incoming[i]);
  }
  unwritten |= changed;
}

std::optional<std::size_t> RoomFor(const TableRows& rows, const Column& column, const core::Value& value) {
  const ColumnTypeInfo& type = InfoOf(column.type);
  if (!type.text) {
    const bool is_short = column.type == ColumnType::YesNo || (type.size != 0 && type.size <= sizeof(double));
    return is_short ? std::optional(sizeof(double)) : std::nullopt;
  }
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) return 0;                   // Null
  const std::size_t bytes = 2 * text->size() + 2;  // at most, with the mark of compressed text
  if (!type.long_value) return bytes;
  if (bytes > kMaxInlineValue && !rows.StoresLongValues(column)) return std::nullopt;
  return kLongValueHead + std::min(bytes, kMaxInlineValue);
}

}  // namespace corvix::jet
