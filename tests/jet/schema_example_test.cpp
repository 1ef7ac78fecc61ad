// The examples of docs/formats/jet4.md: the file that the document shows is made here, and every line of
// bytes in the document has to be what the file holds.
#include <charconv>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/catalog_writer.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/check/jet_check.h"
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

// A table with so many memos that its page of maps has no room left, and a value far behind the others.
void MakeLargeExample(storage::FileSystem& files) {
  TableDescription wide{.name = "Wide",
                        .columns = {{.name = "Id", .type = ColumnType::Long}},
                        .indexes = {{.name = "ById", .columns = {{"Id"}}}}};
  for (int i = 1; i <= 27; ++i)
    wide.columns.push_back({.name = std::string(60, 'm') + std::to_string(i), .type = ColumnType::Memo});
  CreateDatabase(files, "large.mdb", {.tables = {wide}});
  const auto pager = test::OpenPager(files, "large.mdb", false);
  PageAllocator allocator(*pager);
  CatalogWriter rows(*pager, allocator, Catalog(*pager).FindTable("Wide")->DefinitionPage());
  const std::string memo(2000, '~');
  rows.Add({{"Id", 1}, {wide.columns[1].name, memo}});
  std::vector<PageNumber> others;
  while (pager->page_count() < 800) others.push_back(allocator.Allocate().number());
  rows.Add({{"Id", 2}, {wide.columns[1].name, memo}});
  for (const PageNumber page : others) allocator.Release(page);
  rows.Save();
  pager->Checkpoint();
}

// Bytes that a line of the document shows: "    0fda  04 00 03  remark", a remark standing behind two blanks.
struct ShownBytes {
  std::size_t offset = 0;
  std::vector<unsigned> bytes;
};

ShownBytes ParseLine(const std::string& line) {
  ShownBytes shown;
  const auto number = [&line](std::size_t at, std::size_t length) -> std::optional<unsigned> {
    unsigned value = 0;
    if (at + length > line.size()) return std::nullopt;
    const char* const end = line.data() + at + length;
    const auto result = std::from_chars(line.data() + at, end, value, 16);
    return result.ec == std::errc() && result.ptr == end ? std::optional(value) : std::nullopt;
  };
  if (!line.starts_with("    ") || line.substr(8, 2) != "  ") return shown;
  const auto offset = number(4, 4);
  if (!offset) return shown;
  shown.offset = *offset;
  for (std::size_t at = 10; const auto byte = number(at, 2); at += 3) {
    shown.bytes.push_back(*byte);
    if (line.substr(at + 2, 2) == "  ") break;
  }
  return shown;
}

// "Page 24 of the example", or "of the large example", announces the page of the lines that follow.
TEST(FormatDocument, ShowsWhatFilesHold) {
  storage::MemoryFileSystem files;
  MakeExample(files);
  MakeLargeExample(files);
  const auto small = test::OpenPager(files, "example.mdb");
  const auto large = test::OpenPager(files, "large.mdb");
  for (Pager* pager : {small.get(), large.get()}) EXPECT_TRUE(CheckDatabase(*pager).IsClean());

  std::ifstream document(std::string(CORVIX_SOURCE_DIR) + "/docs/formats/jet4.md");
  Pager* pager = small.get();
  PageNumber page = 0;
  int lines = 0;
  for (std::string line; std::getline(document, line);) {
    const bool is_large = line.find(" of the large example") != std::string::npos;
    if (const auto at = line.find("Page ");
        at != std::string::npos && (is_large || line.find(" of the example") != std::string::npos)) {
      page = static_cast<PageNumber>(std::stoul(line.substr(at + 5)));
      pager = is_large ? large.get() : small.get();
    }
    const ShownBytes shown = ParseLine(line);
    if (shown.bytes.empty()) continue;
    ++lines;
    const storage::ByteView stored =
        storage::Slice(pager->Read(page).bytes(), shown.offset, shown.bytes.size());
    for (std::size_t i = 0; i < shown.bytes.size(); ++i) {
      ASSERT_EQ(std::to_integer<unsigned>(stored[i]), shown.bytes[i])
          << "page " << page << ", byte " << i << ": " << line;
    }
  }
  EXPECT_GT(lines, 60);
}

}  // namespace
}  // namespace corvix::jet
