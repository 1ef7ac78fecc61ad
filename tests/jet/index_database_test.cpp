// Opening, sharing and closing databases.
#include <algorithm>
#include <gmock/gmock.h>
#include <thread>

#include "jet/index_tables.h"
#include "sample/folvane_schema.h"
#include "storage/base/posix_file.h"
#include "support/temporary_directory.h"

namespace corvix::jet {
namespace {

using core::Access;
using corvix::sample::FolvaneSchema;
using test::Add;
using test::ErrorOf;
using test::kFile;
using test::NumberOf;
using test::Tables;
using test::Text;
using testing::HasSubstr;

common::Error OpenError(storage::FileSystem& files, const std::filesystem::path& path,
                        Access access = Access::ReadWrite) {
  return ErrorOf([&] { OpenJetDatabase(files, path, access); });
}

TEST(JetDatabase, SaysWhyAFileCannotBeOpened) {
  const corvix::test::TemporaryDirectory directory;
  storage::PosixFileSystem files;
  const auto path = directory.path() / "FOLVANE.MDB";
  EXPECT_EQ(OpenError(files, path).number(), common::kFileNotFound);
  EXPECT_EQ(OpenError(files, directory.path() / "none" / "FOLVANE.MDB").number(), common::kPathNotFound);

  CreateDatabase(files, path, FolvaneSchema());
  namespace fs = std::filesystem;
  constexpr auto kWrite = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  for (const auto& [protect, word] :
       {std::pair{path, "read-only"}, std::pair{directory.path(), "directory"}}) {
    fs::permissions(protect, kWrite, fs::perm_options::remove);
    const common::Error error = OpenError(files, path);
    EXPECT_EQ(error.number(), common::kFileInUse);
    EXPECT_THAT(error.what(), testing::AllOf(HasSubstr(word), HasSubstr("FOLVANE.MDB")));
    EXPECT_EQ(OpenError(files, path, Access::ReadOnly).number(), 0) << "reading needs no such right";
    fs::permissions(protect, fs::perms::owner_write, fs::perm_options::add);
  }

  {  // another program
    const auto other = files.Open(path, storage::OpenMode::ReadWrite);
    ASSERT_TRUE(other->TryLock(storage::LockKind::Shared, 0, 0));
    EXPECT_EQ(OpenError(files, path, Access::ReadOnly).number(), 0);
    EXPECT_EQ(OpenError(files, path).number(), common::kFileInUse);
    ASSERT_TRUE(other->TryLock(storage::LockKind::Exclusive, 0, 0));
    EXPECT_EQ(OpenError(files, path, Access::ReadOnly).number(), common::kFileInUse);
    EXPECT_THAT(OpenError(files, path).text(), HasSubstr("another program"));
  }
  {
    const auto reader = OpenJetDatabase(files, path, Access::ReadOnly);
    EXPECT_EQ(OpenError(files, path, Access::ReadOnly).number(), 0);
    EXPECT_THAT(OpenError(files, path).text(), HasSubstr("this program"));
  }
  EXPECT_EQ(OpenError(files, path).number(), 0);
  EXPECT_TRUE(std::ranges::equal(files.List(directory.path()), std::vector<std::string>{"FOLVANE.MDB"}))
      << "nothing stays behind";
}

TEST(JetDatabase, RefusesFilesThatAreNoSoundDatabase) {
  struct Case {
    const char* name;
    common::ErrorNumber number;
    const char* message;
    void (*damage)(std::vector<std::byte>& file);
  };
  using common::kDamagedDatabase, common::kUnrecognizedFormat;
  const Case cases[] = {
      {"empty", kUnrecognizedFormat, "too short", [](auto& file) { file.clear(); }},
      {"text", kUnrecognizedFormat, "not an Access database",
       [](auto& file) { std::ranges::fill(file, std::byte{'x'}); }},
      {"Access 97", kUnrecognizedFormat, "Access 97 or older", [](auto& file) { file[0x14] = std::byte{0}; }},
      {"later", kUnrecognizedFormat, "later version", [](auto& file) { file[0x14] = std::byte{2}; }},
      {"ACE", kUnrecognizedFormat, "later version",
       [](auto& file) { std::ranges::copy(storage::AsBytes("ACE"), file.begin() + 13); }},
      {"cut", kDamagedDatabase, "", [](auto& file) { file.resize(file.size() - 100); }},
      {"cut by pages", kDamagedDatabase, "", [](auto& file) { file.resize(2 * kPageSize); }},
      {"password", common::kNotAPassword, "password", [](auto& file) { file[0x42] ^= std::byte{'s'}; }},
      {"catalogue gone", kDamagedDatabase, "page 2",
       [](auto& file) { std::fill_n(file.begin() + 2 * kPageSize, kPageSize, std::byte{0}); }},
  };
  for (const Case& c : cases) {
    storage::MemoryFileSystem files;
    CreateDatabase(files, kFile, FolvaneSchema());
    c.damage(files.Contents(kFile));
    const auto before = files.Contents(kFile);
    const common::Error error = OpenError(files, kFile);
    EXPECT_EQ(error.number(), c.number) << c.name << ": " << error.what();
    EXPECT_THAT(error.what(), testing::AllOf(HasSubstr("FOLVANE.MDB"), HasSubstr(c.message))) << c.name;
    EXPECT_EQ(files.Contents(kFile), before) << c.name;
  }
}

TEST(JetDatabase, IsOneForAllWhoOpenItByAnyName) {
  const corvix::test::TemporaryDirectory directory;
  storage::PosixFileSystem files;
  const auto path = directory.path() / "FOLVANE.MDB";
  CreateDatabase(files, path, FolvaneSchema());
  std::filesystem::create_symlink(path, directory.path() / "other.mdb");
  auto first = OpenJetDatabase(files, path, Access::ReadWrite);
  auto second = OpenJetDatabase(files, directory.path() / "other.mdb", Access::ReadWrite);
  const auto reader = OpenJetDatabase(files, directory.path() / "." / "FOLVANE.MDB", Access::ReadOnly);
  const auto a = first->OpenTable("COMPS");
  const auto b = second->OpenTable("comps");
  const auto c = reader->OpenTable("Comps");
  EXPECT_EQ(NumberOf([&] { first->OpenTable("COMP"); }), common::kObjectNotFound);
  Add(*a, {{"CENTRALKEY", "1 ELM"}});
  for (core::RecordSet* records : {b.get(), c.get()}) {
    records->SelectIndex("CENTRALKEY");
    records->SeekEqual("1 elm");
    EXPECT_FALSE(records->NoMatch());
  }
  EXPECT_EQ(NumberOf([&] { c->BeginAdd(); }), common::kReadOnly);

  // A database that is replaced lives on in its record sets; one that is closed does not.
  first.reset();
  Add(*a, {{"CENTRALKEY", "2 ELM"}});
  second->Close();
  second->Close();
  for (const auto& use : std::initializer_list<std::function<void()>>{
           [&] { b->MoveFirst(); }, [&] { b->Read(0); }, [&] { b->BeginAdd(); }, [&] { b->Fields(); },
           [&] { second->OpenTable("COMPS"); }}) {
    EXPECT_EQ(NumberOf(use), common::kObjectInvalid);
  }
  EXPECT_FALSE(b->HasRow());
  EXPECT_EQ(a->RecordCount(), 2);
}

TEST(JetDatabase, LastReferenceLeavesEverythingInTheFile) {
  Tables tables(FolvaneSchema());
  auto comps = tables.Set("COMPS");
  tables.database.reset();
  Add(*comps, {{"CENTRALKEY", "1 ELM"}, {"COMMENTS", std::string(9000, 'c')}});
  comps.reset();
  tables.Open(Access::ReadOnly);
  comps = tables.Set("COMPS");
  EXPECT_EQ(Text(*comps, "COMMENTS"), std::string(9000, 'c'));
  comps.reset();
  tables.Check();
}

TEST(JetDatabase, CheckpointsByItselfWhileRowsAreStored) {
  Tables tables(FolvaneSchema());
  const auto comps = tables.Set("COMPS");
  Add(*comps, {{"CENTRALKEY", "1 ELM"}});
  const auto before = tables.files.Contents(kFile);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(tables.files.Contents(kFile), before);
  Add(*comps, {{"CENTRALKEY", "2 ELM"}});
  const auto first = tables.files.Contents(kFile);
  EXPECT_NE(first, before) << "the row stored a second ago is in the file";
  tables.database->CheckpointWhenDue();
  EXPECT_EQ(tables.files.Contents(kFile), first);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  tables.database->CheckpointWhenDue();
  EXPECT_NE(tables.files.Contents(kFile), first) << "and the second one, without a third";
  tables.Check();
}

}  // namespace
}  // namespace corvix::jet
