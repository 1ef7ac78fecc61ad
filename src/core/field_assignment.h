// Plain assignment: what happens when a value is assigned to a field of the row being written. The value is
// converted to the field's type as the engine does it; every record set that can be written uses this.
#pragma once

#include "core/field.h"
#include "core/value.h"

namespace corvix::core {

/// The value to keep for `field`. Text is converted to the field's type; Null stays Null (a yes/no field
/// takes false). Errors, the field's name in the text: 3421 the value does not convert or is out of range,
/// 3163 text longer than the field, 3315 empty text where the field refuses it, 3164 the field fills itself.
Value ConvertForField(const Field& field, Value value);

}  // namespace corvix::core
