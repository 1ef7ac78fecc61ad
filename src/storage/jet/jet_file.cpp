#include "storage/jet/jet_file.h"

#include <utility>
#include <vector>

#include "common/error.h"
#include "storage/jet/pages/header_page.h"

namespace corvix::jet {
namespace {

using common::Error;
namespace fs = std::filesystem;

HeaderPage CheckHeader(storage::File& file, const fs::path& path) {
  std::vector<std::byte> page(kPageSize);
  page.resize(file.ReadAt(0, page));
  HeaderPage header = ReadHeaderPage(page, path);
  if (header.has_password) {
    throw Error(common::kNotAPassword, "The database is protected by a password; remove the password first",
                path.string());
  }
  if (file.Size() % kPageSize != 0 || file.Size() > kMaxFileSize) {
    throw Error(common::kDamagedDatabase,
                "The length of the file (" + std::to_string(file.Size()) +
                    " bytes) is not that of a database; the file may have been cut off",
                path.string());
  }
  return header;
}

}  // namespace

/// The open files of the process.
struct JetFile::Registry {
  using Name = std::pair<const storage::FileSystem*, std::string>;
  std::map<Name, std::weak_ptr<JetFile>> files;

  static Registry& Instance() {
    static Registry registry;
    return registry;
  }
};

std::shared_ptr<JetFile> JetFile::Open(storage::FileSystem& files, const fs::path& path, core::Access access,
                                       const RecoveryObserver& recovered) {
  auto& open_files = Registry::Instance().files;
  std::erase_if(open_files, [](const auto& entry) { return entry.second.expired(); });
  if (const auto identity = files.Identity(path)) {
    const auto found = open_files.find({&files, *identity});
    if (found != open_files.end()) {
      auto file = found->second.lock();
      file->pager().RequireOwnFile();
      if (access == core::Access::ReadOnly || !file->pager().read_only()) return file;
      throw Error(common::kFileInUse,
                  "The database is open for reading in this program; close it there and try again",
                  path.string());
    }
  }
  // Another file bears the name by now, and the lock file beside it is that of the one that is open here.
  for (const auto& [name, file] : open_files) {
    const auto open = file.lock();
    if (name.first == &files && open && open->pager().path() == path) open->pager().RequireOwnFile();
  }
  const bool read_only = access == core::Access::ReadOnly;
  auto locked = OpenLocked(files, path, access);
  auto lock_file = read_only ? nullptr : std::make_unique<LockFile>(files, path);
  JournaledFile opened = OpenJournaled(files, path, std::move(locked), read_only);
  const HeaderPage header = CheckHeader(*opened.file, path);
  auto pager = std::make_unique<Pager>(std::move(opened.file), path, Pager::Options{.read_only = read_only},
                                       std::move(opened.journal));
  pager->SetDatabaseKey(header.database_key);
  std::shared_ptr<JetFile> result(new JetFile(std::move(pager), std::move(lock_file)));
  open_files[{&files, files.Identity(path).value_or(path.string())}] = result;
  if (opened.recovery && recovered) recovered(*opened.recovery);
  return result;
}

JetFile::JetFile(std::unique_ptr<Pager> pager, std::unique_ptr<LockFile> lock_file)
    : pager_(std::move(pager)), lock_file_(std::move(lock_file)), allocator_(*pager_), catalog_(*pager_) {}

JetFile::~JetFile() {
  try {
    if (!abandoned_) Checkpoint();
  } catch (...) {
    // Who wants to know closes the database. The journal takes the file back to its last checkpoint.
  }
}

OpenTable* JetFile::FindTable(std::string_view name) {
  const CatalogObject* object = catalog_.FindTable(name);
  if (object == nullptr) return nullptr;
  auto& table = tables_[object->DefinitionPage()];
  if (!table) table = std::make_unique<OpenTable>(*this, *object);
  return table.get();
}

void JetFile::Checkpoint() {
  for (const auto& [page, table] : tables_) {
    if (table) table->Settle();  // none: it could not be opened
  }
  if (pager_->dirty()) pager_->Checkpoint();
  last_checkpoint_ = Clock::now();
  ++checkpoints_;
}

void JetFile::CheckpointWhenDue() {
  if (Clock::now() - last_checkpoint_ >= kCheckpointInterval) Checkpoint();
}

}  // namespace corvix::jet
