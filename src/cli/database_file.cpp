#include "cli/database_file.h"

#include <vector>

#include "common/error.h"
#include "storage/jet/journal.h"

namespace corvix::cli {

std::unique_ptr<jet::Pager> OpenForReading(storage::FileSystem& files, const std::filesystem::path& path) {
  auto file = files.Open(path, storage::OpenMode::Read);
  if (!file->TryLock(storage::LockKind::Shared, 0, 0)) {
    throw common::Error(common::kFileInUse,
                        "The database is being written by another program; close it there and try again",
                        path.string());
  }
  return std::make_unique<jet::Pager>(jet::OpenJournaled(files, path, std::move(file), true).file, path,
                                      jet::Pager::Options{.read_only = true});
}

jet::HeaderPage ReadHeader(jet::Pager& pager) {
  std::vector<std::byte> page(jet::kPageSize);
  page.resize(pager.file().ReadAt(0, page));
  return jet::ReadHeaderPage(page, pager.path());
}

}  // namespace corvix::cli
