#include "common/path_names.h"

#include <gtest/gtest.h>
#include <string>

namespace corvix::common {
namespace {

struct SlashCase {
  const char* input;
  const char* result;
  const char* callers_text;
};

TEST(PathNames, CkRSlash_AddsOneBackslashAndRewritesOnlyThen) {
  for (const SlashCase& c : {SlashCase{" C:\\DATA ", "C:\\DATA\\", "C:\\DATA\\"},
                             {"C:\\DATA\\ ", "C:\\DATA\\", "C:\\DATA\\ "},
                             {"   ", "", "   "},
                             {"", "", ""},
                             {"\\", "\\", "\\"}}) {
    std::string path = c.input;
    EXPECT_EQ(CkRSlash(path), c.result) << c.input;
    EXPECT_EQ(path, c.callers_text) << c.input;
  }
}

TEST(PathNames, RemoveRSlash_TakesOneBackslashAway) {
  for (const SlashCase& c : {SlashCase{"C:\\DATA\\\\", "C:\\DATA\\", "C:\\DATA\\"},
                             {" C:\\DATA ", "C:\\DATA", "C:\\DATA"},
                             {"C:\\DA \\", "C:\\DA ", "C:\\DA "},
                             {"  ", "", ""}}) {
    std::string path = c.input;
    EXPECT_EQ(RemoveRSlash(path), c.result) << c.input;
    EXPECT_EQ(path, c.callers_text) << c.input;
  }
}

TEST(PathNames, StripRChar_TrimsItsResultOnceMore) {
  std::string path = "C:\\DA \\";
  EXPECT_EQ(StripRChar(path), "C:\\DA");
  EXPECT_EQ(path, "C:\\DA ");
}

TEST(PathNames, ParseFileName_CutsIntoUpperCaseParts) {
  struct Case {
    const char* full;
    const char* drive;
    const char* dir;
    const char* name;
    const char* ext;
  };
  for (const Case& c : {Case{" c:\\data\\comps.dbf ", "C:", "\\DATA\\", "COMPS", "DBF"},
                        {"COMPS", "", "", "COMPS", "kept"},
                        {"C:\\OLD.DIR\\COMPS.DBF", "C:", "\\", "OLD", "DIR\\COMPS.DBF"},
                        {"AB:C", "", "", "AB:C", "kept"},
                        {"C:NAME.", "C:", "", "NAME", ""},
                        {"[vol]a.b", "", "", "A", "B"},
                        {"C:x]y\\z", "C:", "Y\\", "Z", "kept"},
                        {"  ", "", "", "", ""}}) {
    std::string drive = "d", dir = "d", name = "n", ext = "kept";
    ParseFileName(c.full, drive, dir, name, ext);
    EXPECT_EQ(drive, c.drive) << c.full;
    EXPECT_EQ(dir, c.dir) << c.full;
    EXPECT_EQ(name, c.name) << c.full;
    EXPECT_EQ(ext, c.ext) << c.full;
  }
  EXPECT_EQ(FileBaseName("C:\\NUV\\DBAS\\comps.dbf"), "COMPS");
  EXPECT_EQ(FileExtension("C:\\NUV\\DBAS\\comps.dbf"), "DBF");
  EXPECT_EQ(FileExtension("COMPS"), "");
}

}  // namespace
}  // namespace corvix::common
