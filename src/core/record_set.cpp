#include "core/record_set.h"

#include "common/error.h"
#include "common/text.h"
#include "core/text_form.h"

namespace corvix::core {

bool RecordSet::ReadText(std::size_t field, std::string& text) const {
  text.clear();
  const Value value = Read(field);
  AppendText(text, value);
  return !IsNull(value);
}

std::string RecordSet::InCapitals(std::string_view key) const { return common::UpperCase(key); }

std::optional<std::string> RecordSet::UnreadableText(std::size_t) const { return std::nullopt; }

std::size_t RequireField(const RecordSet& records, std::string_view name) {
  if (const auto field = records.FindField(name)) return *field;
  throw common::Error(common::kItemNotFound, "The table has no field '" + std::string(name) +
                                                 "'; compare the field lists of both tables");
}

}  // namespace corvix::core
