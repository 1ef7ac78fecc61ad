// What happens to a journal that a crash left: it is read, tested against the database, and rolled back or
// shown through.
#include <algorithm>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
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

/// What stands at the name of a journal.
enum class Kind {
  None,
  Void,     ///< of ours, but nothing of it ever counted, or its head is lost
  Done,     ///< the changes are complete
  InUse,    ///< the changes are not
  Foreign,  ///< no journal of ours, a link or no file
};

struct FoundJournal {
  Kind kind = Kind::None;
  std::unique_ptr<File> file = nullptr;
  std::uint64_t salt = 0;
  std::uint64_t previous_salt = 0;
  std::uint64_t length = 0;
  std::uint64_t sum = 0;
  std::uint32_t stride = 1;
  change_mark::Place unmarked{};
  std::map<PageNumber, std::uint64_t> images{};  // offset of each page's image
};

bool HasMagic(ByteView head) {
  const std::string_view magic(format::kMagic.data(), format::kMagic.size());
  return storage::AsText(head.first(magic.size())) == magic;
}

bool IsSoundHead(ByteView head) {
  return HasMagic(head) && ReadLittle<std::uint64_t>(head, format::kHeadChecksum) ==
                               Checksum(head.first(format::kHeadChecksum), 0);
}

void ReadHead(ByteView head, FoundJournal& journal) {
  journal.kind = ReadLittle<std::uint32_t>(head, format::kState) == format::kDone ? Kind::Done : Kind::InUse;
  journal.salt = ReadLittle<std::uint64_t>(head, format::kSalt);
  journal.previous_salt = ReadLittle<std::uint64_t>(head, format::kPreviousSalt);
  journal.length = ReadLittle<std::uint64_t>(head, format::kLength);
  journal.sum = ReadLittle<std::uint64_t>(head, format::kSum);
  journal.stride = std::max<std::uint32_t>(ReadLittle<std::uint32_t>(head, format::kStride), 1);
  std::ranges::copy(storage::Slice(head, format::kMarkPlace, change_mark::kSize), journal.unmarked.begin());
}

void ReadEntries(FoundJournal& journal) {
  std::vector<std::byte> bytes(format::kEntrySize);
  for (std::uint64_t position = 0;; ++position) {
    const std::uint64_t offset = format::EntryOffset(position);
    if (journal.file->ReadAt(offset, bytes) != bytes.size()) break;
    const auto page = ReadLittle<std::uint32_t>(bytes, format::kEntryPage);
    const ByteView image = ByteView(bytes).subspan(format::kEntryImage);
    const bool inside = (std::uint64_t{page} + 1) * kPageSize <= journal.length;
    if (!inside || ReadLittle<std::uint64_t>(bytes, format::kEntryChecksum) !=
                       format::EntryChecksum(image, journal.salt, page, position)) {
      break;
    }
    journal.images.emplace(page, offset + format::kEntryImage);
  }
}

FoundJournal ReadJournal(storage::FileSystem& files, const fs::path& path) {
  if (!files.IsTaken(path)) return {};
  if (files.IsLink(path)) return {.kind = Kind::Foreign};
  FoundJournal journal;
  try {
    journal.file = files.Open(path, storage::OpenMode::Read);
  } catch (const common::Error& error) {
    if (error.number() != common::kBadFileName) throw;
    return {.kind = Kind::Foreign};  // a directory, a pipe
  }
  std::vector<std::byte> heads(format::kHeadsSize);
  const std::size_t size = journal.file->ReadAt(0, heads);
  const ByteView first = ByteView(heads).first(format::kHeadSize);
  const ByteView second = ByteView(heads).subspan(format::kHeadSize);
  if (IsSoundHead(first) || IsSoundHead(second)) {
    ReadHead(IsSoundHead(first) ? first : second, journal);
    if (journal.kind == Kind::InUse) ReadEntries(journal);
    return journal;
  }
  // A crash may have kept any sectors of the first write, or none of them.
  const bool is_blank =
      std::ranges::all_of(ByteView(heads).first(size), [](std::byte byte) { return byte == std::byte{0}; });
  journal.kind = is_blank || HasMagic(first) || HasMagic(second) ? Kind::Void : Kind::Foreign;
  return journal;
}

/// Makes the database file what it was at the checkpoint, the mark last: keeps J5.
void RollBack(const FoundJournal& journal, File& database) {
  std::vector<std::byte> image(kPageSize);
  for (const auto& [page, offset] : journal.images) {
    journal.file->ReadAt(offset, image);
    database.WriteAt(std::uint64_t{page} * kPageSize, image);
  }
  if (!journal.images.empty() || database.Size() != journal.length) {
    database.Truncate(journal.length);
    database.Sync();
  }
  change_mark::Write(database, journal.unmarked);
  database.Sync();
}

/// The database as it was at the checkpoint of the journal: pages that were saved come from the journal, the
/// others from the file, and the mark does not show.
class RecoveredFile : public File {
 public:
  RecoveredFile(std::unique_ptr<File> database, FoundJournal journal)
      : database_(std::move(database)), journal_(std::move(journal)) {}

  std::uint64_t Size() const override { return journal_.length; }

  std::size_t ReadAt(std::uint64_t offset, ByteSpan out) override {
    if (offset >= journal_.length) return 0;
    out = out.first(std::min<std::uint64_t>(out.size(), journal_.length - offset));
    std::size_t done = 0;
    while (done < out.size()) {
      const std::uint64_t page = (offset + done) / kPageSize;
      const std::size_t begin = (offset + done) % kPageSize;
      const ByteSpan part = out.subspan(done, std::min(kPageSize - begin, out.size() - done));
      const auto image = journal_.images.find(static_cast<PageNumber>(page));
      const std::size_t count = image == journal_.images.end()
                                    ? database_->ReadAt(offset + done, part)
                                    : journal_.file->ReadAt(image->second + begin, part);
      done += count;
      if (count != part.size()) break;
    }
    change_mark::Cover(journal_.unmarked, offset, out.first(done));
    return done;
  }

  void WriteAt(std::uint64_t, ByteView) override { Refuse(); }
  void Truncate(std::uint64_t) override { Refuse(); }
  void Sync() override {}
  bool TryLock(storage::LockKind kind, std::uint64_t offset, std::uint64_t length) override {
    return database_->TryLock(kind, offset, length);
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override { database_->Unlock(offset, length); }

  /// True when this is the checkpoint that the journal was made for (J4). The file may have grown since.
  bool IsTheCheckpoint(bool may_have_grown) {
    const std::uint64_t size = database_->Size();
    return (may_have_grown ? size >= journal_.length : size == journal_.length) &&
           format::DatabaseSum(*this, journal_.length, journal_.stride) == journal_.sum;
  }

  /// Makes the database file what this file shows.
  void RollBack() { jet::RollBack(journal_, *database_); }
  std::unique_ptr<File> TakeDatabase() { return std::move(database_); }

 private:
  [[noreturn]] static void Refuse() { throw std::logic_error("A recovered file is for reading only"); }

  std::unique_ptr<File> database_;
  FoundJournal journal_;
};

void Remove(storage::FileSystem& files, const fs::path& journal) {
  files.Remove(journal);
  files.SyncDirectory(journal.parent_path());
}

[[noreturn]] void ThrowTorn(const fs::path& database, const fs::path& journal) {
  throw common::Error(
      common::kDamagedDatabase,
      fmt::format(
          "An interrupted run left the database in the middle of a change, and the journal that takes the "
          "change back is not beside it as {}: the database was copied, renamed or linked without it, or the "
          "journal is damaged; put its journal there, or restore a backup of the database",
          journal.filename().string()),
      database.string());
}

[[noreturn]] void ThrowNotItsJournal(const fs::path& database, const fs::path& journal) {
  throw common::Error(
      common::kDamagedDatabase,
      fmt::format(
          "An interrupted run left the journal {}, but the database has been changed or replaced since; "
          "restore a backup of the database, or remove the journal to use the database as it is",
          journal.filename().string()),
      database.string());
}

}  // namespace

void ThrowNoJournal(const fs::path& path) {
  throw common::Error(common::kFileInUse,
                      "The file has the name of the database's journal and is none; give it another name",
                      path.string());
}

void GiveUpJournal(storage::FileSystem& files, const fs::path& path, std::uint64_t salt, File& database) {
  const FoundJournal journal = ReadJournal(files, path);
  if (journal.kind != Kind::InUse || journal.salt != salt) return;
  if (change_mark::JournalOf(change_mark::Read(database)) == salt) {
    RollBack(journal, database);
  }
  Remove(files, path);
}

bool RemoveVoidJournal(storage::FileSystem& files, const fs::path& path) {
  if (ReadJournal(files, path).kind != Kind::Void) return false;
  Remove(files, path);
  return true;
}

void RemoveJournal(storage::FileSystem& files, const fs::path& database) {
  const fs::path path = JournalPath(files, database);
  const Kind kind = ReadJournal(files, path).kind;
  if (kind != Kind::None && kind != Kind::Foreign) Remove(files, path);
}

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
  FoundJournal found = ReadJournal(files, path);
  const bool is_there = found.kind != Kind::None;
  const auto mark = change_mark::JournalOf(change_mark::Read(*file));
  const bool in_use = found.kind == Kind::InUse;
  const bool is_torn = in_use && mark == found.salt;
  // The mark of changes that were complete; its removal had not reached the device.
  const bool is_stale = mark && !is_torn && mark == (in_use ? found.previous_salt : found.salt);
  if (mark && !is_torn && !is_stale) {
    in_use ? ThrowNotItsJournal(database, path) : ThrowTorn(database, path);
  }
  if (found.kind == Kind::Foreign && !read_only) ThrowNoJournal(path);

  JournaledFile opened;
  if (is_torn) {
    opened.recovery = Recovery{.database = files.Resolve(database).filename().string(),
                               .pages = found.images.size(),
                               .left_at = files.ChangedAt(path),
                               .restored = !read_only};
  } else {
    found.images.clear();  // none of these pages has been written
    if (!in_use) found.length = file->Size();
  }
  auto recovered = std::make_unique<RecoveredFile>(std::move(file), std::move(found));
  if (in_use && !recovered->IsTheCheckpoint(is_torn)) ThrowNotItsJournal(database, path);
  if (read_only) {
    opened.file = is_torn || is_stale ? std::move(recovered) : recovered->TakeDatabase();
    return opened;
  }
  if (is_torn || is_stale) recovered->RollBack();
  opened.file = recovered->TakeDatabase();
  recovered.reset();  // closes the journal
  if (is_there) Remove(files, path);
  opened.journal = std::make_unique<Journal>(files, database, *opened.file);
  return opened;
}

}  // namespace corvix::jet
