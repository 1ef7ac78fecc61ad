#include "storage/jet/jet_file.h"

#include <utility>
#include <vector>

#include "common/error.h"
#include "storage/jet/header_page.h"
#include "storage/jet/journal.h"

namespace corvix::jet {
namespace {

using common::Error;
namespace fs = std::filesystem;

[[noreturn]] void ThrowDenied(const std::string& why, const fs::path& path) {
  throw Error(common::kFileInUse, why, path.string());
}

/// The file opened and locked.
std::unique_ptr<storage::File> OpenLocked(storage::FileSystem& files, const fs::path& path,
                                          core::Access access) {
  const bool writing = access == core::Access::ReadWrite;
  if (writing && files.Exists(path)) {
    if (!files.IsWritable(path)) {
      ThrowDenied("The database is read-only; allow writing to the file and try again", path);
    }
    const fs::path directory = path.has_parent_path() ? path.parent_path() : fs::path(".");
    if (files.Exists(directory) && !files.IsWritable(directory)) {
      ThrowDenied(
          "The directory of the database is read-only, so that its journal cannot be written; allow "
          "writing to the directory and try again",
          path);
    }
  }
  std::unique_ptr<storage::File> file;
  try {
    file = files.Open(path, writing ? storage::OpenMode::ReadWrite : storage::OpenMode::Read);
  } catch (const Error& error) {
    if (error.number() != common::kPermissionDenied) throw;
    ThrowDenied("Access to the database is denied; check the permissions of the file", path);
  }
  if (!file->TryLock(writing ? storage::LockKind::Exclusive : storage::LockKind::Shared, 0, 0)) {
    ThrowDenied(writing ? "The database is in use by another program; close it there and try again"
                        : "The database is being written by another program; close it there and try again",
                path);
  }
  return file;
}

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

std::shared_ptr<JetFile> JetFile::Open(storage::FileSystem& files, const fs::path& path,
                                       core::Access access) {
  auto& open_files = Registry::Instance().files;
  std::erase_if(open_files, [](const auto& entry) { return entry.second.expired(); });
  if (const auto identity = files.Identity(path)) {
    const auto found = open_files.find({&files, *identity});
    if (found != open_files.end()) {
      auto file = found->second.lock();
      if (access == core::Access::ReadOnly || !file->pager().read_only()) return file;
      ThrowDenied("The database is open for reading in this program; close it there and try again", path);
    }
  }
  const bool read_only = access == core::Access::ReadOnly;
  JournaledFile opened = OpenJournaled(files, path, OpenLocked(files, path, access), read_only);
  const HeaderPage header = CheckHeader(*opened.file, path);
  auto pager = std::make_unique<Pager>(std::move(opened.file), path, Pager::Options{.read_only = read_only},
                                       std::move(opened.journal));
  pager->SetDatabaseKey(header.database_key);
  std::shared_ptr<JetFile> result(new JetFile(std::move(pager)));
  open_files[{&files, files.Identity(path).value_or(path.string())}] = result;
  return result;
}

JetFile::JetFile(std::unique_ptr<Pager> pager)
    : pager_(std::move(pager)), allocator_(*pager_), catalog_(*pager_) {}

JetFile::~JetFile() {
  try {
    Checkpoint();
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
  if (pager_->dirty()) pager_->Checkpoint();
  last_checkpoint_ = Clock::now();
}

void JetFile::CheckpointWhenDue() {
  if (Clock::now() - last_checkpoint_ >= kCheckpointInterval) Checkpoint();
}

}  // namespace corvix::jet
