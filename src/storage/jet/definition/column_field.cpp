#include "storage/jet/definition/column_field.h"

namespace corvix::jet {
namespace {

core::FieldType FieldTypeOf(const Column& column) {
  return column.type == ColumnType::Decimal ? core::FieldType::Decimal
                                            : static_cast<core::FieldType>(column.type);
}

std::int32_t FieldSizeOf(const Column& column) {
  switch (column.type) {
    case ColumnType::YesNo:
      return 1;
    case ColumnType::Text:
      return column.length / 2;
    case ColumnType::Memo:
    case ColumnType::Ole:
      return 0;
    default:
      return column.length;
  }
}

}  // namespace

core::Field FieldOf(const Column& column, const ColumnRules& rules) {
  const bool is_text = column.type == ColumnType::Text || column.type == ColumnType::Memo;
  return {.name = column.name,
          .type = FieldTypeOf(column),
          .size = FieldSizeOf(column),
          .required = rules.required,
          .allow_zero_length = !is_text || rules.allow_zero_length,
          .autonumber = column.IsAutonumber(),
          .scale = column.scale};
}

}  // namespace corvix::jet
