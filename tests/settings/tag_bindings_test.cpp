// Bindings, directory tokens, path strings. How bindings fill and save controls is tested on the real ones,
// with the window.
#include "settings/tag_bindings.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "settings/directory_tokens.h"
#include "settings/ini_file.h"
#include "settings/path_strings.h"
#include "settings/settings_directory.h"

namespace corvix::settings::test {
namespace {

TEST(TagBindings, SplitAtTheFirstOfEachSeparator) {
  const TagBinding binding = SplitBinding("<WINDIR>A.INI[S [x]two words|a|b]");
  EXPECT_EQ(binding.file, "<WINDIR>A.INI");
  EXPECT_EQ(binding.section, "S [x");
  EXPECT_EQ(binding.key, "two words");
  EXPECT_EQ(binding.default_value, "a|b]");
}

TEST(DirectoryTokens, Expand) {
  const SettingsDirectory directory;
  directory.Write("tolven.ini", "[DIRECTORIES]\r\nDATADIR=\"  D:\\DATA \"\r\nAPPDIR=E:\\APP\\\r\n");
  const std::string windows = GetWinDir(directory.place);
  ASSERT_TRUE(windows.ends_with("\\") && windows.find('/') == std::string::npos) << windows;
  const std::pair<std::string, std::string> kCases[] = {{"<WINDIR>CORVIX.INI", windows + "CORVIX.INI"},
                                                        {"<windir>corvix.ini", windows + "corvix.ini"},
                                                        {"<WINDIR>", windows},
                                                        {"A<WINDIR>B.INI", windows + "B.INI"},
                                                        {"A>B<WINDIR>C", windows + "B<WINDIR>C"},
                                                        {"<DATADIR>X.INI", "D:\\DATA\\X.INI"},
                                                        {"<AppDir>X.INI", "E:\\APP\\X.INI"},
                                                        {"<USERDIR>X.INI", "X.INI"},
                                                        {"<APPDIR><DATADIR>", "D:\\DATA\\<DATADIR>"},
                                                        {"<TEMP>X.INI", ""},
                                                        {"C:\\APP\\X.INI", "C:\\APP\\X.INI"},
                                                        {"<WINDIR", "<WINDIR"}};
  for (const auto& [path, expected] : kCases)
    EXPECT_EQ(TagExpandDir(directory.place, path), expected) << path;
  EXPECT_EQ(GetDataDir(directory.place), "  D:\\DATA ");
  const SettingsPlace nowhere{directory.place.files, {}};
  EXPECT_EQ(TagExpandDir(nowhere, "<WINDIR>CORVIX.INI"), "CORVIX.INI");
  IniWriteString(nowhere, "CORVIX.INI", "S", "K", "v");
  EXPECT_FALSE(std::filesystem::exists("CORVIX.INI")) << "never into the working directory";
}

TEST(DefaultWindowsDirectory, FollowsTheEnvironment) {
  const auto with = [](const char* config, const char* home) {
    ::setenv("XDG_CONFIG_HOME", config, 1);
    ::setenv("HOME", home, 1);
    return DefaultWindowsDirectory().string();
  };
  EXPECT_EQ(with("/etc/config", "/home/u"), "/etc/config/corvix");
  EXPECT_EQ(with("relative", "/home/u"), "/home/u/.config/corvix");
  EXPECT_EQ(with("", ""), "");
}

TEST(PathStrings, JoinDirectoriesAndFileNames) {
  PathStrings paths;
  SetGlobalNames(paths, "  C:\\DATA ", " comps.dbf", "D:\\T\\", "FOLVANE.MDB");
  EXPECT_EQ(paths.CompPath, "C:\\DATA\\");
  EXPECT_EQ(paths.CompFile, "C:\\DATA\\ comps.dbf");
  EXPECT_EQ(paths.CompsFile, "D:\\T\\FOLVANE.MDB");
  SetGlobalNames(paths, " ", "COMPS.DBF", "", "");
  EXPECT_EQ(paths.CompPath + "|" + paths.CompFile + "|" + paths.CompsFile, "|COMPS.DBF|");
}

}  // namespace
}  // namespace corvix::settings::test
