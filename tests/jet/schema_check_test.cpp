// The checker: silent about sound files, and about every kind of damage it says where and what.
#include <cstdint>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "common/error.h"
#include "jet/schema_sample.h"
#include "storage/base/bytes.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/catalog_writer.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/jet_database.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/usage_map.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using storage::ByteSpan;
using storage::ReadLittle;
using storage::WriteLittle;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<std::byte>;

std::vector<std::string> Texts(const std::vector<Finding>& findings) {
  std::vector<std::string> texts;
  for (const Finding& finding : findings) texts.push_back(finding.text);
  return texts;
}

CheckReport CheckFile(storage::FileSystem& files, const std::filesystem::path& path) {
  const auto pager = test::OpenPager(files, path);
  return CheckDatabase(*pager);
}

CheckReport CheckBytes(const Bytes& bytes) {
  storage::MemoryFileSystem files;
  files.Open("damaged.mdb", storage::OpenMode::Create);
  files.Contents("damaged.mdb") = bytes;
  return CheckFile(files, "damaged.mdb");
}

TEST(CheckDatabase, SharedFilesHaveTheFaultsThatAreKnownAndNoOthers) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  const std::map<std::string, std::vector<std::string>> known{
      {"testIndexCodes.mdb", {"table Table1 is said to have 274 rows, but has 275"}},
      {"unicodeText.mdb",
       {"index Unicode of Table: its 8 entries are not those of the 8 rows that it covers",
        "index Unicode of Table: row 55/7 has no entry",
        "index Unicode of Table: the entry of row 55/7 is not that of its values"}}};
  storage::PosixFileSystem system;
  std::size_t entries = 0;
  for (const auto& file : files) {
    SCOPED_TRACE(file.string());
    const CheckReport report = CheckFile(system, file);
    const auto expected = known.find(file.filename().string());
    EXPECT_EQ(Texts(report.problems),
              expected == known.end() ? std::vector<std::string>() : expected->second);
    entries += report.index_entries;
    EXPECT_EQ(report.lost_pages > 0,
              file.filename() == "test.mdb" || file.filename() == "testIndexCodes.mdb");
    if (file.parent_path().filename() == "folvane-60") {
      EXPECT_THAT(Texts(report.notes), Contains(HasSubstr("5 copies of moved rows that nothing points to")));
    }
  }
  EXPECT_EQ(entries, 31400U);
}

ByteSpan PageOf(Bytes& bytes, PageNumber page) {
  return storage::Slice(ByteSpan(bytes), page * kPageSize, kPageSize);
}

std::size_t CellOffset(ByteSpan page, std::size_t row) {
  return ReadLittle<std::uint16_t>(page, data_page::kRowTable + 2 * row) & data_page::kOffsetMask;
}

// The first leaf below a root that is a node.
PageNumber FirstLeaf(Bytes& bytes, PageNumber root) {
  const ByteSpan page = PageOf(bytes, root);
  std::size_t end = 1;  // of the first entry
  while ((std::to_integer<unsigned>(page[index_page::kBitmap + end / 8]) >> (end % 8) & 1) == 0) ++end;
  return storage::ReadBig<std::uint32_t>(page, index_page::kEntries + end - 4);
}

TEST(CheckDatabase, FindsAndNamesDamageOfEachStructure) {
  storage::MemoryFileSystem files;
  test::MakeSample(files, "sample.mdb", 800);
  const Bytes sound = files.Contents("sample.mdb");
  const auto pager = test::OpenPager(files, "sample.mdb");
  const Catalog catalog(*pager);
  std::map<std::string, TableDefinition> tables;
  for (const CatalogObject& object : catalog.objects()) {
    if (object.IsTable()) tables.emplace(object.name, ReadTableDefinition(*pager, object.DefinitionPage()));
  }
  const auto table = [&](const std::string& name) -> const TableDefinition& { return tables.at(name); };
  const auto root_of = [&](const std::string& name, const std::string& index) {
    return table(name).real_indexes[table(name).FindIndex(index)->real_index].root;
  };
  const PageNumber comps_data = *UsageMap(*pager, table("COMPS").owned_pages).First();
  const PageNumber kinds_data = *UsageMap(*pager, table("Kinds").owned_pages).First();
  const PageNumber story_page = *UsageMap(*pager, table("Kinds").FindLongValues(11)->owned).First();
  const auto flip = [](ByteSpan bytes, std::size_t offset, unsigned bits) {
    bytes[offset] ^= std::byte(bits);
  };
  const auto flip_in_map = [](Bytes& bytes, RowRef cell, PageNumber page) {
    const ByteSpan map_page = PageOf(bytes, cell.page);
    const ByteSpan map = map_page.subspan(CellOffset(map_page, cell.row));
    ASSERT_EQ(map[0], std::byte{0}) << "the map is not inline";
    const std::size_t bit = page - ReadLittle<std::uint32_t>(map, 1);
    map[5 + bit / 8] ^= std::byte{1} << bit % 8;
  };
  constexpr std::size_t kFirstColumn = definition::kCounters + definition::kCounterSize;  // of MSysACEs
  const auto set_in_aces = [](Bytes& bytes, std::size_t offset, std::uint16_t value) {
    WriteLittle(PageOf(bytes, kAcesTable), offset, value);
  };
  struct Case {
    const char* name;
    std::function<void(Bytes&)> harm;
    const char* message;
  };
  const std::vector<Case> cases{
      {"signature", [&](Bytes& b) { flip(b, header::kSignature, 1); }, "not an Access database"},
      {"system page", [&](Bytes& b) { flip(b, header::kSystemTables, 1); },
       "does not name the pages of the catalogue"},
      {"cut in a page", [&](Bytes& b) { b.resize(b.size() - 100); }, "no whole page"},
      {"cut by pages", [&](Bytes& b) { b.resize(b.size() / 2 / kPageSize * kPageSize); },
       "beyond the end of the file"},
      {"definition magic", [&](Bytes& b) { flip(PageOf(b, table("COMPS").page), definition::kMagic, 1); },
       "the definition of COMPS has 0x58 at byte 12; 0x59 was expected"},
      {"definition type", [&](Bytes& b) { set_in_aces(b, 0, 0x0103); }, "is of another type"},
      {"definition ring", [&](Bytes& b) { set_in_aces(b, definition::kNext, 3); }, "form a ring"},
      {"definition elsewhere", [&](Bytes& b) { set_in_aces(b, definition::kNext, 0xFFFF); },
       "refers to this page"},
      {"columns", [&](Bytes& b) { set_in_aces(b, definition::kColumnCount, 256); }, "claims 256 columns"},
      {"trees", [&](Bytes& b) { set_in_aces(b, definition::kRealCount, 65535); }, "claims 65535 index trees"},
      {"indexes", [&](Bytes& b) { set_in_aces(b, definition::kLogicalCount, 9999); }, "claims 9999 indexes"},
      {"column type", [&](Bytes& b) { set_in_aces(b, kFirstColumn, 0x590D); }, "unknown type 13"},
      {"column numbers", [&](Bytes& b) { set_in_aces(b, definition::kMaxColumns, 2); },
       "where numbers end at 2"},
      {"number twice", [&](Bytes& b) { set_in_aces(b, kFirstColumn + column_descriptor::kNumber, 3); },
       "two columns have the number 3"},
      {"row count", [&](Bytes& b) { flip(PageOf(b, table("COMPS").page), definition::kRowCount, 1); },
       "table COMPS is said to have 801 rows, but has 800"},
      {"autonumber", [&](Bytes& b) { flip(PageOf(b, table("COMPS").page), definition::kAutonumber + 1, 2); },
       "the last number given out is said to be 288, but column RECID has 800"},
      {"fixed offset",
       [&](Bytes& b) {
         flip(PageOf(b, table("Children").page),
              definition::kCounters + 2 * 12 + 25 + column_descriptor::kFixedOffset, 5);
       },
       "columns Id and Parent of Children overlap"},
      {"free field", [&](Bytes& b) { flip(PageOf(b, comps_data), data_page::kFree, 8); },
       "bytes are free; there are"},
      {"owner", [&](Bytes& b) { flip(PageOf(b, comps_data), data_page::kOwner, 1); },
       "as its owner instead of"},
      {"slot", [&](Bytes& b) { flip(PageOf(b, comps_data), data_page::kRowTable + 3, 8); }, "starts at byte"},
      {"deleted", [&](Bytes& b) { flip(PageOf(b, comps_data), data_page::kRowTable + 1, 0xC0); },
       "there is an entry for row"},
      {"pointer", [&](Bytes& b) { flip(PageOf(b, comps_data), data_page::kRowTable + 1, 0x40); },
       "to have moved to"},
      {"row columns",
       [&](Bytes& b) { flip(PageOf(b, comps_data), CellOffset(PageOf(b, comps_data), 2), 64); },
       "columns, the table 35"},
      {"null mask",
       [&](Bytes& b) { flip(PageOf(b, comps_data), CellOffset(PageOf(b, comps_data), 2) - 5, 2); },
       "is not that of its values"},
      {"variable offset",
       [&](Bytes& b) { flip(PageOf(b, comps_data), CellOffset(PageOf(b, comps_data), 2) - 8, 0x80); },
       "its variable columns"},
      {"text", [&](Bytes& b) { flip(PageOf(b, comps_data), CellOffset(PageOf(b, comps_data), 0) + 90, 2); },
       "index CENTRALKEY of COMPS"},
      {"owned map", [&](Bytes& b) { flip_in_map(b, table("COMPS").owned_pages, comps_data); },
       "said to have 800 rows, but has"},
      {"free map", [&](Bytes& b) { flip_in_map(b, table("COMPS").free_space, kinds_data); },
       "but does not belong to it"},
      {"map taken twice",
       [&](Bytes& b) {
         WriteLittle(PageOf(b, table("COMPS").page), definition::kOwnedMap,
                     table("Kinds").owned_pages.Packed());
       },
       "serves something else too"},
      {"page taken twice", [&](Bytes& b) { flip_in_map(b, table("Kinds").owned_pages, comps_data); },
       "is used twice"},
      {"free but used",
       [&](Bytes& b) {
         flip_in_map(b, {kGlobalMapPage, 0}, comps_data);
       },
       "is marked as free"},
      {"value length",
       [&](Bytes& b) {
         const ByteSpan page = PageOf(b, story_page);
         WriteLittle(page, data_page::kRowTable, static_cast<std::uint16_t>(CellOffset(page, 0) + 8));
       },
       "of its"},
      {"value deleted", [&](Bytes& b) { flip(PageOf(b, story_page), data_page::kRowTable + 1, 0xC0); },
       "where no value is"},
      {"entry", [&](Bytes& b) { flip(PageOf(b, root_of("Kinds", "ByKey")), index_page::kEntries + 12, 1); },
       "is not that of its values"},
      {"order", [&](Bytes& b) { flip(PageOf(b, root_of("Kinds", "ByKey")), index_page::kEntries + 1, 0x40); },
       "is out of order"},
      {"entry end", [&](Bytes& b) { flip(PageOf(b, root_of("Kinds", "ByKey")), index_page::kBitmap, 2); },
       "an entry that ends where none can"},
      {"prefix",
       [&](Bytes& b) {
         flip(PageOf(b, FirstLeaf(b, root_of("COMPS", "CENTRALKEY"))), index_page::kPrefix, 1);
       },
       "index CENTRALKEY of COMPS"},
      {"index free field",
       [&](Bytes& b) { flip(PageOf(b, root_of("Kinds", "ByName")), index_page::kFree, 1); },
       "index ByName of Kinds: page"},
      {"leaf link",
       [&](Bytes& b) { flip(PageOf(b, FirstLeaf(b, root_of("COMPS", "CityIdx"))), index_page::kNext, 1); },
       "as next instead of"},
      {"tail child",
       [&](Bytes& b) { WriteLittle(PageOf(b, root_of("COMPS", "CityIdx")), index_page::kTail, kinds_data); },
       "is used twice"},
      {"root",
       [&](Bytes& b) {
         WriteLittle(PageOf(b, root_of("COMPS", "CityIdx")), index_page::kTail, root_of("COMPS", "CityIdx"));
       },
       "is used twice"},
      {"page type", [&](Bytes& b) { flip(PageOf(b, FirstLeaf(b, root_of("COMPS", "PriceIdx"))), 0, 1); },
       "index PriceIdx of COMPS"},
      {"missing parent",
       [&](Bytes& b) {  // the key of a row that others refer to, in the row and in its entry
         const ByteSpan leaf = PageOf(b, root_of("Parents", "PrimaryKey"));
         flip(leaf, index_page::kEntries + 2 * 9 + 4, 0x80);
         for (std::size_t page = 6; page < b.size() / kPageSize; ++page) {
           const ByteSpan each = PageOf(b, static_cast<PageNumber>(page));
           if (DataPage::IsOwnedBy(each, table("Parents").page)) flip(each, CellOffset(each, 2) + 2, 0x80);
         }
       },
       "relationship ParentsChildren: row"},
      {"relation back",
       [&](Bytes& b) {
         const TableDefinition& children = table("Children");
         const std::size_t logical = definition::kCounters + 2 * 12 + 2 * 25 + (2 + 4) + (2 + 12) + 2 * 52;
         flip(PageOf(b, children.page), logical + logical_index::kOtherIndex, 3);
       },
       "which does not name it back"},
  };
  EXPECT_THAT(Texts(CheckBytes(sound).problems), ElementsAre());
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    Bytes bytes = sound;
    each.harm(bytes);
    EXPECT_THAT(Texts(CheckBytes(bytes).problems), Contains(HasSubstr(each.message)));
  }
}

TEST(CheckDatabase, FindsKeysThatAUniqueIndexHoldsTwice) {
  using core::Null;
  struct Case {
    core::Value first[2];
    core::Value second[2];
    bool collide;
  };
  const Case cases[] = {{{"a", "b"}, {"A", "b "}, true},      {{"a", Null{}}, {"a", Null{}}, true},
                        {{Null{}, "a"}, {Null{}, "A"}, true}, {{"a", Null{}}, {Null{}, "a"}, false},
                        {{"a", "b"}, {"a", Null{}}, false},   {{Null{}, Null{}}, {Null{}, Null{}}, false}};
  for (const Case& each : cases) {
    storage::MemoryFileSystem files;
    CreateDatabase(files, "x.mdb",
                   {.tables = {{.name = "T",
                                .columns = {{.name = "A", .length = 9}, {.name = "B", .length = 9}},
                                .indexes = {{.name = "Both", .columns = {{"A"}, {"B", false}}}}}}});
    const auto pager = test::OpenPager(files, "x.mdb", false);
    PageAllocator allocator(*pager);
    const PageNumber page = Catalog(*pager).FindTable("T")->DefinitionPage();
    CatalogWriter writer(*pager, allocator, page);
    for (const auto& values : {each.first, each.second}) writer.Add({{"A", values[0]}, {"B", values[1]}});
    writer.Save();
    TableDefinition table = ReadTableDefinition(*pager, page);
    table.real_indexes[0].flags |= RealIndex::kUnique;
    WriteTableDefinition(*pager, table);
    const auto problems = Texts(CheckDatabase(*pager).problems);
    const auto at = &each - cases;
    if (each.collide) {
      EXPECT_THAT(problems, ElementsAre(HasSubstr("index Both of T: rows"))) << at;
    } else {
      EXPECT_THAT(problems, ElementsAre()) << at;
    }
  }
}

TEST(EncodedDatabase, IsWrittenEncoded) {
  storage::MemoryFileSystem files;
  test::MakeSample(files, "encoded.mdb");
  Bytes& bytes = files.Contents("encoded.mdb");
  test::EncodePages(bytes, 0x5EC12E7A);
  const std::string_view mark = "UNMISTAKABLE";
  {
    const auto database = OpenJetDatabase(files, "encoded.mdb", core::Access::ReadWrite);
    const auto comps = database->OpenTable("COMPS");
    for (int i = 0; i < 500; ++i) {
      comps->BeginAdd();
      comps->Write(core::RequireField(*comps, "CENTRALKEY"), fmt::format("{} {}", mark, i));
      comps->Write(core::RequireField(*comps, "COMMENTS"),
                   fmt::format("{0} {1} {0}", mark, std::string(900, 'c')));
      comps->Store();
    }
    database->Close();
  }
  EXPECT_THAT(Texts(CheckFile(files, "encoded.mdb").problems), ElementsAre());
  EXPECT_EQ(storage::AsText(bytes).find(mark), std::string_view::npos);
  const auto database = OpenJetDatabase(files, "encoded.mdb", core::Access::ReadOnly);
  const auto comps = database->OpenTable("COMPS");
  comps->SelectIndex("CENTRALKEY");
  comps->SeekEqual("unmistakable 499");
  ASSERT_FALSE(comps->NoMatch());
  std::string text;
  comps->ReadText(core::RequireField(*comps, "COMMENTS"), text);
  EXPECT_EQ(text.size(), 900 + 2 * mark.size() + 2);
}

}  // namespace
}  // namespace corvix::jet
