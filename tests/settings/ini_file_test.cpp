#include "settings/ini_file.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "common/error.h"
#include "settings/directory_tokens.h"
#include "settings/settings_directory.h"
#include "storage/base/bytes.h"
#include "support/faulty_file_system.h"

namespace corvix::settings::test {
namespace {

namespace fs = std::filesystem;

TEST(IniFile, MissingThingsGiveTheDefault) {
  const SettingsDirectory directory;
  directory.Write("A.INI", "[S]\r\nK=v\r\nempty=\r\n");
  fs::create_directory(directory.path("FOLDER.INI"));
  const auto read = [&](const char* file, const char* section, const char* key) {
    return IniReadString(directory.place, file, section, key, " a b  ");
  };
  EXPECT_EQ(read("A.INI", "S", "K"), "v");
  EXPECT_EQ(read("A.INI", "S", "empty"), "");
  for (const char* file : {"B.INI", "FOLDER.INI", "A.INI\\none\\B.INI", ""})
    EXPECT_EQ(read(file, "S", "K"), " a b");
  EXPECT_EQ(read("A.INI", "T", "K"), " a b");
  EXPECT_EQ(read("A.INI", "S", "J"), " a b");
  EXPECT_EQ(read("A.INI", "", "K"), " a b");
  EXPECT_EQ(read("A.INI", "S", " "), " a b");
}

TEST(IniFile, FindsFilesWithoutRegardToCaseAndKeepsLongValues) {
  const SettingsDirectory directory;
  directory.Write("Zelta.Ini", "[S]\nK=v\n");
  EXPECT_EQ(IniReadString(directory.place, "zelta.INI", "S", "K", ""), "v");
  EXPECT_EQ(IniReadString(directory.place, GetWinDir(directory.place) + "ZELTA.INI", "S", "K", ""), "v");
  IniWriteString(directory.place, "ZELTA.INI", "S", "K", "w");
  EXPECT_EQ(directory.Read("Zelta.Ini"), "[S]\nK=w\n");
  EXPECT_EQ(directory.FileCount(), 1u) << "no second file, no temporary one";
  const std::string long_value(5000, 'x');
  IniWriteString(directory.place, "ZELTA.INI", "S", "K", long_value);
  EXPECT_EQ(IniReadString(directory.place, "ZELTA.INI", "S", "K", ""), long_value);
}

TEST(IniFile, KeepsTheEncodingOfTheFile) {
  const SettingsDirectory directory;
  // Bytes that no Windows-1252 text has survive as well.
  directory.Write("A.INI", "[S]\r\nK=caf\xE9\r\nJ=\x81\r\n");
  EXPECT_EQ(IniReadString(directory.place, "A.INI", "S", "K", ""), "caf\u00E9");
  IniWriteString(directory.place, "A.INI", "S", "K", "\u20AC");
  EXPECT_EQ(directory.Read("A.INI"), "[S]\r\nK=\x80\r\nJ=\x81\r\n");
  IniWriteString(directory.place, "A.INI", "S", "K", "\u0416");
  EXPECT_EQ(directory.Read("A.INI"), "\uFEFF[S]\r\nK=\u0416\r\nJ=\xC2\x81\r\n") << "nothing else holds it";
  EXPECT_EQ(IniReadString(directory.place, "A.INI", "S", "K", ""), "\u0416");

  const std::string little("\xFF\xFE[\0S\0]\0\n\0K\0=\0\x16\x04\n\0", 18);
  directory.Write("B.INI", little);
  EXPECT_EQ(IniReadString(directory.place, "B.INI", "S", "K", ""), "\u0416");
  IniWriteString(directory.place, "B.INI", "S", "K", "\u0417");
  EXPECT_EQ(directory.Read("B.INI"), std::string("\xFF\xFE[\0S\0]\0\n\0K\0=\0\x17\x04\n\0", 18));
  directory.Write("C.INI", std::string("\xFE\xFF\0[\0S\0]\0\n\0K\0=\x04\x16", 16));
  EXPECT_EQ(IniReadString(directory.place, "C.INI", "S", "K", ""), "\u0416");
  IniWriteString(directory.place, "C.INI", "S", "K", "x");
  EXPECT_EQ(directory.Read("C.INI"), std::string("\xFE\xFF\0[\0S\0]\0\n\0K\0=\0x", 16));
}

TEST(IniFile, FailedWritesChangeNothing) {
  const SettingsDirectory directory;
  directory.Write("A.INI", "[S]\r\nK=v\r\n");
  fs::permissions(directory.path("A.INI"), fs::perms::owner_read);
  IniWriteString(directory.place, "A.INI", "S", "K", "w");
  EXPECT_EQ(directory.Read("A.INI"), "[S]\r\nK=v\r\n");
  IniWriteString(directory.place, GetWinDir(directory.place) + "missing\\B.INI", "S", "K", "w");
  fs::create_directory(directory.path("FOLDER.INI"));
  IniWriteString(directory.place, "FOLDER.INI", "S", "K", "w");
  const std::string temporary = ".B.INI." + std::to_string(::getpid()) + ".tmp";
  fs::create_symlink("A.INI", directory.path(temporary));
  IniWriteString(directory.place, "B.INI", "S", "K", "w");
  EXPECT_EQ(directory.Read("A.INI"), "[S]\r\nK=v\r\n") << "nothing is written through a link";
  EXPECT_TRUE(fs::is_symlink(directory.path(temporary)));
  EXPECT_EQ(directory.FileCount(), 3u);
}

TEST(IniFile, WritesThroughLinksAndMakesItsDirectory) {
  const SettingsDirectory directory;
  const SettingsPlace inside{directory.place.files, directory.path("deep") / "corvix"};
  IniWriteString(inside, GetWinDir(inside) + "CORVIX.INI", "S", "K", "v");
  EXPECT_EQ(directory.Read("deep/corvix/CORVIX.INI"), "[S]\r\nK=v\r\n");

  directory.Write("real.ini", "[S]\r\nK=v\r\n");
  fs::create_symlink("real.ini", directory.path("A.INI"));
  IniWriteString(directory.place, "A.INI", "S", "K", "w");
  EXPECT_EQ(directory.Read("real.ini"), "[S]\r\nK=w\r\n");
  EXPECT_TRUE(fs::is_symlink(directory.path("A.INI")));
  fs::permissions(directory.path("real.ini"), fs::perms::owner_all | fs::perms::group_write);
  IniWriteString(directory.place, "A.INI", "S", "K", "x");
  EXPECT_EQ(fs::status(directory.path("real.ini")).permissions(),
            fs::perms::owner_all | fs::perms::group_write);
}

TEST(IniFile, IsTheOldOrTheNewOneAfterAPowerCut) {
  using corvix::test::Unsynced;
  const std::string old_text = "[S]\r\nK=v\r\n";
  const std::string new_text = "[S]\r\nK=a longer value\r\n";
  const fs::path file = "/windows/A.INI";
  bool finished = false;
  for (std::uint64_t operation = 0; !finished; ++operation) {
    corvix::test::FaultyFileSystem files;
    const auto bytes = storage::AsBytes(old_text);
    files.Put(file, {bytes.begin(), bytes.end()});
    files.CutAt(operation);
    try {
      IniWriteString({files, file.parent_path()}, "A.INI", "S", "K", "a longer value");
      finished = true;
      EXPECT_GE(operation, 5u) << "create, write, sync, rename and sync of the directory were to be cut";
    } catch (const corvix::test::PowerCut&) {
    }
    for (const auto unsynced : {Unsynced::Kept, Unsynced::Dropped, Unsynced::Mixed}) {
      const auto found = files.AfterCut(unsynced).at(file);
      const std::string text(storage::AsText(found));
      EXPECT_TRUE(text == new_text || (text == old_text && !finished))
          << "cut at " << operation << ": " << text;
    }
  }
}

TEST(IniFile, DeviceErrorsOnReadingReachTheCaller) {
  corvix::test::FaultyFileSystem files;
  files.Put("/windows/A.INI", {});
  const auto read = [&](common::ErrorNumber number) {
    files.before_open = [=](auto&&...) { throw common::Error(number); };
    return IniReadString({files, "/windows"}, "A.INI", "S", "K", "d");
  };
  EXPECT_THROW(read(common::kDeviceIo), common::Error);
  EXPECT_EQ(read(common::kPermissionDenied), "d");
}

}  // namespace
}  // namespace corvix::settings::test
