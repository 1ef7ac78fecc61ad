// Values as JSON: numbers as numbers, currency (four decimals) and decimals as text, dates
// YYYY-MM-DDTHH:MM:SS, Null as null, binary as base64, GUIDs {8-4-4-4-12}. Text keeps every UTF-16 unit: what
// is not ASCII is written as \uXXXX.
#pragma once

#include <string>
#include <string_view>

#include "core/record_set.h"

namespace corvix::core {

void AppendJson(std::string& out, const Value& value);
void AppendJsonText(std::string& out, std::string_view text);

/// The current row as one JSON object, fields in table order, without a line end.
std::string RowAsJson(const RecordSet& records);

}  // namespace corvix::core
