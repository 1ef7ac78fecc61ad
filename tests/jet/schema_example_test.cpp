// The examples of docs/formats/jet4.md: the file that the document shows is made here, and every line of
// bytes in the document has to be what the file holds.
#include <fmt/format.h>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <string>

#include "storage/base/bytes.h"
#include "storage/jet/catalog.h"
#include "storage/jet/catalog_writer.h"
#include "storage/jet/jet_check.h"
#include "storage/jet/jet_create.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

DatabaseDescription ExampleDescription() {
  DatabaseDescription database;
  database.tables = {{.name = "Towns",
                      .columns = {{.name = "Id", .type = ColumnType::Long, .autonumber = true},
                                  {.name = "Name", .type = ColumnType::Text, .length = 20, .required = true},
                                  {.name = "Founded", .type = ColumnType::Date},
                                  {.name = "Port", .type = ColumnType::YesNo},
                                  {.name = "Notes", .type = ColumnType::Memo}},
                      .indexes = {{.name = "PrimaryKey", .columns = {{"Id"}}, .primary = true},
                                  {.name = "ByName", .columns = {{"Name", false}}}}},
                     {.name = "Streets",
                      .columns = {{.name = "Number", .type = ColumnType::Long},
                                  {.name = "Town", .type = ColumnType::Long},
                                  {.name = "Label", .type = ColumnType::Text, .length = 40}},
                      .indexes = {{.name = "PrimaryKey", .columns = {{"Number"}}, .primary = true}}}};
  database.relationships = {{.name = "TownsStreets",
                             .table = "Streets",
                             .referenced_table = "Towns",
                             .columns = {{"Town", "Id"}},
                             .cascade_deletes = true}};
  return database;
}

// Three towns, 800 streets, and a street that outgrew its page.
void MakeExample(storage::FileSystem& files) {
  CreateDatabase(files, "example.mdb", ExampleDescription());
  const auto pager = test::OpenPager(files, "example.mdb", false);
  const Catalog catalog(*pager);
  PageAllocator allocator(*pager);
  CatalogWriter towns(*pager, allocator, catalog.FindTable("Towns")->DefinitionPage());
  towns.Add({{"Id", 1},
             {"Name", "Köln"},
             {"Founded", core::Date{-1.25}},
             {"Port", true},
             {"Notes", "On the Rhine"}});
  towns.Add({{"Id", 2}, {"Name", "Kraków"}, {"Notes", std::string(5000, '~')}});
  towns.Add({{"Id", 3}, {"Name", "St. John's"}, {"Port", true}, {"Notes", std::string(100, '=')}});
  towns.Save();
  CatalogWriter streets(*pager, allocator, catalog.FindTable("Streets")->DefinitionPage());
  for (int i = 1; i <= 800; ++i) streets.Add({{"Number", i}, {"Town", 1 + i % 3}});
  streets.Save();

  TableDefinition table = ReadTableDefinition(*pager, catalog.FindTable("Streets")->DefinitionPage());
  TableRows rows(*pager, allocator, table);
  const std::vector<core::Value> values{1, 2, "Unter Sachsenhausen"};
  rows.Update(*rows.First(), values, ColumnSet{}.set(2));
  TableDefinition numbered = ReadTableDefinition(*pager, catalog.FindTable("Towns")->DefinitionPage());
  numbered.last_autonumber = 3;
  WriteCounters(*pager, numbered);
  pager->Checkpoint();
}

// In the document, "Page 24 of the example" announces a page; lines such as "    0fda  04 00 03  remark" show
// bytes of it. A remark stands behind two blanks.
TEST(FormatDocument, ShowsWhatFilesHold) {
  storage::MemoryFileSystem files;
  MakeExample(files);
  const auto pager = test::OpenPager(files, "example.mdb");
  const CheckReport report = CheckDatabase(*pager);
  EXPECT_TRUE(report.IsClean()) << report.problems[0].text;

  std::ifstream document(std::string(CORVIX_SOURCE_DIR) + "/docs/formats/jet4.md");
  const std::regex announcement("Page ([0-9]+) of the example");
  const std::regex bytes_line("    ([0-9a-f]{4})((?: [ ]?[0-9a-f]{2}(?= |$))+)(?:  .*)?");
  PageNumber page = 0;
  int lines = 0;
  for (std::string line; std::getline(document, line);) {
    std::smatch match;
    if (std::regex_search(line, match, announcement)) page = static_cast<PageNumber>(std::stoul(match[1]));
    if (!std::regex_match(line, match, bytes_line)) continue;
    std::istringstream shown(match[2]);
    const std::size_t offset = std::stoul(match[1], nullptr, 16);
    std::string expected;
    std::string actual;
    for (std::string byte; shown >> byte;) {
      const std::size_t at = offset + expected.size() / 3;
      expected += byte + " ";
      actual += fmt::format("{:02x} ", storage::ReadByte(pager->Read(page).bytes(), at));
    }
    EXPECT_EQ(actual, expected) << "page " << page << ": " << line;
    ++lines;
  }
  EXPECT_GT(lines, 50);
}

}  // namespace
}  // namespace corvix::jet
