// Checks a table definition: that its bytes are what its contents say, and that its columns and indexes do
// not contradict each other.
#pragma once

#include <string>

#include "storage/jet/check/check_context.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet::check {

/// Claims the pages of the definition too.
void CheckDefinition(Context& context, const TableDefinition& table, const std::string& table_name);

}  // namespace corvix::jet::check
