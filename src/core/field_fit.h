// Fitting a text to the declared size of a field.
#pragma once

#include <string>
#include <string_view>

#include "common/report_error.h"
#include "core/table_source.h"

namespace corvix::core {

/// The name that fitting records in CurrentProc.
inline constexpr common::ProcedureName kTrim2Size = "Trim2Size";

/// `text` without blanks at both ends, cut or padded with blanks on the right to exactly the declared size of
/// the field. 3265: no field of that name.
std::string Trim2Size(const TableSource& source, std::string_view text, std::string_view field_name);

}  // namespace corvix::core
