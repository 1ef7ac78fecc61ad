#include "run/unreadable_values.h"

#include <fmt/format.h>

#include "common/error.h"
#include "common/text.h"
#include "core/lookup.h"

namespace corvix::run {
namespace {

std::string_view WantedOf(core::FieldType type) {
  switch (type) {
    case core::FieldType::Date:
    case core::FieldType::TimeStamp:
      return "no date";
    case core::FieldType::YesNo:
      return "neither true nor false";
    case core::FieldType::Memo:
    case core::FieldType::LongBinary:
      return "no place of a memo";
    default:
      return "no number";
  }
}

std::string WhatBecameOf(const core::Field& field, const std::string& read) {
  return fmt::format("{}; {}", WantedOf(field.type),
                     read.empty() ? "it counts as empty" : fmt::format("'{}' was read of it", read));
}

}  // namespace

UnreadableValues::UnreadableValues(const core::TableSource& source) : source_(source) {
  const auto fields = source.Records().Fields();
  for (std::size_t field = 0; field < fields.size(); ++field) {
    if (fields[field].type != core::FieldType::Text) fields_.push_back(field);
  }
}

UnreadableValues::UnreadableValues(const core::TableSource& source, const merge::FieldPairs& pairs)
    : UnreadableValues(source) {
  const auto fields = source.Records().Fields();
  for (const merge::FieldPair& pair : pairs) {
    if (pair.rule != merge::StoreRule::Nothing) continue;
    if (fields[pair.listed_at].type == core::FieldType::Memo) std::erase(fields_, pair.listed_at);
  }
}

void UnreadableValues::AppendTo(std::vector<UnreadableValue>& found) const {
  const core::RecordSet& records = source_.Records();
  if (!records.HasRow()) return;
  for (const std::size_t position : fields_) {
    const core::Field& field = records.Fields()[position];
    const auto note = [&](std::string text, std::string why) {
      found.push_back({source_.RecordSource, records.RecordNumber(), std::string(common::Trim(field.name)),
                       std::move(text), std::move(why)});
    };
    try {
      auto text = records.UnreadableText(position);
      if (!text) continue;
      std::string read;
      core::GetFieldData(source_, position, read);
      note(*std::move(text), WhatBecameOf(field, read));
    } catch (const common::Error& error) {
      note({}, std::string("cannot be read: ") + error.what());
    }
  }
}

}  // namespace corvix::run
