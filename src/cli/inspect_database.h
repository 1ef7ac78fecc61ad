// The description of an Access database.
#pragma once

#include <filesystem>
#include <string>

#include "storage/base/file.h"

namespace corvix::cli {

/// Lines for people, or JSON objects, one a line: {"kind": "table", "path", "name", "records", "columns":
/// [{"name", "type", "size", "required", "allow_zero_length", "autonumber", "default", "validation"}],
/// "indexes": [{"name", "columns": [{"name", "descending"}], "primary", "unique", "ignore_nulls", "required",
/// "relationship"}]} and {"kind": "relationship", "path", "name", "table", "referenced_table", "columns",
/// "enforced", "cascade_updates", "cascade_deletes"}. Tables of the engine itself are left out. Errors 3343
/// and 3049 for a file that is none.
std::string DescribeDatabase(storage::FileSystem& files, const std::filesystem::path& path, bool json);

}  // namespace corvix::cli
