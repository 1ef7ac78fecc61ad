// Backups and restores with a failure, or a power cut, at every operation: the database is never harmed, and
// a file with a dated name is always complete.
#include "cli/safe_copy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/error.h"
#include "sample/folvane_schema.h"
#include "storage/base/memory_file.h"
#include "storage/jet/jet_database.h"
#include "support/errors.h"
#include "support/faulty_file_system.h"

namespace corvix::cli {
namespace {

using Bytes = std::vector<std::byte>;
using test::FaultyFileSystem;
using test::Unsynced;

const std::filesystem::path kDatabase = "/new/FOLVANE.MDB";
const std::filesystem::path kCopy = "/safe/COPY.MDB";
const std::filesystem::path kBackup = "/new/FOLVANE-20240102-030405.MDB";
const std::filesystem::path kReplaced = "/new/FOLVANE-replaced-20240102-030405.MDB";
constexpr std::string_view kStamp = "20240102-030405";

Bytes Database(const std::string& table, bool allow_zero_length = true) {
  storage::MemoryFileSystem files;
  jet::DatabaseDescription schema = sample::FolvaneSchema({.allow_zero_length = allow_zero_length});
  schema.tables.front().name = table;
  jet::CreateDatabase(files, kDatabase, schema);
  return files.Contents(kDatabase);
}

class SafeCopyTest : public testing::Test {
 protected:
  std::unique_ptr<FaultyFileSystem> Device() const {
    auto files = std::make_unique<FaultyFileSystem>();
    files->Put(kDatabase, old_);
    files->Put(kCopy, new_);
    return files;
  }

  /// Runs the action with a failure at each of its operations, and with a power cut at each.
  template <typename Action, typename Expect>
  void AtEveryOperation(Action action, Expect expect) const {
    const auto whole = Device();
    action(*whole);
    for (std::uint64_t n = 0; n < whole->operations(); ++n) {
      for (const std::uint64_t count : {std::uint64_t{1}, std::uint64_t{1000}}) {
        SCOPED_TRACE(testing::Message() << count << " failures at operation " << n);
        const auto files = Device();
        files->FailAt(n, count, common::kDiskFull);
        try {
          action(*files);
        } catch (const common::Error& error) {
          EXPECT_EQ(error.number(), common::kDiskFull);
        }
        expect(files->AfterCut(Unsynced::Kept));
      }
      for (const Unsynced unsynced : {Unsynced::Kept, Unsynced::Dropped, Unsynced::Mixed}) {
        for (unsigned seed = 0; seed < 2; ++seed) {
          SCOPED_TRACE(testing::Message() << "cut at operation " << n << ", seed " << seed);
          const auto files = Device();
          files->CutAt(n);
          EXPECT_THROW(action(*files), test::PowerCut);
          expect(files->AfterCut(unsynced, seed));
        }
      }
    }
  }

  const Bytes old_ = Database("COMPS");
  const Bytes new_ = Database("COMPS", false);
};

TEST_F(SafeCopyTest, BackUp_CopiesBesideTheDatabaseAndKeepsEarlierCopies) {
  const auto files = Device();
  EXPECT_EQ(BackUp(*files, kDatabase, kStamp), kBackup);
  EXPECT_EQ(files->Contents(kBackup), old_);
  EXPECT_EQ(BackUp(*files, kDatabase, kStamp), "/new/FOLVANE-20240102-030405-2.MDB");
}

TEST_F(SafeCopyTest, BackUp_NeverHarmsTheDatabaseNorLeavesHalfACopy) {
  AtEveryOperation([](FaultyFileSystem& files) { BackUp(files, kDatabase, kStamp); },
                   [&](const std::map<std::filesystem::path, Bytes>& device) {
                     EXPECT_EQ(device.at(kDatabase), old_);
                     if (device.contains(kBackup)) {
                       EXPECT_EQ(device.at(kBackup), old_);
                     }
                   });
}

TEST_F(SafeCopyTest, Restore_GivesTheOldOrTheNewDatabaseAndKeepsTheReplacedOne) {
  const auto files = Device();
  const Restored restored = Restore(*files, kCopy, kDatabase, kStamp);
  EXPECT_EQ(restored.replaced, kReplaced);
  EXPECT_EQ(files->List("/new"),
            (std::vector<std::string>{"FOLVANE-replaced-20240102-030405.MDB", "FOLVANE.MDB", "COPY.MDB"}))
      << "nothing temporary is left";
  AtEveryOperation([](FaultyFileSystem& faulty) { Restore(faulty, kCopy, kDatabase, kStamp); },
                   [&](const std::map<std::filesystem::path, Bytes>& device) {
                     EXPECT_EQ(device.at(kCopy), new_);
                     const bool is_new = device.at(kDatabase) == new_;
                     EXPECT_TRUE(is_new || device.at(kDatabase) == old_);
                     if (is_new || device.contains(kReplaced)) {
                       EXPECT_EQ(device.at(kReplaced), old_);
                     }
                   });
}

/// The device after a program that adds a row was killed at that operation.
std::map<std::filesystem::path, Bytes> KilledWhileAdding(const Bytes& database, std::uint64_t operation) {
  FaultyFileSystem files;
  files.Put(kDatabase, database);
  files.CutAt(operation);
  try {
    const auto opened = jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite);
    const auto table = opened->OpenTable("COMPS");
    table->BeginAdd();
    table->Write(core::RequireField(*table, "CENTRALKEY"), std::string("KEY"));
    table->Store();
    opened->Close();
  } catch (const test::PowerCut&) {  // the device is what matters
  }
  return files.AfterCut(Unsynced::Kept);
}

TEST_F(SafeCopyTest, Restore_OverATornDatabase_LeavesNoJournalThatTakesItBack) {
  // A kill in the middle of writing the pages: behind the one that puts the journal into use.
  std::map<std::filesystem::path, Bytes> torn = KilledWhileAdding(old_, 0);
  for (std::uint64_t n = 0; torn.at(kDatabase) == old_; ++n) torn = KilledWhileAdding(old_, n);
  ASSERT_TRUE(torn.contains("/new/FOLVANE.MDB-journal"));
  const auto restore = [&](std::optional<std::uint64_t> cut) {
    FaultyFileSystem files;
    for (const auto& [path, bytes] : torn) files.Put(path, bytes);
    files.Put(kCopy, new_);
    if (cut) files.CutAt(*cut);
    try {
      Restore(files, kCopy, kDatabase, kStamp);
    } catch (const test::PowerCut&) {
    }
    return std::pair(files.AfterCut(Unsynced::Kept), files.operations());
  };
  for (std::uint64_t cut = 0, count = restore(std::nullopt).second; cut <= count; ++cut) {
    SCOPED_TRACE(testing::Message() << "cut at operation " << cut);
    FaultyFileSystem files;
    for (const auto& [path, bytes] : restore(cut).first) files.Put(path, bytes);
    jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite)->Close();
    const bool is_new = files.Contents(kDatabase) == new_;
    EXPECT_TRUE(is_new || (cut < count && files.Contents(kDatabase) == old_));
  }
}

TEST_F(SafeCopyTest, WhatAKilledCopyLeft_IsClearedAndNothingElse) {
  const Bytes half(old_.begin(), old_.begin() + static_cast<std::ptrdiff_t>(old_.size() / 2));
  const Bytes mine(3, std::byte{'x'});
  const auto files = Device();
  files->Put("/new/FOLVANE-20230102-030405-2.MDB.part", half);
  files->Put("/new/FOLVANE-replaced-20230102-030405.MDB.part", {});
  files->Put("/new/FOLVANE.MDB.part", mine);
  files->Put("/new/FOLVANE-20230102-030406.MDB.part", mine);
  files->Put("/new/FOLVANE-mine.MDB.part", half);
  EXPECT_EQ(test::NumberOf([&] { Restore(*files, kCopy, kDatabase, kStamp); }), common::kFileExists);
  BackUp(*files, kDatabase, kStamp);
  EXPECT_THAT(files->List("/new"),
              testing::UnorderedElementsAre("FOLVANE.MDB", "COPY.MDB", kBackup.filename().string(),
                                            "FOLVANE.MDB.part", "FOLVANE-20230102-030406.MDB.part",
                                            "FOLVANE-mine.MDB.part"));
  files->Put("/new/FOLVANE.MDB.part", half);
  Restore(*files, kCopy, kDatabase, kStamp);
  EXPECT_FALSE(files->Exists("/new/FOLVANE.MDB.part"));
}

TEST_F(SafeCopyTest, ACopyThatReadsBackOtherwise_IsRefused) {
  FaultyFileSystem files;
  files.on_read = [](const auto& path, storage::ByteSpan bytes) {  // keeps a byte otherwise than it was told
    if (path != kDatabase && !bytes.empty()) bytes.back() ^= std::byte{1};
  };
  files.Put(kDatabase, old_);
  EXPECT_EQ(test::NumberOf([&] { BackUp(files, kDatabase, kStamp); }), common::kDeviceIo);
  EXPECT_EQ(files.List("/new"), std::vector<std::string>{"FOLVANE.MDB"});
}

TEST_F(SafeCopyTest, WhatIsNoSoundDatabase_IsRefused) {
  Bytes damaged = new_;
  std::fill(damaged.begin() + 5 * 4096, damaged.begin() + 6 * 4096, std::byte{0x55});
  struct Case {
    const char* name;
    Bytes bytes;
    common::ErrorNumber number;
  };
  for (const Case& c : {Case{"text", Bytes(5000, std::byte{'x'}), common::kUnrecognizedFormat},
                        {"empty", {}, common::kUnrecognizedFormat},
                        {"cut", Bytes(new_.begin(), new_.begin() + 4096 * 4), common::kDamagedDatabase},
                        {"damaged page", damaged, common::kDamagedDatabase},
                        {"no COMPS", Database("OTHER"), common::kObjectNotFound}}) {
    SCOPED_TRACE(c.name);
    const auto files = Device();
    files->Put(kCopy, c.bytes);
    EXPECT_EQ(test::NumberOf([&] { Restore(*files, kCopy, kDatabase, kStamp); }), c.number);
    EXPECT_EQ(files->Contents(kDatabase), old_);
    if (c.number == common::kDamagedDatabase) {
      files->Put(kDatabase, c.bytes);
      EXPECT_EQ(test::NumberOf([&] { BackUp(*files, kDatabase, kStamp); }), c.number);
    }
    EXPECT_EQ(files->operations(), 0u) << "nothing was touched";
  }
}

}  // namespace
}  // namespace corvix::cli
