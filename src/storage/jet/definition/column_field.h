// A column as the table operations show it: its definition together with the rules among its properties.
#pragma once

#include "core/field.h"
#include "storage/jet/definition/property_map.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet {

core::Field FieldOf(const Column& column, const ColumnRules& rules);

}  // namespace corvix::jet
