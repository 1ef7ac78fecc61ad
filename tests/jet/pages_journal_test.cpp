// Crashes at every operation, and what opening the database makes of them: always exactly a checkpoint.
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "jet/pages_scratch.h"
#include "storage/base/posix_file.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/journal_format.h"
#include "support/faulty_file_system.h"
#include "support/temporary_directory.h"

namespace corvix::jet {
namespace {

using test::FaultyFileSystem;
using test::PowerCut;
using test::Unsynced;
using Bytes = std::vector<std::byte>;
using Device = std::map<std::filesystem::path, Bytes>;

const std::filesystem::path kDatabase = "dir/A.MDB";
constexpr std::uint32_t kDatabaseKey = 0x8BADF00D;  // the journal holds pages as the file does, encoded
const std::filesystem::path kJournal = "dir/A.MDB-journal";

std::unique_ptr<Pager> OpenForWriting(storage::FileSystem& files,
                                      const std::filesystem::path& path = kDatabase) {
  auto opened = OpenJournaled(files, path, files.Open(path, storage::OpenMode::ReadWrite), false);
  // Eight pages of cache: the script below changes more than that between checkpoints.
  auto pager = std::make_unique<Pager>(std::move(opened.file), path, Pager::Options{8 * kPageSize, false},
                                       std::move(opened.journal));
  pager->SetDatabaseKey(kDatabaseKey);
  return pager;
}

Bytes StartingDatabase() {
  Bytes bytes(20 * kPageSize);
  std::mt19937 random(1);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
  return bytes;
}

/// The database as a pager shows it to readers.
Bytes ReadThroughPager(storage::FileSystem& files) {
  auto opened = OpenJournaled(files, kDatabase, files.Open(kDatabase, storage::OpenMode::Read), true);
  EXPECT_EQ(opened.journal, nullptr);
  Pager pager(std::move(opened.file), kDatabase, {0, true});
  pager.SetDatabaseKey(kDatabaseKey);
  Bytes bytes;
  for (PageNumber page = 0; page < pager.page_count(); ++page) {
    const PageView view = pager.Read(page);
    bytes.insert(bytes.end(), view.bytes().begin(), view.bytes().end());
  }
  return bytes;
}

/// A device with the database as it is at the start.
FaultyFileSystem StartingDevice() {
  FaultyFileSystem files;
  files.Put(kDatabase, StartingDatabase());
  return files;
}

/// States of the database: the last checkpoint, and the one that was being made.
struct Progress {
  explicit Progress(storage::FileSystem& start) : reached(ReadThroughPager(start)) {}
  Bytes reached;
  Bytes next;  // empty: none
};

/// Changes pages at random, with savepoints, spills, growth and checkpoints.
void RunScript(storage::FileSystem& files, Progress& progress) {
  std::mt19937 random(7);
  const auto pager = OpenForWriting(files);
  Bytes model = progress.reached;
  for (int round = 0; round < 5; ++round) {
    for (int step = 0; step < 16; ++step) {
      std::optional<Savepoint> undone;
      const bool undo = step % 5 == 4;
      if (undo) undone.emplace(*pager);
      if (step % 4 == 0) {
        pager->Append();
        if (!undo) model.resize(model.size() + kPageSize);
      }
      const auto page = static_cast<PageNumber>(1 + random() % (pager->page_count() - 1));
      const std::size_t at = random() % kPageSize;
      const auto byte = static_cast<std::byte>(random());
      pager->Edit(page).bytes()[at] = byte;
      if (!undo) model[page * kPageSize + at] = byte;
    }
    progress.next = model;
    pager->Checkpoint();
    progress.reached = model;
    progress.next.clear();
  }
}

/// True when the bytes are a state that a crash may leave.
bool IsCheckpoint(const Bytes& bytes, const Progress& progress) {
  return bytes == progress.reached || bytes == progress.next;
}

FaultyFileSystem Found(const Device& device) {
  FaultyFileSystem files;
  for (const auto& [path, bytes] : device) files.Put(path, bytes);
  return files;
}

/// Opens the device for reading, then for writing; with a second cut in the middle of the recovery.
void ExpectRecovers(const Device& device, const Progress& progress, unsigned seed) {
  FaultyFileSystem files = Found(device);
  const Bytes seen = ReadThroughPager(files);
  EXPECT_TRUE(IsCheckpoint(seen, progress)) << "opened for reading";
  EXPECT_EQ(files.operations(), 0u) << "reading must not write";
  OpenForWriting(files);
  EXPECT_EQ(ReadThroughPager(files), seen) << "opened for writing";
  EXPECT_FALSE(files.Exists(kJournal));

  FaultyFileSystem again = Found(device);
  again.CutAt(files.operations() == 0 ? 0 : seed % files.operations());
  try {
    OpenForWriting(again);
  } catch (const PowerCut&) {
  }
  FaultyFileSystem after = Found(again.AfterCut(Unsynced::Mixed, seed));
  OpenForWriting(after);
  EXPECT_EQ(ReadThroughPager(after), seen) << "opened after an interrupted recovery";
}

TEST(Journal, ACutAtAnyOperationLeavesACheckpoint) {
  bool was_cut = true;
  std::uint64_t cut = 0;
  for (; was_cut; ++cut) {
    SCOPED_TRACE(testing::Message() << "cut at operation " << cut);
    FaultyFileSystem files = StartingDevice();
    Progress progress(files);
    files.CutAt(cut);
    try {
      RunScript(files, progress);
    } catch (const PowerCut&) {
    }
    was_cut = files.operations() > cut;
    EXPECT_TRUE(was_cut || !files.Exists(kJournal)) << "a clean end leaves no journal";
    const auto seed = static_cast<unsigned>(cut);
    ExpectRecovers(files.AfterCut(Unsynced::Kept), progress, seed);
    ExpectRecovers(files.AfterCut(Unsynced::Dropped), progress, seed);
    ExpectRecovers(files.AfterCut(Unsynced::Mixed, seed), progress, seed);
    if (HasFailure()) return;
  }
  EXPECT_GT(cut, 100u);
}

TEST(Journal, DeviceErrorsCanBeRepeatedAndTheProcessMayStillCrash) {
  // Each operation fails once; the script is what a user does who chooses to try again, then the power fails.
  for (std::uint64_t failing = 0;; ++failing) {
    SCOPED_TRACE(testing::Message() << "failing operation " << failing);
    FaultyFileSystem files = StartingDevice();
    Progress progress(files);
    Bytes model = progress.reached;
    files.FailAt(failing, 1, common::kDiskFull);
    bool failed = false;
    const auto repeated = [&](const std::function<void()>& action) {
      if (NumberOf(action) == 0) return;
      failed = true;
      action();
    };
    std::unique_ptr<Pager> pager;
    repeated([&] { pager = OpenForWriting(files); });
    for (int round = 0; round < 3; ++round) {
      for (PageNumber page = 1; page < 15; ++page) {
        repeated([&] { pager->Edit(page).bytes()[9] = std::byte(round); });
        model[page * kPageSize + 9] = std::byte(round);
      }
      if (round == 2) break;  // the last changes never reach a checkpoint
      progress.next = model;
      repeated([&] { pager->Checkpoint(); });
      progress.reached = model;
      progress.next.clear();
    }
    ExpectRecovers(files.AfterCut(Unsynced::Mixed, static_cast<unsigned>(failing)), progress, 3);
    if (!failed || HasFailure()) break;
  }
}

void ChangeManyPages(Pager& pager) {
  for (PageNumber page = 1; page < 16; ++page) pager.Edit(page).bytes()[100] ^= std::byte{0xFF};
  pager.Append();
}

/// The database that the same changes lead to when nothing interrupts them.
Bytes FinishedDatabase() {
  FaultyFileSystem files = StartingDevice();
  {
    const auto pager = OpenForWriting(files);
    ChangeManyPages(*pager);
    pager->Checkpoint();
  }
  return files.Contents(kDatabase);
}

void MendHeads(Bytes& journal) {
  for (const std::size_t at : {std::size_t{0}, journal_format::kHeadSize}) {
    const auto head = storage::ByteSpan(journal).subspan(at, journal_format::kHeadSize);
    storage::WriteLittle<std::uint64_t>(head, journal_format::kHeadChecksum,
                                        Checksum(head.first(journal_format::kHeadChecksum), 0));
  }
}

/// A device whose database is half overwritten and whose journal is hot.
Device CrashedDevice() {
  FaultyFileSystem files = StartingDevice();
  const auto pager = OpenForWriting(files);
  ChangeManyPages(*pager);
  Device device = files.AfterCut(Unsynced::Kept);
  EXPECT_NE(device[kDatabase], StartingDatabase());
  return device;
}

TEST(Journal, IsRefusedWhenTheDatabaseIsNotWhatItWas) {
  FaultyFileSystem start = StartingDevice();
  const Progress progress(start);
  const Device crashed = CrashedDevice();
  ExpectRecovers(crashed, progress, 1);
  struct Case {
    const char* name;
    std::function<void(Device&)> change;
    bool refused;
  };
  const Case cases[] = {
      {"a page that the journal does not hold was changed",
       [](Device& device) { device[kDatabase][18 * kPageSize + 7] ^= std::byte{1}; }, true},
      {"an older copy of the database was put back",
       [](Device& device) {
         device[kDatabase] = StartingDatabase();
         device[kDatabase][19 * kPageSize] ^= std::byte{1};
       },
       true},
      {"the database was cut off", [](Device& device) { device[kDatabase].resize(18 * kPageSize); }, true},
      {"an image in the journal was lost",
       [](Device& device) { device[kJournal][journal_format::EntryOffset(2) + 50] ^= std::byte{1}; }, true},
      {"the journal is another database's",
       [](Device& device) {
         for (const std::size_t at : {std::size_t{0}, journal_format::kHeadSize}) {
           device[kJournal][at + journal_format::kSalt] ^= std::byte{1};
         }
         MendHeads(device[kJournal]);
       },
       true},
      {"a finished database was put in its place, whose untouched pages agree",
       [](Device& device) { device[kDatabase] = FinishedDatabase(); }, true},
      {"the journal is gone", [](Device& device) { device.erase(kJournal); }, true},
      {"the journal was emptied", [](Device& device) { device[kJournal].clear(); }, true},
      {"both heads of the journal are damaged",
       [](Device& device) {
         device[kJournal][journal_format::kSum] ^= std::byte{1};
         device[kJournal][journal_format::kHeadSize] ^= std::byte{1};
       },
       true},
      {"a bit of the first head was flipped",
       [](Device& device) { device[kJournal][journal_format::kLength] ^= std::byte{1}; }, false},
      {"a bit of the second head was flipped",
       [](Device& device) { device[kJournal][journal_format::kHeadSize] ^= std::byte{1}; }, false},
      {"the database is already what it was at the checkpoint",
       [](Device& device) { device[kDatabase] = StartingDatabase(); }, false},
      {"bytes that were never synced stand behind the entries",
       [](Device& device) { device[kJournal].resize(device[kJournal].size() + 5000, std::byte{0x33}); },
       false},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    Device device = crashed;
    test.change(device);
    if (!test.refused) {
      ExpectRecovers(device, progress, 2);
      continue;
    }
    FaultyFileSystem files = Found(device);
    for (const bool writing : {false, true}) {
      const auto open = [&] { writing ? void(OpenForWriting(files)) : void(ReadThroughPager(files)); };
      EXPECT_EQ(NumberOf(open), common::kDamagedDatabase);
    }
    EXPECT_EQ(files.operations(), 0u) << "a refused journal and its database stay as they are";
  }
}

TEST(Journal, LeavesAForeignFileOfItsNameAlone) {
  FaultyFileSystem files = StartingDevice();
  const Bytes foreign(3000, std::byte{'x'});
  files.Put(kJournal, foreign);
  EXPECT_EQ(ReadThroughPager(files).size(), StartingDatabase().size());
  EXPECT_EQ(NumberOf([&] { OpenForWriting(files); }), common::kFileInUse);
  EXPECT_EQ(files.Contents(kJournal), foreign);
  EXPECT_EQ(files.operations(), 0u);
}

TEST(Journal, IsNotMadeWhereNothingIsWritten) {
  FaultyFileSystem files = StartingDevice();
  const auto pager = OpenForWriting(files);
  {
    const Savepoint undone(*pager);
    pager->Edit(3).bytes()[0] ^= std::byte{1};
  }
  pager->Checkpoint();
  EXPECT_EQ(files.operations(), 0u);
}

TEST(Journal, AReplacedDatabaseIsNeverWrittenInto) {
  const auto copy_over = [](const std::filesystem::path& path, const Bytes& bytes) {
    storage::PosixFileSystem().Open(path, storage::OpenMode::Create)->WriteAt(0, bytes);
  };
  const auto move_over = [&](const std::filesystem::path& path, const Bytes& bytes) {
    std::filesystem::rename(path, path.string() + ".old");
    copy_over(path.string() + ".new", bytes);
    std::filesystem::rename(path.string() + ".new", path);
  };
  const Bytes start = StartingDatabase();
  Bytes other = start;
  other[5 * kPageSize] ^= std::byte{1};
  for (const bool is_moved : {false, true}) {
    for (const bool is_hot : {false, true}) {
      SCOPED_TRACE(testing::Message() << "moved " << is_moved << ", hot " << is_hot);
      const test::TemporaryDirectory directory;
      const auto path = directory.path() / "A.MDB", journal = directory.path() / "A.MDB-journal";
      storage::PosixFileSystem disk;
      copy_over(path, start);
      {
        const auto pager = OpenForWriting(disk, path);
        pager->Edit(5).bytes()[9] ^= std::byte{0xFF};
        if (is_hot) ChangeManyPages(*pager);
        EXPECT_EQ(disk.Exists(journal), is_hot);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the clock of the file system is coarse
        is_moved ? move_over(path, other) : copy_over(path, other);
        EXPECT_EQ(NumberOf([&] { pager->Checkpoint(); }), common::kDamagedDatabase);
        EXPECT_EQ(NumberOf([&] { pager->RequireOwnFile(); }), common::kDamagedDatabase);
      }
      const auto content = [&](const std::filesystem::path& file) {
        Bytes bytes(start.size() + 1);
        bytes.resize(disk.Open(file, storage::OpenMode::Read)->ReadAt(0, bytes));
        return bytes;
      };
      EXPECT_EQ(content(path), other);
      if (is_moved) {
        EXPECT_EQ(content(path.string() + ".old"), start) << "goes back to its checkpoint";
      }
      EXPECT_FALSE(disk.Exists(journal)) << "it is of no use to the new one";
      OpenForWriting(disk, path);
    }
  }
}

TEST(Journal, StandsBesideTheFileThatALinkLeadsTo) {
  const test::TemporaryDirectory directory;
  std::filesystem::create_directory(directory.path() / "real");
  const auto real = directory.path() / "real" / "A.MDB", link = directory.path() / "link.mdb";
  storage::PosixFileSystem disk;
  const Bytes start = StartingDatabase();
  disk.Open(real, storage::OpenMode::Create)->WriteAt(0, start);
  std::filesystem::create_symlink(real, link);
  {
    const auto pager = OpenForWriting(disk, link);
    for (PageNumber page = 1; page < 16; ++page) pager->Edit(page).bytes()[0] ^= std::byte{0xFF};
    EXPECT_TRUE(disk.Exists(directory.path() / "real" / "A.MDB-journal"));
  }  // ends without a checkpoint, after pages were written
  Bytes bytes(start.size());
  disk.Open(real, storage::OpenMode::Read)->ReadAt(0, bytes);
  EXPECT_NE(bytes, start);
  OpenForWriting(disk, real);
  disk.Open(real, storage::OpenMode::Read)->ReadAt(0, bytes);
  EXPECT_EQ(bytes, start);
  EXPECT_FALSE(disk.Exists(directory.path() / "real" / "A.MDB-journal"));
}

}  // namespace
}  // namespace corvix::jet
