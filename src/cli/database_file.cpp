#include "cli/database_file.h"

#include <vector>

#include "cli/output.h"
#include "storage/jet/pages/lock_file.h"

namespace corvix::cli {

std::unique_ptr<jet::Pager> OpenForReading(storage::FileSystem& files, const std::filesystem::path& path) {
  return std::make_unique<jet::Pager>(OpenView(files, path, core::Access::ReadOnly), path,
                                      jet::Pager::Options{.read_only = true});
}

std::unique_ptr<storage::File> OpenView(storage::FileSystem& files, const std::filesystem::path& path,
                                        core::Access access) {
  auto view = jet::OpenJournaled(files, path, jet::OpenLocked(files, path, access), true);
  if (view.recovery) SayRecovery(*view.recovery);
  return std::move(view.file);
}

void SayRecovery(const jet::Recovery& recovery) { Say("corvix-cli: " + jet::RecoveryText(recovery)); }

jet::HeaderPage ReadHeader(jet::Pager& pager) {
  std::vector<std::byte> page(jet::kPageSize);
  page.resize(pager.file().ReadAt(0, page));
  return jet::ReadHeaderPage(page, pager.path());
}

}  // namespace corvix::cli
