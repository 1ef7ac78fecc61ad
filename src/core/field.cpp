#include "core/field.h"

namespace corvix::core {

std::string_view FieldTypeName(FieldType type) {
  switch (type) {
    case FieldType::YesNo:
      return "yes/no";
    case FieldType::Byte:
      return "byte";
    case FieldType::Integer:
      return "integer";
    case FieldType::Long:
      return "long integer";
    case FieldType::Currency:
      return "currency";
    case FieldType::Single:
      return "single";
    case FieldType::Double:
      return "double";
    case FieldType::Date:
      return "date/time";
    case FieldType::Binary:
      return "binary";
    case FieldType::Text:
      return "text";
    case FieldType::LongBinary:
      return "OLE object";
    case FieldType::Memo:
      return "memo";
    case FieldType::Guid:
      return "GUID";
    case FieldType::BigInteger:
      return "big integer";
    case FieldType::VarBinary:
      return "variable binary";
    case FieldType::FixedChar:
      return "fixed character";
    case FieldType::Numeric:
      return "numeric";
    case FieldType::Decimal:
      return "decimal";
    case FieldType::Float:
      return "float";
    case FieldType::Time:
      return "time";
    case FieldType::TimeStamp:
      return "time stamp";
  }
  return "unknown";
}

}  // namespace corvix::core
