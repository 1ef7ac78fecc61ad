#include "merge/table_merge.h"

#include "common/text.h"
#include "common/trap.h"
#include "core/lookup.h"
#include "merge/store_field.h"

namespace corvix::merge {
namespace {

using common::Procedure;
using common::Trap;
using core::GetFieldData;

std::int16_t FieldCount(const core::TableSource& source) {
  return static_cast<std::int16_t>(source.Records().Fields().size());
}

std::string_view FieldName(const core::TableSource& source, std::int16_t index) {
  return source.Records().Fields()[static_cast<std::size_t>(index)].name;
}

}  // namespace

void MergeData(core::TableSource& source, core::TableSource& target, std::string_view mode) {
  Procedure("MergeData", [&](const Trap& trap) {
    std::int16_t count = 0;
    trap([&] { count = FieldCount(source); });
    if (!common::EqualIgnoringCase(mode, kReplace)) return;
    for (std::int16_t index = 0; index < count; ++index) {
      std::string_view name;
      trap([&] { name = common::Trim(FieldName(source, index)); });
      std::string value = GetFieldData(source, name);
      if (value.empty()) continue;
      if (common::EqualIgnoringCase(name, core::kCentralKey) &&
          !GetFieldData(target, core::kCentralKey).empty()) {
        continue;
      }
      trap([&] { StoreFolvaneField(target, name, value); });
    }
  });
}

void MergeCentralData(core::TableSource& central, core::TableSource& target, std::string_view mode) {
  Procedure("MergeCentralData", [&](const Trap& trap) {
    std::int16_t count = 0;
    trap([&] { count = FieldCount(central); });
    const bool replace_all = common::EqualIgnoringCase(mode, kReplace);
    for (std::int16_t index = 0; index < count; ++index) {
      std::string_view name;
      trap([&] { name = FieldName(central, index); });
      std::string source_text = GetFieldData(central, name);
      if (!replace_all && !GetFieldData(target, name).empty()) continue;
      trap([&] {
        core::RecordSet& records = target.Records();
        // A field that the target lacks is skipped; asking first spares an exception for every record.
        if (const auto field = records.FindField(name))
          records.Write(*field, core::Value(std::move(source_text)));
      });
    }
  });
}

}  // namespace corvix::merge
