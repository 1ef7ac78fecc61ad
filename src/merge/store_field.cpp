#include "merge/store_field.h"

#include "common/trap.h"
#include "core/field_fit.h"
#include "core/lookup.h"
#include "core/text_form.h"
#include "merge/dates.h"

namespace corvix::merge {

using core::FieldType;
using core::Value;

void StoreFolvaneField(core::TableSource& target, std::string_view field_name, std::string& data) {
  common::Procedure("StoreFolvaneField", [&](const common::Trap& trap) {
    if (field_name == "SALEDATE") {
      trap([&] { SetSaleDate(target, data); });
      return;
    }
    if (field_name == core::kCentralKey && !core::GetFieldData(target, core::kCentralKey).empty()) return;
    std::size_t field = 0;
    FieldType type{};
    trap([&] {
      core::RecordSet& records = target.Records();
      field = core::RequireField(records, field_name);
      type = records.Fields()[field].type;
    });
    trap([&] {
      core::RecordSet& records = target.Records();
      switch (type) {
        case FieldType::Text:
          records.Write(field, Value(core::Trim2Size(target, data, field_name)));
          break;
        case FieldType::Single:
          records.Write(field, Value(core::ToSingle(data)));
          break;
        case FieldType::Double:
          records.Write(field, Value(core::ToDouble(data)));
          break;
        case FieldType::Date:
          if (IsDate(data)) records.Write(field, Value(core::ToDate(data)));
          break;
        default:
          break;  // the target keeps what it has
      }
    });
  });
}

}  // namespace corvix::merge
