#include "core/field_fit.h"

#include "common/text.h"
#include "common/trap.h"

namespace corvix::core {

std::string Trim2Size(const TableSource& source, std::string_view text, std::string_view field_name) {
  std::string result;
  common::Procedure(kTrim2Size, [&](const common::Trap& trap) {
    trap([&] {
      const RecordSet& records = source.Records();
      const auto size = static_cast<std::int16_t>(records.Fields()[RequireField(records, field_name)].size);
      result = common::FitWidth(common::Trim(text), static_cast<std::size_t>(size));
    });
  });
  return result;
}

}  // namespace corvix::core
