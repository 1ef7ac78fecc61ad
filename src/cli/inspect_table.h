// The description of a FoxPro table.
#pragma once

#include <filesystem>
#include <string>

#include "storage/base/file.h"

namespace corvix::cli {

/// Lines for people, or one JSON object: {"kind": "table", "path", "records", "deleted", "code_page",
/// "memo_file", "fields": [{"name", "type", "length", "decimals"}], "indexes": [{"name", "expression",
/// "condition", "unique", "descending", "collation"}], "index_problem"}. Errors 3343 and 3049 for a file that
/// is none.
std::string DescribeTable(storage::FileSystem& files, const std::filesystem::path& path, bool json);

}  // namespace corvix::cli
