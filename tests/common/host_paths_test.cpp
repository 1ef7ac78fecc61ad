#include "common/host_paths.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace corvix::common {
namespace {

TEST(HostPaths, HostPath_MatchesEachComponentExactlyElseWithoutCase) {
  const test::TemporaryDirectory directory;
  const auto root = directory.path();
  std::filesystem::create_directories(root / "Data" / "Old");
  std::filesystem::create_directories(root / "DATA");
  std::ofstream(root / "Data" / "Old" / "Central.dbf") << "x";
  const std::string base = DisplayPath(root);
  EXPECT_EQ(HostPath(base + "\\Data\\OLD\\CENTRAL.DBF"), root / "Data" / "Old" / "Central.dbf");
  EXPECT_EQ(HostPath(base + "\\DATA\\x"), root / "DATA" / "x") << "the exact name wins";
  EXPECT_EQ(HostPath(base + "/Data/old"), root / "Data" / "Old");
  EXPECT_EQ(HostPath(base + "\\nowhere\\Old"), root / "nowhere" / "Old");
  EXPECT_EQ(HostPath(""), std::filesystem::path());
  EXPECT_EQ(FindIgnoringCase(root / "Data" / "Old", "CENTRAL.DBF"), root / "Data" / "Old" / "Central.dbf");
}

}  // namespace
}  // namespace corvix::common
