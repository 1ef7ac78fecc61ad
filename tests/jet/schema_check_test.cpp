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
using test::CheckFile;
using test::Texts;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using Bytes = std::vector<std::byte>;

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

using Harm = std::function<void(Bytes&)>;

Harm Flip(PageNumber page, std::size_t offset, unsigned bits) {
  return [=](Bytes& bytes) { PageOf(bytes, page)[offset] ^= std::byte(bits); };
}

template <typename Word>
Harm Set(PageNumber page, std::size_t offset, Word word) {
  return [=](Bytes& bytes) { WriteLittle(PageOf(bytes, page), offset, word); };
}

Harm Cut(std::size_t size) {
  return [=](Bytes& bytes) { bytes.resize(size); };
}

Harm FlipInMap(RowRef cell, PageNumber page) {
  return [=](Bytes& bytes) {
    const ByteSpan map_page = PageOf(bytes, cell.page);
    const ByteSpan map = map_page.subspan(CellOffset(map_page, cell.row));
    ASSERT_EQ(map[0], std::byte{0}) << "the map is not inline";
    const std::size_t bit = page - ReadLittle<std::uint32_t>(map, 1);
    map[5 + bit / 8] ^= std::byte{1} << bit % 8;
  };
}

TEST(CheckDatabase, FindsAndNamesDamageOfEachStructure) {
  storage::MemoryFileSystem files;
  test::MakeSample(files, "sample.mdb", 800);
  Bytes sound = files.Contents("sample.mdb");
  const auto pager = test::OpenPager(files, "sample.mdb");
  const Catalog catalog(*pager);
  const auto table = [&](std::string_view name) {
    return ReadTableDefinition(*pager, catalog.FindTable(name)->DefinitionPage());
  };
  const TableDefinition comps = table("COMPS"), kinds = table("Kinds"), parents = table("Parents"),
                        children = table("Children");
  const auto root_of = [](const TableDefinition& of, std::string_view index) {
    return of.real_indexes[of.FindIndex(index)->real_index].root;
  };
  const auto leaf_of = [&](std::string_view index) { return FirstLeaf(sound, root_of(comps, index)); };
  const PageNumber by_key = root_of(kinds, "ByKey"), city = root_of(comps, "CityIdx");
  const PageNumber data = *UsageMap(*pager, comps.owned_pages).First();
  const PageNumber kinds_data = *UsageMap(*pager, kinds.owned_pages).First();
  const PageNumber story = *UsageMap(*pager, kinds.FindLongValues(11)->owned).First();
  const std::size_t row_0 = CellOffset(PageOf(sound, data), 0), row_2 = CellOffset(PageOf(sound, data), 2);
  const auto value_end = static_cast<std::uint16_t>(CellOffset(PageOf(sound, story), 0) + 8);
  using Half = std::uint16_t;
  using Whole = std::uint32_t;
  constexpr std::size_t kFirst = definition::kCounters + definition::kCounterSize;  // column of MSysACEs
  constexpr std::size_t kSecond = definition::kCounters + 2 * 12 + 25;              // column of Children
  constexpr std::size_t kIndex = kSecond + 25 + (2 + 4) + (2 + 12) + 2 * 52;        // of Children
  // The key of a row that others refer to, in the row and in its entry.
  const auto change_parent = [&](Bytes& bytes) {
    Flip(root_of(parents, "PrimaryKey"), index_page::kEntries + 2 * 9 + 4, 0x80)(bytes);
    const PageNumber page = *UsageMap(*pager, parents.owned_pages).First();
    Flip(page, CellOffset(PageOf(bytes, page), 2) + 2, 0x80)(bytes);
  };
  struct Case {
    const char* name;
    Harm harm;
    const char* message;
  };
  const Case cases[] = {
      {"signature", Flip(0, header::kSignature, 1), "not an Access database"},
      {"system page", Flip(0, header::kSystemTables, 1), "does not name the pages of the catalogue"},
      {"cut in a page", Cut(sound.size() - 100), "no whole page"},
      {"cut by pages", Cut(sound.size() / 2 / kPageSize * kPageSize), "beyond the end of the file"},
      {"definition magic", Flip(comps.page, definition::kMagic, 1),
       "COMPS has 0x58 at byte 12; 0x59 was expected"},
      {"definition type", Set<Half>(kAcesTable, 0, 0x0103), "is of another type"},
      {"definition ring", Set<Half>(kAcesTable, definition::kNext, 3), "form a ring"},
      {"definition elsewhere", Set<Half>(kAcesTable, definition::kNext, 0xFFFF), "refers to this page"},
      {"columns", Set<Half>(kAcesTable, definition::kColumnCount, 256), "claims 256 columns"},
      {"trees", Set<Half>(kAcesTable, definition::kRealCount, 65535), "claims 65535 index trees"},
      {"indexes", Set<Half>(kAcesTable, definition::kLogicalCount, 9999), "claims 9999 indexes"},
      {"column type", Set<Half>(kAcesTable, kFirst, 0x590D), "unknown type 13"},
      {"column numbers", Set<Half>(kAcesTable, definition::kMaxColumns, 2), "where numbers end at 2"},
      {"number twice", Set<Half>(kAcesTable, kFirst + column_descriptor::kNumber, 3),
       "two columns have the number 3"},
      {"row count", Flip(comps.page, definition::kRowCount, 1),
       "table COMPS is said to have 801 rows, but has 800"},
      {"autonumber", Flip(comps.page, definition::kAutonumber + 1, 2),
       "is said to be 288, but column RECID has 800"},
      {"fixed offset", Flip(children.page, kSecond + column_descriptor::kFixedOffset, 5),
       "columns Id and Parent of Children overlap"},
      {"free field", Flip(data, data_page::kFree, 8), "bytes are free; there are"},
      {"owner", Flip(data, data_page::kOwner, 1), "as its owner instead of"},
      {"slot", Flip(data, data_page::kRowTable + 3, 8), "starts at byte"},
      {"deleted", Flip(data, data_page::kRowTable + 1, 0xC0), "there is an entry for row"},
      {"pointer", Flip(data, data_page::kRowTable + 1, 0x40), "to have moved to"},
      {"row columns", Flip(data, row_2, 64), "columns, the table 35"},
      {"null mask", Flip(data, row_2 - 5, 2), "is not that of its values"},
      {"variable offset", Flip(data, row_2 - 8, 0x80), "its variable columns"},
      {"text", Flip(data, row_0 + 90, 2), "index CENTRALKEY of COMPS"},
      {"owned map", FlipInMap(comps.owned_pages, data), "said to have 800 rows, but has"},
      {"free map", FlipInMap(comps.free_space, kinds_data), "but does not belong to it"},
      {"map taken twice", Set<Whole>(comps.page, definition::kOwnedMap, kinds.owned_pages.Packed()),
       "serves something else too"},
      {"page taken twice", FlipInMap(kinds.owned_pages, data), "is used twice"},
      {"free but used", FlipInMap({kGlobalMapPage, 0}, data), "is marked as free"},
      {"value length", Set<Half>(story, data_page::kRowTable, value_end), "of its"},
      {"value deleted", Flip(story, data_page::kRowTable + 1, 0xC0), "where no value is"},
      {"entry", Flip(by_key, index_page::kEntries + 12, 1), "is not that of its values"},
      {"order", Flip(by_key, index_page::kEntries + 1, 0x40), "is out of order"},
      {"entry end", Flip(by_key, index_page::kBitmap, 2), "an entry that ends where none can"},
      {"prefix", Flip(leaf_of("CENTRALKEY"), index_page::kPrefix, 1), "index CENTRALKEY of COMPS"},
      {"index free field", Flip(root_of(kinds, "ByName"), index_page::kFree, 1),
       "index ByName of Kinds: page"},
      {"leaf link", Flip(leaf_of("CityIdx"), index_page::kNext, 1), "as next instead of"},
      {"tail child", Set<Whole>(city, index_page::kTail, kinds_data), "is used twice"},
      {"root", Set<Whole>(city, index_page::kTail, city), "is used twice"},
      {"page type", Flip(leaf_of("PriceIdx"), 0, 1), "index PriceIdx of COMPS"},
      {"missing parent", change_parent, "relationship ParentsChildren: row"},
      {"relation back", Flip(children.page, kIndex + logical_index::kOtherIndex, 3),
       "which does not name it back"},
  };
  EXPECT_THAT(CheckBytes(sound).problems, IsEmpty());
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    Bytes bytes = sound;
    each.harm(bytes);
    EXPECT_THAT(Texts(CheckBytes(bytes).problems), Contains(HasSubstr(each.message)));
  }
}

/// Some programs leave old bytes behind the references that a map of the largest file could have.
TEST(CheckDatabase, IgnoresWhatAMapSaysOfPagesThatNoFileHas) {
  storage::MemoryFileSystem files;
  test::MakeSample(files, "sample.mdb", 100);
  const auto pager = test::OpenPager(files, "sample.mdb", false);
  const TableDefinition comps =
      ReadTableDefinition(*pager, Catalog(*pager).FindTable("COMPS")->DefinitionPage());
  const UsageMap map(*pager, comps.owned_pages);
  PageAllocator allocator(*pager);
  const PageEdit bits = allocator.Allocate();
  bits.bytes()[0] = std::byte{5}, bits.bytes()[1] = std::byte{1};
  for (auto page = map.First(); page; page = map.NextFrom(*page + 1)) {
    bits.bytes()[4 + *page / 8] |= std::byte{1} << *page % 8;
  }
  Bytes cell(1 + 4 * 19, std::byte{0xEE});
  std::fill_n(cell.begin(), 1 + 4 * 17, std::byte{0});
  cell[0] = std::byte{1};
  storage::WriteLittle<std::uint32_t>(cell, 1, bits.number());
  ASSERT_TRUE(DataPageEdit(pager->Edit(comps.owned_pages.page))
                  .Replace(comps.owned_pages.row, cell, CellState::Live));
  EXPECT_THAT(Texts(CheckDatabase(*pager).problems), IsEmpty());
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
    SCOPED_TRACE(testing::Message() << "case " << &each - cases);
    EXPECT_EQ(problems.size(), each.collide ? 1u : 0u);
    EXPECT_THAT(problems, testing::Each(HasSubstr("index Both of T: rows")));
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
  EXPECT_THAT(CheckFile(files, "encoded.mdb").problems, IsEmpty());
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
