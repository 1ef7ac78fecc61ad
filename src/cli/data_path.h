// What a path on the command line names: a database file, one FoxPro table, or a directory of tables.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "storage/base/file.h"

namespace corvix::cli {

enum class DataKind { Database, FoxProTable };

struct DataFile {
  DataKind kind = DataKind::Database;
  std::filesystem::path path;
};

/// The files with data that `path` names: itself, or every table and database of a directory, by name. Error
/// 53 when there is no such path, or nothing of either kind in it.
std::vector<DataFile> FindData(storage::FileSystem& files, const std::filesystem::path& path);

/// The extension in capitals, with its point.
std::string UpperExtension(const std::filesystem::path& path);

}  // namespace corvix::cli
