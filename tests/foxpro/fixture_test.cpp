// Tables that other programs wrote. Expected orders and finds are computed here from the raw bytes of the
// files.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>

#include "foxpro/tables.h"
#include "storage/base/posix_file.h"
#include "support/shared_files.h"

namespace corvix::foxpro {
namespace {

class Fixtures : public testing::Test {
 protected:
  void SetUp() override {
    const auto found = test::SharedFile("fixtures/foxpro");
    if (!found) GTEST_SKIP() << "no shared files beside the checkout";
    root_ = *found;
  }
  std::unique_ptr<FoxProRecordSet> OpenFixture(const std::string& directory, const char* table) {
    return std::make_unique<FoxProRecordSet>(files_, root_ / directory, table);
  }

  std::filesystem::path root_;
  storage::PosixFileSystem files_;
};

struct ExpectedTag {
  const char* name;
  std::uint32_t key_length;
  std::uint64_t entries;
  std::uint64_t deleted;
  std::uint32_t levels;
  std::uint32_t pages;
  bool unique = false;
  bool descending = false;
};
struct ExpectedTable {
  const char* path;
  std::uint8_t version;
  std::uint32_t records;
  std::uint32_t deleted;
  std::vector<ExpectedTag> tags;
};

TEST_F(Fixtures, CountsAndIndexesAreAsTheirWritersMadeThem) {
  const ExpectedTable kTables[] = {
      {"small/CENTRAL", 0x03, 62, 4, {{"CENTRALKEY", 35, 62, 4, 2, 3}}},
      {"small/COMPS", 0xF5, 53, 2, {{"CENTRALKEY", 35, 53, 2, 2, 3}}},
      {"small/PHOTO", 0x03, 130, 3, {{"CENTRALKEY", 35, 130, 3, 2, 3}}},
      {"upper/CENTRAL", 0x03, 60, 4, {{"CENTRALKEY", 35, 60, 4, 2, 3}}},
      {"upper/COMPS", 0xF5, 51, 2, {{"CENTRALKEY", 35, 51, 2, 2, 3}}},
      {"upper/PHOTO", 0x03, 126, 2, {{"CENTRALKEY", 35, 126, 2, 2, 3}}},
      {"medium/CENTRAL",
       0x03,
       5000,
       99,
       {{"CENTRALKEY", 35, 5000, 99, 4, 188},
        {"CITY", 25, 5000, 99, 3, 36},
        {"LOT", 8, 5000, 99, 3, 69, false, true},
        {"STZIP", 12, 5000, 99, 3, 43}}},
      {"medium/COMPS",
       0xF5,
       4500,
       87,
       {{"CENTRALKEY", 35, 4500, 87, 4, 171},
        {"LIVE", 35, 4413, 0, 4, 168},
        {"LOADDATE", 8, 4500, 87, 3, 39},
        {"POOL", 1, 4500, 87, 2, 29},
        {"PRICE", 8, 4500, 87, 3, 44, false, true},
        {"SOURCE", 25, 7, 0, 1, 1, true}}},
      {"medium/PHOTO",
       0x03,
       9000,
       174,
       {{"CENTRALKEY", 35, 9000, 174, 4, 157},
        {"KEYVIEW", 55, 9000, 174, 5, 447},
        {"PICTID", 12, 9000, 174, 3, 82}}},
      {"emptytables/CENTRAL", 0x03, 0, 0, {{"CENTRALKEY", 35, 0, 0, 1, 1}}},
      {"emptytables/COMPS", 0xF5, 0, 0, {{"CENTRALKEY", 35, 0, 0, 1, 1}}},
      {"cp437/CENTRAL", 0x03, 18, 0, {{"CENTRALKEY", 35, 18, 0, 1, 1}}},
      {"cp1252/PHOTO", 0x03, 26, 0, {{"CENTRALKEY", 35, 26, 0, 1, 1}}},
      {"real/contacts/calls", 0x30, 16, 0, {{"CALL_ID", 4, 16, 0, 1, 1}, {"CONTACT_ID", 4, 16, 0, 1, 1}}},
      {"real/noindex/dbase_83", 0x83, 67, 0, {}},
      {"real/noindex/dbase_32", 0x32, 1, 0, {}},
      {"real/northwind/employees",
       0x31,
       9,
       0,
       {{"EMPLOYEEID", 4, 9, 0, 1, 1},
        {"LASTNAME", 20, 9, 0, 1, 1},
        {"POSTALCODE", 11, 9, 0, 1, 1},
        {"REPORTSTO", 5, 9, 0, 1, 1}}},
      {"real/northwind/orders",
       0x31,
       830,
       0,
       {{"CUSTOMERID", 6, 830, 0, 2, 6},
        {"EMPLOYEEID", 5, 830, 0, 2, 5},
        {"ORDERDATE", 9, 830, 0, 2, 7},
        {"ORDERID", 4, 830, 0, 2, 7},
        {"SHIPPEDDAT", 9, 830, 0, 2, 10},
        {"SHIPPERID", 5, 830, 0, 2, 6}}},
      {"real/samples/DBF", 0x03, 8, 1, {{"DBF_NAME", 10, 7, 0, 1, 1}}},
      {"real/samples/INFO",
       0x03,
       17,
       0,
       {{"INF_AGE", 8, 17, 0, 1, 1}, {"INF_BRTH", 8, 17, 0, 1, 1}, {"INF_NAME", 20, 6, 0, 1, 1, true}}},
      {"real/samples/PEOPLE",
       0xF5,
       2,
       0,
       {{"PPL_ADDR", 15, 2, 0, 1, 1},
        {"PPL_AGE", 8, 2, 0, 1, 1},
        {"PPL_AMNT", 8, 2, 0, 1, 1},
        {"PPL_BRTH", 8, 2, 0, 1, 1},
        {"PPL_NAME", 20, 2, 0, 1, 1}}},
  };
  for (const ExpectedTable& expected : kTables) {
    SCOPED_TRACE(expected.path);
    const std::filesystem::path path = root_ / expected.path;
    const TableReport report = CheckTable(files_, path.parent_path(), path.filename().string());
    for (const Finding& finding : report.findings) {
      const bool is_value = finding.text.find("is no value of type") != std::string::npos ||
                            finding.place.find("more of this kind") != std::string::npos ||
                            finding.text.find("more of this kind") != std::string::npos;
      EXPECT_TRUE(is_value || finding.severity == Finding::Severity::Note) << finding.text;
    }
    EXPECT_EQ(report.facts.version, expected.version);
    EXPECT_EQ(report.facts.records, expected.records);
    EXPECT_EQ(report.facts.deleted, expected.deleted);
    ASSERT_EQ(report.facts.tags.size(), expected.tags.size());
    for (std::size_t i = 0; i < expected.tags.size(); ++i) {
      const ExpectedTag& tag = expected.tags[i];
      const TagFacts& facts = report.facts.tags[i];
      SCOPED_TRACE(tag.name);
      EXPECT_EQ(facts.name, tag.name);
      EXPECT_EQ(facts.key_length, tag.key_length);
      EXPECT_EQ(facts.entries, tag.entries);
      EXPECT_EQ(facts.deleted_entries, tag.deleted);
      EXPECT_EQ(facts.levels, tag.levels);
      EXPECT_EQ(facts.pages, tag.pages);
      EXPECT_EQ(facts.unique, tag.unique);
      EXPECT_EQ(facts.descending, tag.descending);
      EXPECT_TRUE(facts.keys_compared);
    }
  }
}

TEST_F(Fixtures, StaleIndexAndMissingIndexAreProblems) {
  std::vector<std::string> problems;
  for (const Finding& finding : CheckTable(files_, root_ / "real/samples", "EXAMPLE").findings) {
    if (finding.severity == Finding::Severity::Problem) problems.push_back(finding.place);
  }
  EXPECT_THAT(problems,
              testing::ElementsAre("EXAMPLE.CDX, tag ID, record 4", "EXAMPLE.CDX, tag NOTDELETED, record 4"));
  EXPECT_THAT(ErrorOf([&] { OpenFixture("real/noindex", "dbase_31")->SelectIndex("X"); }),
              testing::AllOf(testing::StartsWith("3015"), testing::HasSubstr("no index file DBASE_31.CDX")));
}

/// Key (the first field, which is CENTRALKEY) and number of the live records, sorted as the tag must have
/// them.
std::vector<std::pair<std::string, std::uint32_t>> SortedKeys(const std::filesystem::path& path,
                                                              bool capitals) {
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  const auto word = [&](std::size_t at) {
    return static_cast<unsigned char>(bytes[at]) + 256u * static_cast<unsigned char>(bytes[at + 1]);
  };
  std::vector<std::pair<std::string, std::uint32_t>> keys;
  const std::size_t count = word(4) + 65536u * word(6);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t record = word(8) + i * word(10);
    if (bytes[record] == '*') continue;
    std::string key = bytes.substr(record + 1, 35);
    for (char& c : key) {
      if (capitals && c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    }
    keys.emplace_back(key, static_cast<std::uint32_t>(i + 1));
  }
  std::ranges::sort(keys);
  return keys;
}

TEST_F(Fixtures, KeysLeadToTheirRecordsInTheirOrder) {
  for (const char* directory : {"small", "upper", "medium", "emptytables", "cp437", "cp1252"}) {
    for (const char* table : {"CENTRAL", "COMPS", "PHOTO"}) {
      SCOPED_TRACE(std::string(directory) + "/" + table);
      const auto keys = SortedKeys(root_ / directory / (std::string(table) + ".DBF"),
                                   std::string_view(directory) == "upper");
      const auto records = OpenFixture(directory, table);
      std::vector<std::uint32_t> expected;
      for (const auto& [key, record] : keys) expected.push_back(record);
      EXPECT_EQ(Walk(*records, "CENTRALKEY"), expected);
      EXPECT_EQ(records->RecordCount(), static_cast<std::int32_t>(keys.size()));
      const storage::CodePage page(
          std::string_view(directory) == "cp1252" || std::string_view(directory) == "small" ? 1252 : 437);
      for (std::size_t i = 0; i < keys.size(); ++i) {
        const bool is_first = i == 0 || keys[i - 1].first != keys[i].first;
        if (!is_first) continue;
        const std::string text = page.ToUtf8(keys[i].first);
        ASSERT_EQ(Seek(*records, text), keys[i].second) << text;
        ASSERT_EQ(Seek(*records, text.substr(0, text.find_last_not_of(' ') + 1) + "~"), 0u) << text;
      }
    }
  }
}

TEST_F(Fixtures, OddValuesAreReadAsTheRulesSay) {
  const auto comps = OpenFixture("small", "COMPS");
  const struct {
    std::uint64_t record;
    const char* field;
    const char* text;
  } kValues[] = {{2, "SELLINGPR", "-"},
                 {3, "GLA", "-"},
                 {4, "BATH", "-"},
                 {5, "ROOMCOUNT", "-"},
                 {6, "SELLINGPR", "-"},
                 {7, "BATH", "2.5"},
                 {8, "BATH", "0.5"},
                 {9, "SELLINGPR", "-125000"},
                 {10, "SELLINGPR", "99500"},
                 {11, "SELLINGPR", "120000"},
                 {12, "SELLINGPR", "12"},
                 {13, "DAYSONMKT", "-"},
                 {14, "DAYSONMKT", "0"},
                 {2, "LOADDATE", "-"},
                 {3, "LOADDATE", "-"},
                 {4, "LOADDATE", "-"},
                 {5, "LOADDATE", "12:00:00 AM"},
                 {6, "LOADDATE", "12/31/1899"},
                 {8, "LOADDATE", "2/29/2000"},
                 {9, "LOADDATE", "-"},
                 {10, "LOADDATE", "-"},
                 {11, "LOADDATE", "1/1/100"},
                 {12, "LOADDATE", "12/31/9999"},
                 {13, "POOL", "True"},
                 {14, "POOL", "False"},
                 {15, "POOL", "True"},
                 {16, "POOL", "False"},
                 {17, "POOL", "False"},
                 {18, "POOL", "False"},
                 {1, "COMMENTS", "-"},
                 {2, "COMMENTS", "x"}};
  for (const auto& [record, field, text] : kValues) {
    comps->SetBookmark({record});
    EXPECT_EQ(TextOf(*comps, core::RequireField(*comps, field)), text) << record << " " << field;
  }
  const std::size_t kMemoLengths[] = {56, 57, 120, 121};
  for (std::size_t i = 0; i < std::size(kMemoLengths); ++i) {
    comps->SetBookmark({i + 3});
    EXPECT_EQ(TextOf(*comps, core::RequireField(*comps, "COMMENTS")).size(), kMemoLengths[i]);
  }
}

}  // namespace
}  // namespace corvix::foxpro
