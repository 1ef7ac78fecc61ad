// What happens to a journal that a crash left: it is read, tested against the database, and rolled back or
// shown through.
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/error.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/journal_format.h"

namespace corvix::jet {

namespace format = journal_format;
namespace fs = std::filesystem;
using storage::ByteSpan;
using storage::ByteView;
using storage::File;
using storage::ReadLittle;

namespace {

/// A hot journal, read.
struct HotJournal {
  std::unique_ptr<File> file;
  std::string database_name;
  std::uint64_t length = 0;
  std::uint64_t sum = 0;
  std::uint32_t stride = 1;
  std::unordered_map<PageNumber, std::uint64_t> images;  // offset of each page's image
};

/// None when the journal is missing or empty.
std::optional<HotJournal> ReadJournal(storage::FileSystem& files, const fs::path& path) {
  if (!files.Exists(path)) return std::nullopt;
  HotJournal journal{files.Open(path, storage::OpenMode::Read), {}, 0, 0, 1, {}};
  std::vector<std::byte> bytes(format::kHeadSize);
  if (journal.file->ReadAt(0, bytes) != bytes.size()) return std::nullopt;
  const std::string_view magic(format::kMagic.data(), format::kMagic.size());
  if (storage::AsText(ByteView(bytes).first(magic.size())) != magic ||
      ReadLittle<std::uint64_t>(bytes, format::kHeadChecksum) !=
          Checksum(ByteView(bytes).first(format::kHeadChecksum), 0)) {
    return std::nullopt;
  }
  const auto salt = ReadLittle<std::uint64_t>(bytes, format::kSalt);
  journal.length = ReadLittle<std::uint64_t>(bytes, format::kLength);
  journal.sum = ReadLittle<std::uint64_t>(bytes, format::kSum);
  journal.stride = std::max<std::uint32_t>(ReadLittle<std::uint32_t>(bytes, format::kStride), 1);
  const auto name_length = ReadLittle<std::uint16_t>(bytes, format::kNameLength);
  journal.database_name = storage::AsText(storage::Slice(ByteView(bytes), format::kName, name_length));

  bytes.resize(format::kEntrySize);
  for (std::uint64_t position = 0;; ++position) {
    const std::uint64_t offset = format::EntryOffset(position);
    if (journal.file->ReadAt(offset, bytes) != bytes.size()) break;
    const auto page = ReadLittle<std::uint32_t>(bytes, format::kEntryPage);
    const ByteView image = ByteView(bytes).subspan(format::kEntryImage);
    const bool inside = (std::uint64_t{page} + 1) * kPageSize <= journal.length;
    if (!inside || ReadLittle<std::uint64_t>(bytes, format::kEntryChecksum) !=
                       format::EntryChecksum(image, salt, page, position)) {
      break;
    }
    journal.images.emplace(page, offset + format::kEntryImage);
  }
  return journal;
}

/// The database as it was at the checkpoint of the journal: pages that were saved come from the journal, the
/// others from the file.
class RecoveredFile : public File {
 public:
  RecoveredFile(std::unique_ptr<File> database, HotJournal journal)
      : database_(std::move(database)), journal_(std::move(journal)) {}

  std::uint64_t Size() const override { return journal_.length; }

  std::size_t ReadAt(std::uint64_t offset, ByteSpan out) override {
    if (offset >= journal_.length) return 0;
    out = out.first(std::min<std::uint64_t>(out.size(), journal_.length - offset));
    for (std::size_t done = 0; done < out.size();) {
      const std::uint64_t page = (offset + done) / kPageSize;
      const std::size_t begin = (offset + done) % kPageSize;
      const ByteSpan part = out.subspan(done, std::min(kPageSize - begin, out.size() - done));
      const auto image = journal_.images.find(static_cast<PageNumber>(page));
      const std::size_t count = image == journal_.images.end()
                                    ? database_->ReadAt(offset + done, part)
                                    : journal_.file->ReadAt(image->second + begin, part);
      done += count;
      if (count != part.size()) return done;
    }
    return out.size();
  }

  void WriteAt(std::uint64_t, ByteView) override { Refuse(); }
  void Truncate(std::uint64_t) override { Refuse(); }
  void Sync() override {}
  bool TryLock(storage::LockKind kind, std::uint64_t offset, std::uint64_t length) override {
    return database_->TryLock(kind, offset, length);
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override { database_->Unlock(offset, length); }

  /// True when this is the checkpoint that the journal was made for (J4).
  bool IsTheCheckpointOf(std::string_view database_name) {
    return journal_.database_name == database_name && database_->Size() >= journal_.length &&
           format::DatabaseSum(*this, journal_.length, journal_.stride) == journal_.sum;
  }

  /// Makes the database file what this file shows, and gives it back.
  std::unique_ptr<File> RollBack() {
    std::vector<std::byte> image(kPageSize);
    for (const auto& [page, offset] : journal_.images) {
      journal_.file->ReadAt(offset, image);
      database_->WriteAt(std::uint64_t{page} * kPageSize, image);
    }
    database_->Truncate(journal_.length);
    database_->Sync();
    return std::move(database_);
  }

 private:
  [[noreturn]] static void Refuse() { throw std::logic_error("A recovered file is for reading only"); }

  std::unique_ptr<File> database_;
  HotJournal journal_;
};

/// The name of the database without directory, links followed.
std::string DatabaseName(storage::FileSystem& files, const fs::path& database) {
  return files.Resolve(database).filename().string();
}

void RemoveJournal(storage::FileSystem& files, const fs::path& path) {
  if (!files.Exists(path)) return;
  files.Remove(path);
  files.SyncDirectory(path.parent_path());
}

}  // namespace

std::string RecoveryText(const Recovery& recovery) {
  std::string when;
  if (recovery.left_at) {
    const auto time = std::chrono::system_clock::to_time_t(*recovery.left_at);
    when = fmt::format(" at {:%Y-%m-%d %H:%M:%S}", fmt::localtime(time));
  }
  return fmt::format("{} was left in the middle of a change{}; {} its last checkpoint ({} page{}).",
                     recovery.database, when, recovery.restored ? "it has been restored to" : "this shows",
                     recovery.pages, recovery.pages == 1 ? "" : "s");
}

fs::path JournalPath(storage::FileSystem& files, const fs::path& database) {
  fs::path path = files.Resolve(database);
  path += "-journal";
  return path;
}

JournaledFile OpenJournaled(storage::FileSystem& files, const fs::path& database, std::unique_ptr<File> file,
                            bool read_only) {
  const fs::path path = JournalPath(files, database);
  const std::string name = DatabaseName(files, database);
  std::optional<Recovery> recovery;
  if (auto journal = ReadJournal(files, path)) {
    recovery = Recovery{.database = name,
                        .pages = journal->images.size(),
                        .left_at = files.ChangedAt(path),
                        .restored = !read_only};
    auto recovered = std::make_unique<RecoveredFile>(std::move(file), *std::move(journal));
    if (!recovered->IsTheCheckpointOf(name)) {
      throw common::Error(
          common::kDamagedDatabase,
          fmt::format(
              "An interrupted run left the journal {}, but the database has been changed or replaced since; "
              "restore a backup of the database, or remove the journal to use the database as it is",
              path.filename().string()),
          database.string());
    }
    if (read_only) return {std::move(recovered), nullptr, recovery};
    file = recovered->RollBack();
  }
  if (read_only) return {std::move(file), nullptr, recovery};
  RemoveJournal(files, path);
  auto journal = std::make_unique<Journal>(files, path, name, *file);
  return {std::move(file), std::move(journal), recovery};
}

}  // namespace corvix::jet
