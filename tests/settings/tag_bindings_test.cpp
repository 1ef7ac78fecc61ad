#include "settings/tag_bindings.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "common/error.h"
#include "common/report_error.h"
#include "settings/directory_tokens.h"
#include "settings/ini_file.h"
#include "settings/path_strings.h"
#include "settings/settings_directory.h"

namespace corvix::settings::test {
namespace {

/// A control with nothing behind it; the members of a group switch each other off.
class FakeControl : public BoundControl {
 public:
  explicit FakeControl(std::string_view name) : FakeControl(name, TagOf(name)) {}
  FakeControl(std::string_view name, std::string_view tag) : name_(name), tag_(tag) {}
  std::string Name() const override { return name_; }
  std::string Tag() const override { return tag_; }
  std::string Text() const override { return text; }
  void SetText(std::string_view value) override { text = value; }
  void SetCaption(std::string_view value) override { caption = value; }
  int State() const override { return state; }
  void SetState(int value) override {
    if (value < 0 || value > 2) throw common::Error(common::kInvalidPropertyValue);
    if (value != 0) {
      for (FakeControl* other : group) other->state = 0;
    }
    state = value;
  }

  std::string text = "unset";
  std::string caption = "unset";
  int state = 0;
  std::vector<FakeControl*> group;

 private:
  std::string name_;
  std::string tag_;
};

class TagBindings : public testing::Test {
 protected:
  TagBindings() {
    for (FakeControl& option : options) {
      for (FakeControl& other : options) option.group.push_back(&other);
    }
  }

  std::string Options() const {
    std::string states;
    for (const FakeControl& option : options) states += std::to_string(option.state);
    return states;
  }

  SettingsDirectory directory;
  FakeControl comp_path{"txtCompPath"}, comps_path{"txtCompsPath"}, comp_file{"txtcompfilename"},
      comps_file{"txtcompsfilename"}, photos{"ckbconvertphotos"};
  std::array<FakeControl, 3> options{FakeControl{"optdup(0)"}, FakeControl{"optdup(1)"},
                                     FakeControl{"optdup(2)"}};
  MainWindowControls controls{
      comp_path, comps_path, comp_file, comps_file, {&options[0], &options[1], &options[2]}, photos};
};

TEST_F(TagBindings, DefaultsFillTheMainWindow) {
  ReadTags(directory.place, controls);
  EXPECT_EQ(comp_path.text + "|" + comps_path.text, "|");
  EXPECT_EQ(comp_file.text + " " + comps_file.text, "COMPS.DBF FOLVANE.MDB");
  EXPECT_EQ(Options(), "001");
  EXPECT_EQ(photos.state, 1);
  EXPECT_EQ(directory.FileCount(), 0u) << "reading writes nothing";
}

TEST_F(TagBindings, FilesFillTheMainWindow) {
  directory.Write("MARVEK.INI", "[Directories]\r\nDataDir=C:\\SOURCE\r\n");
  directory.Write("ZELTA.INI", "[DIRECTORIES]\r\nDATADIR=D:\\TARGET\\\r\nDATAFILE=other.mdb\r\n");
  const struct {
    const char* preferences;
    const char* options;
    int photos;
  } kCases[] = {{"DUPLICATE0=1\r\nDUPLICATE2=1\r\nCONVERTPHOTOS=2", "001", 2},
                {"DUPLICATE0=1\r\nDUPLICATE2=0\r\nCONVERTPHOTOS= 1 of 2", "100", 1},
                {"DUPLICATE0= 0 \r\nDUPLICATE1=00\r\nDUPLICATE2= 0\r\nCONVERTPHOTOS=none", "010", 0},
                {"DUPLICATE0=\r\nDUPLICATE2=0\r\nCONVERTPHOTOS=0", "100", 0},
                {"DUPLICATE2=0\r\nCONVERTPHOTOS=3", "000", 1},
                {"DUPLICATE2=0\r\nCONVERTPHOTOS=-1", "000", 1},
                {"DUPLICATE2=0\r\nCONVERTPHOTOS=99999", "000", 1}};
  for (const auto& [preferences, expected, state] : kCases) {
    SCOPED_TRACE(preferences);
    for (FakeControl& option : options) option.state = 0;
    directory.Write("CORVIX.INI", std::string("[PREFERENCES]\r\n") + preferences);
    ReadTags(directory.place, controls);
    EXPECT_EQ(Options(), expected);
    EXPECT_EQ(photos.state, state);
  }
  EXPECT_EQ(comp_path.text, "C:\\SOURCE");
  EXPECT_EQ(comps_path.text, "D:\\TARGET\\");
  EXPECT_EQ(comps_file.text, "other.mdb");
}

TEST_F(TagBindings, SavesItsOwnFileAlone) {
  ReadTags(directory.place, controls);
  comp_path.text = "C:\\EDITED";
  comps_file.text = "EDITED.MDB";
  comp_file.text = "MINE.DBF";
  options[1].SetState(1);
  photos.state = 2;
  WriteTags(directory.place, controls);
  EXPECT_EQ(directory.FileCount(), 1u);
  EXPECT_EQ(directory.Read("CORVIX.INI"),
            "[DIRECTORIES]\r\nDATAFILE=MINE.DBF\r\n"
            "[PREFERENCES]\r\nDUPLICATE0=0\r\nDUPLICATE1=1\r\nDUPLICATE2=0\r\nCONVERTPHOTOS=1\r\n");
}

TEST_F(TagBindings, LabelsTakeTheValueAsCaption) {
  directory.Write("Zelta.ini", "[program alias]\r\nQuorvex Vistrel=Our Title\r\n");
  FakeControl alias("lblProgramAlias");
  TagReadTag(directory.place, alias);
  EXPECT_EQ(alias.caption + "/" + alias.text, "Our Title/unset");
  FakeControl piped("TXTanything", "<WINDIR>A.INI[S]two words|a|b");
  TagReadTag(directory.place, piped);
  EXPECT_EQ(piped.text, "a|b");
}

TEST_F(TagBindings, StatesThatABoxLacksAreErrorsOfItsLoader) {
  const auto error_of = [&](const char* value) {
    directory.Write("CORVIX.INI", std::string("[PREFERENCES]\r\nCONVERTPHOTOS=") + value);
    try {
      TagReadBkBoxTag(directory.place, photos);
      return 0;
    } catch (const common::Error& error) {
      return error.number();
    }
  };
  EXPECT_EQ(error_of("3"), common::kInvalidPropertyValue);
  EXPECT_EQ(error_of("1e9"), common::kOverflow);
  EXPECT_EQ(error_of("1"), 0);
  FakeControl plain("lbl", "A.INI[S]K|");
  TagReadTag(directory.place, plain);
  EXPECT_EQ(common::CurrentProc.Trimmed(), "ErrTagReadTag");
}

TEST_F(TagBindings, DirectoryTokensExpand) {
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
