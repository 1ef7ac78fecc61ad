// The libraries depend on each other in one direction. Includes are written from src/, so the first folder of
// a name is the library that it reaches; this reads every include line and fails on one that is not allowed.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>

namespace corvix {
namespace {

namespace fs = std::filesystem;

/// What each library may include, itself aside.
const std::map<std::string, std::set<std::string>> kAllowed{
    {"common", {}},
    {"storage/base", {"common"}},
    {"core", {"common"}},
    {"storage/foxpro", {"common", "core", "storage/base"}},
    {"storage/jet", {"common", "core", "storage/base"}},
    {"storage/overlay", {"common", "core", "storage/base"}},
    {"storage/engine",
     {"common", "core", "storage/base", "storage/foxpro", "storage/jet", "storage/overlay"}},
    {"settings", {"common", "core", "storage/base"}},
    {"merge", {"common", "core"}},
    {"run", {"common", "core", "merge", "settings"}},
    {"sample", {"common", "core", "storage/base", "storage/foxpro", "storage/jet"}},
    {"cli",
     {"common", "core", "merge", "run", "settings", "sample", "storage/base", "storage/engine",
      "storage/foxpro", "storage/jet", "storage/overlay"}},
    {"ui", {"common", "core", "merge", "run", "settings", "storage/base", "storage/engine"}},
};

/// The folders of the Access engine, each of which may include those before it; the empty name is its root.
constexpr std::string_view kJetLayers[] = {"pages", "definition", "rows", "index", "catalog", "", "check"};

/// Libraries of others that only one of ours may reach.
const std::map<std::string, std::string> kOnlyIn{
    {"Q", "ui"}, {"CLI/", "cli"}, {"unicode/", "common storage/base"}};

std::string LibraryOf(const fs::path& relative) {
  auto part = relative.begin();
  std::string library = part->string();
  if (library == "storage") library += "/" + (++part)->string();
  return library;
}

/// Position among the engine's folders; none for files of other libraries.
std::optional<std::ptrdiff_t> JetLayerOf(const fs::path& relative) {
  const fs::path folder = relative.parent_path();
  if (LibraryOf(relative) != "storage/jet") return std::nullopt;
  const std::string name = folder.filename() == "jet" ? "" : folder.filename().string();
  return std::ranges::find(kJetLayers, name) - std::begin(kJetLayers);
}

TEST(IncludeDirections, EveryLibraryReachesOnlyWhatItMay) {
  const fs::path root = fs::path(CORVIX_SOURCE_DIR) / "src";
  const std::regex include(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
  std::size_t lines_seen = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".cpp") continue;
    const fs::path relative = fs::relative(entry.path(), root);
    const std::string from = LibraryOf(relative);
    const auto layer = JetLayerOf(relative);
    ASSERT_TRUE(kAllowed.contains(from)) << from << " is a library that this test does not know";
    ASSERT_LT(layer.value_or(0), std::ssize(kJetLayers)) << relative << " lies in an unknown folder";
    std::ifstream in(entry.path());
    for (std::string line; std::getline(in, line);) {
      std::smatch match;
      if (!std::regex_search(line, match, include)) continue;
      ++lines_seen;
      const std::string name = match[2];
      if (match[1] == "\"") {
        ASSERT_TRUE(fs::exists(root / name)) << entry.path() << ": " << line << " is not written from src/";
        const std::string to = LibraryOf(name);
        EXPECT_TRUE(to == from || kAllowed.at(from).contains(to)) << entry.path() << ": " << line;
        if (layer) {
          EXPECT_LE(JetLayerOf(name).value_or(0), *layer) << entry.path() << ": " << line;
        }
      }
      for (const auto& [prefix, owners] : kOnlyIn) {
        if (match[1] == "<" && name.starts_with(prefix)) {
          EXPECT_NE(owners.find(from), std::string::npos) << entry.path() << ": " << line;
        }
      }
    }
  }
  EXPECT_GT(lines_seen, 100u) << "the sources were not found";
}

}  // namespace
}  // namespace corvix
