#include "storage/jet/definition/column_field.h"

namespace corvix::jet {

core::Field FieldOf(const Column& column, const ColumnRules& rules) {
  return {.name = column.name,
          .type = column.FieldType(),
          .size = column.FieldSize(),
          .required = rules.required,
          .allow_zero_length = !column.IsText() || rules.allow_zero_length,
          .autonumber = column.IsAutonumber(),
          .scale = column.scale};
}

}  // namespace corvix::jet
