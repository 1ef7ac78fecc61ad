#include "cli/data_path.h"

#include "common/error.h"
#include "common/text.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTableExtension = ".DBF";
constexpr std::string_view kDatabaseExtension = ".MDB";

}  // namespace

std::string UpperExtension(const fs::path& path) { return common::UpperCase(path.extension().string()); }

std::vector<DataFile> FindData(storage::FileSystem& files, const fs::path& path) {
  if (!files.Exists(path)) {
    throw common::Error(common::kFileNotFound, "There is no such file or directory; check the path",
                        path.string());
  }
  if (!files.IsDirectory(path)) {
    return {{UpperExtension(path) == kTableExtension ? DataKind::FoxProTable : DataKind::Database, path}};
  }
  std::vector<DataFile> found;
  for (const std::string& name : files.List(path)) {
    const std::string extension = UpperExtension(name);
    if (extension == kTableExtension) found.push_back({DataKind::FoxProTable, path / name});
    if (extension == kDatabaseExtension) found.push_back({DataKind::Database, path / name});
  }
  if (found.empty()) {
    throw common::Error(common::kFileNotFound, "The directory holds no table (.DBF) and no database (.MDB)",
                        path.string());
  }
  return found;
}

}  // namespace corvix::cli
