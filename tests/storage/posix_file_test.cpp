#include "storage/base/posix_file.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "common/error.h"
#include "support/errors.h"
#include "support/temporary_directory.h"

namespace corvix::storage {
namespace {

namespace fs = std::filesystem;

class PosixFileTest : public testing::Test {
 protected:
  PosixFileTest() { std::ofstream(path) << "0123456789"; }
  int ErrorOf(const fs::path& wanted, OpenMode mode) {
    const common::Error error = test::ErrorOf([&] { files.Open(wanted, mode); });
    EXPECT_EQ(error.place(), error.number() == 0 ? "" : wanted.string());
    return error.number();
  }
  test::TemporaryDirectory directory;
  fs::path path = directory.path() / "f";
  PosixFileSystem files;
};

TEST_F(PosixFileTest, Failures_HaveTheNumbersOfTheConvention) {
  EXPECT_EQ(ErrorOf(directory.path() / "none", OpenMode::Read), common::kFileNotFound);
  EXPECT_EQ(ErrorOf(directory.path() / "none" / "f", OpenMode::Read), common::kPathNotFound);
  EXPECT_EQ(ErrorOf(directory.path() / "none" / "f", OpenMode::Create), common::kPathNotFound);
  EXPECT_EQ(ErrorOf(path / "f", OpenMode::Read), common::kPathNotFound);
  EXPECT_EQ(ErrorOf(directory.path() / std::string(300, 'x'), OpenMode::Create), common::kBadFileName);
  fs::create_directory(directory.path() / "d");
  EXPECT_EQ(ErrorOf(directory.path() / "d", OpenMode::Read), common::kBadFileName);
}

TEST_F(PosixFileTest, ADeviceWithoutRoom_IsAFullDisk) {
  std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit before {};
  ::getrlimit(RLIMIT_FSIZE, &before);
  struct rlimit tight = before;
  tight.rlim_cur = 20;
  const auto file = files.Open(path, OpenMode::ReadWrite);
  ::setrlimit(RLIMIT_FSIZE, &tight);
  std::optional<common::Error> error;
  try {
    file->WriteAt(10, std::vector<std::byte>(100));
  } catch (const common::Error& raised) {
    error = raised;
  }
  ::setrlimit(RLIMIT_FSIZE, &before);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number(), common::kDiskFull);
  EXPECT_NE(error->text().find("make room"), std::string::npos);
  file->WriteAt(10, std::vector<std::byte>(100));
  EXPECT_EQ(file->Size(), 110u);
}

TEST_F(PosixFileTest, WholeFileLock_MeetsOtherOpenersAndFlock) {
  auto first = files.Open(path, OpenMode::ReadWrite);
  auto second = files.Open(path, OpenMode::ReadWrite);
  EXPECT_TRUE(first->TryLock(LockKind::Exclusive, 0, 0));
  EXPECT_FALSE(second->TryLock(LockKind::Shared, 0, 0));
  const int foreign = ::open(path.c_str(), O_RDWR);
  EXPECT_NE(::flock(foreign, LOCK_EX | LOCK_NB), 0);
  first.reset();
  EXPECT_EQ(::flock(foreign, LOCK_EX | LOCK_NB), 0);
  EXPECT_FALSE(second->TryLock(LockKind::Exclusive, 0, 0)) << "held by another program";
  ::close(foreign);
  EXPECT_TRUE(second->TryLock(LockKind::Exclusive, 0, 0));
}

TEST_F(PosixFileTest, IsWritable_RespectsTheReadOnlyMarkEvenForAPrivilegedUser) {
  EXPECT_TRUE(files.IsWritable(path));
  fs::permissions(path, fs::perms::owner_read);
  EXPECT_FALSE(files.IsWritable(path));
}

TEST_F(PosixFileTest, CreateLike_MakesANewFileWithTheRightsOfTheModel) {
  fs::permissions(path, fs::perms::owner_all | fs::perms::group_read);
  fs::create_symlink(path, directory.path() / "link");
  fs::create_symlink(directory.path() / "none", directory.path() / "nowhere");
  for (const char* taken : {"f", "link", "nowhere"}) {
    EXPECT_EQ(ErrorOf(directory.path() / taken, OpenMode::CreateNew), common::kFileExists);
    EXPECT_TRUE(files.IsTaken(directory.path() / taken));
  }
  const fs::path made = directory.path() / "made";
  EXPECT_FALSE(files.IsTaken(made));
  files.CreateLike(made, path)->WriteAt(0, std::vector<std::byte>(1));
  fs::last_write_time(path, fs::last_write_time(path) - std::chrono::hours(5));
  files.CopyTimes(made, path);
  EXPECT_EQ(fs::status(made).permissions(), fs::status(path).permissions());
  EXPECT_EQ(fs::last_write_time(made), fs::last_write_time(path));
  EXPECT_FALSE(fs::exists(directory.path() / "none"));
}

TEST_F(PosixFileTest, Identity_IsThatOfTheFileWhateverItsName) {
  fs::create_hard_link(path, directory.path() / "g");
  EXPECT_EQ(files.Identity(path), files.Identity(directory.path() / "g"));
  EXPECT_EQ(files.Identity(directory.path() / "none"), std::nullopt);
}

}  // namespace
}  // namespace corvix::storage
