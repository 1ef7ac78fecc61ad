// Who may open a database that others use, what is said to whom, and what the lock file holds meanwhile.
#include "storage/jet/pages/lock_file.h"

#include <gmock/gmock.h>

#include "common/error.h"
#include "storage/base/bytes.h"
#include "storage/base/computer_name.h"
#include "storage/base/posix_file.h"
#include "support/faulty_file_system.h"
#include "support/temporary_directory.h"

namespace corvix::jet {
namespace {

using core::Access;
using storage::OpenMode;
using testing::HasSubstr;

constexpr std::uint64_t kUserLocks = 0x10000001;

std::string Entry(std::string computer, std::string user) {
  computer.resize(32), user.resize(32);
  return computer + user;
}

/// The text of the error that opening raises; empty when it succeeds.
std::string Refusal(storage::FileSystem& files, const std::filesystem::path& path, Access access) {
  try {
    const auto file = OpenLocked(files, path, access);
    if (access == Access::ReadWrite) const LockFile user(files, path);
  } catch (const common::Error& error) {
    EXPECT_EQ(error.number(), common::kFileInUse) << error.what();
    return error.what();
  }
  return {};
}

class LockFileTest : public testing::Test {
 protected:
  LockFileTest() { Put(database, "pages"); }
  void Put(const std::filesystem::path& path, std::string_view text) {
    files.Open(path, OpenMode::Create)->WriteAt(0, storage::AsBytes(text));
  }
  std::string Get(const std::filesystem::path& path) {
    const auto file = files.Open(path, OpenMode::Read);
    std::vector<std::byte> bytes(file->Size());
    file->ReadAt(0, bytes);
    return std::string(storage::AsText(bytes));
  }
  test::TemporaryDirectory directory;
  std::filesystem::path database = directory.path() / "FOLVANE.MDB",
                        lock_file = directory.path() / "FOLVANE.ldb";
  storage::PosixFileSystem files;
};

TEST_F(LockFileTest, WhatOthersLeftOrHoldDecides) {
  struct Case {
    const char* name;
    const char* file;  ///< name of the lock file
    std::string content;
    std::optional<std::uint64_t> alive;  ///< number of the user who holds a lock
    const char* writer_is_told;          ///< empty: may write
    const char* reader_is_told;
  };
  const std::string others = Entry("PC6", "Admin") + Entry("PC7             ", "ANNA");
  const Case cases[] = {
      {"left over", "FOLVANE.ldb", others, {}, "", ""},
      {"left over, letters in another case", "folvane.LDB", others, {}, "", ""},
      {"a user", "Folvane.Ldb", others, 1, "user ANNA on computer PC7;", "user ANNA on computer PC7;"},
      {"a user without entry", "FOLVANE.ldb", others, 254, "another program", "another program"},
      {"a name that is none", "FOLVANE.ldb", Entry("\x1B[2J\xC3", ""), 0, "user unknown on computer ?[2J?",
       "?[2J?"},
      {"no lock file", "FOLVANE.ldb", "something else", {}, "is none; give it another name", ""},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const auto path = directory.path() / test.file;
    Put(path, test.content);
    auto other = files.Open(path, OpenMode::ReadWrite);
    if (test.alive) other->TryLock(storage::LockKind::Exclusive, kUserLocks + *test.alive, 1);
    EXPECT_THAT(Refusal(files, database, Access::ReadOnly), HasSubstr(test.reader_is_told));
    EXPECT_EQ(Refusal(files, database, Access::ReadOnly).empty(), *test.reader_is_told == 0);
    EXPECT_EQ(Get(path), test.content) << "readers write nothing";
    const std::string refusal = Refusal(files, database, Access::ReadWrite);
    EXPECT_THAT(refusal, HasSubstr(test.writer_is_told));
    EXPECT_EQ(refusal.empty(), *test.writer_is_told == 0);
    EXPECT_EQ(files.Exists(path), !refusal.empty()) << "the last user removes the file";
    EXPECT_EQ(refusal.empty() ? test.content : Get(path), test.content);
    std::filesystem::remove(path);
  }
}

TEST_F(LockFileTest, AWriterIsSeenByTheOthers) {
  Put(lock_file, Entry("PC6", "Admin") + Entry("PC7", "Admin"));
  const auto file = OpenLocked(files, database, Access::ReadWrite);
  auto user = std::make_unique<LockFile>(files, database);
  const std::string name = storage::ComputerName().substr(0, 31);
  EXPECT_EQ(Get(lock_file), Entry(name, "Admin") + Entry("PC7", "Admin"));
  for (const Access access : {Access::ReadOnly, Access::ReadWrite}) {
    EXPECT_THAT(Refusal(files, database, access), HasSubstr("user Admin on computer " + name));
  }
  const auto other = files.Open(lock_file, OpenMode::ReadWrite);  // comes in all the same
  EXPECT_FALSE(other->TryLock(storage::LockKind::Exclusive, kUserLocks, 1));
  EXPECT_TRUE(other->TryLock(storage::LockKind::Exclusive, kUserLocks + 1, 1));
  user.reset();
  EXPECT_TRUE(files.Exists(lock_file)) << "it is the other's now";
}

TEST_F(LockFileTest, TakesNothingElseThatBearsItsName) {
  const auto victim = directory.path() / "victim";
  Put(victim, "");
  std::filesystem::create_symlink(victim, lock_file);
  EXPECT_THAT(Refusal(files, database, Access::ReadWrite), HasSubstr("is none; give it another name"));
  EXPECT_EQ(Get(victim), "");
  std::filesystem::remove(lock_file);
  std::filesystem::create_directory(lock_file);
  EXPECT_THAT(Refusal(files, database, Access::ReadWrite), HasSubstr("is none; give it another name"));
  EXPECT_EQ(Refusal(files, database, Access::ReadOnly), "");
  std::filesystem::remove(lock_file);
  std::filesystem::permissions(database, std::filesystem::perms(0640));
  const auto file = OpenLocked(files, database, Access::ReadWrite);
  const LockFile user(files, database);
  EXPECT_EQ(std::filesystem::status(lock_file).permissions(), std::filesystem::perms(0640));
}

TEST(LockFile, GoesOnWhereThatIsSafe) {
  test::FaultyFileSystem files;
  files.Put("A.MDB", {});
  files.before_lock = [] { throw common::Error(common::kUnsupported); };
  EXPECT_EQ(Refusal(files, "A.MDB", Access::ReadOnly), "");
  EXPECT_THAT(Refusal(files, "A.MDB", Access::ReadWrite), HasSubstr("has no locks"));
  files.before_lock = [] {};

  files.Put("A.ldb", {});  // left over, and this user may not write it
  const auto deny = [] { throw common::Error(common::kPermissionDenied); };
  files.before_open = [&](const auto& path, OpenMode mode) {
    if (path == "A.ldb" && mode != OpenMode::Read && files.Exists(path)) deny();
  };
  files.before_remove = deny;
  EXPECT_THAT(Refusal(files, "A.MDB", Access::ReadWrite), HasSubstr("remove it (A.ldb)"));
  EXPECT_EQ(Refusal(files, "A.MDB", Access::ReadOnly), "");
  files.before_remove = [] {};
  EXPECT_EQ(Refusal(files, "A.MDB", Access::ReadWrite), "") << "removed and made anew";
  EXPECT_FALSE(files.Exists("A.ldb"));
}

}  // namespace
}  // namespace corvix::jet
