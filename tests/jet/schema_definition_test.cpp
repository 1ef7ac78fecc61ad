// Table definitions, the header page and property blobs: what is read is written again byte for byte, and
// damage is refused.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/error.h"
#include "storage/base/bytes.h"
#include "storage/jet/catalog.h"
#include "storage/jet/header_page.h"
#include "storage/jet/jet_create.h"
#include "storage/jet/long_value.h"
#include "storage/jet/property_map.h"
#include "storage/jet/table_definition.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using storage::ByteView;
using Bytes = std::vector<std::byte>;

// The joined pages of a definition as they stand in the file, with the bytes zeroed that mean nothing.
Bytes StoredDefinition(Pager& pager, const TableDefinition& table) {
  Bytes bytes;
  for (const PageNumber page : table.pages) {
    const PageView view = pager.Read(page);
    const ByteView content = bytes.empty() ? view.bytes() : view.bytes().subspan(definition::kPageHead);
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
  const auto clear = [&bytes](std::size_t offset, std::size_t length) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, std::byte{});
  };
  bytes.resize(storage::ReadLittle<std::uint32_t>(bytes, definition::kLength));
  clear(definition::kFree, 6);
  clear(definition::kAutonumberFlag + 1, definition::kKind - definition::kAutonumberFlag - 1);
  std::size_t at = definition::kCounters + definition::kCounterSize * table.real_indexes.size();
  for (const Column& column : table.columns) {
    if (!column.IsFixed()) clear(at + column_descriptor::kFixedOffset, 2);
    at += column_descriptor::kSize;
  }
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    at += 2 + storage::ReadLittle<std::uint16_t>(bytes, at);
  for (const RealIndex& index : table.real_indexes) {
    for (std::size_t i = index.columns.size(); i < kMaxIndexColumns; ++i)
      clear(at + real_index::kColumns + 3 * i + 2, 1);
    clear(at + 42, 4);
    at += real_index::kSize;
  }
  return bytes;
}

// "offset: made stored" for each byte that differs.
std::string Differences(const Bytes& made, const Bytes& stored) {
  std::string text = made.size() == stored.size() ? "" : "another length ";
  for (std::size_t i = 0; i < std::min(made.size(), stored.size()); ++i) {
    if (made[i] != stored[i]) text += fmt::format("{}: {:02x} {:02x}  ", i, made[i], stored[i]);
  }
  return text;
}

TEST(TableDefinition, RealOnesAreEncodedAsTheyStand) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  int tables = 0;
  for (const auto& file : files) {
    const auto pager = test::OpenPager(system, file);
    for (PageNumber page = 2; page < pager->page_count(); ++page) {
      const PageView view = pager->Read(page);
      if (storage::ReadByte(view.bytes(), 0) != 2 ||
          storage::ReadLittle<std::uint32_t>(view.bytes(), definition::kMagic) != definition::kMagicValue) {
        continue;
      }
      SCOPED_TRACE(file.string() + ", page " + std::to_string(page));
      const TableDefinition table = ReadTableDefinition(*pager, page);
      EXPECT_EQ(Differences(EncodeTableDefinition(table), StoredDefinition(*pager, table)), "");
      ++tables;
    }
  }
  EXPECT_GT(tables, 200);
}

TEST(HeaderPage, TheOneOfAnEngineMadeFileIsMadeAgain) {
  const auto file = test::SharedFile("fixtures/mdb/real/adox_jet4.mdb");
  if (!file) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  const auto pager = test::OpenPager(system, *file);
  const PageView page = pager->Read(0);
  const HeaderPage header = ReadHeaderPage(page.bytes(), *file);
  EXPECT_EQ(header.code_page, 1252);
  EXPECT_EQ(header.database_key, 0U);
  EXPECT_FALSE(header.has_password);
  EXPECT_TRUE(header.sort_order.IsGeneral());
  EXPECT_EQ(MakeHeaderPage(header), Bytes(page.bytes().begin(), page.bytes().end()));
}

TEST(HeaderPage, TellsOtherFilesApart) {
  HeaderPage header;
  header.created = 42329.5;
  const Bytes sound = MakeHeaderPage(header);
  EXPECT_EQ(ReadHeaderPage(sound, "x.mdb").created, 42329.5);
  struct Case {
    std::size_t offset;
    unsigned char value;
    const char* message;
  };
  for (const Case& each :
       {Case{header::kVersion, 0, "Access 97 or older"}, Case{header::kVersion, 2, "later version"},
        Case{header::kSignature + 9, 'A', "later version"}, Case{header::kSignature, 's', "not an"}}) {
    Bytes page = sound;
    page[each.offset] = std::byte{each.value};
    if (each.value == 'A')
      std::ranges::copy(storage::AsBytes("ACE"),
                        storage::Slice(storage::ByteSpan(page), each.offset, 3).begin());
    try {
      ReadHeaderPage(page, "x.mdb");
      ADD_FAILURE() << each.message;
    } catch (const common::Error& error) {
      EXPECT_EQ(error.number(), common::kUnrecognizedFormat);
      EXPECT_THAT(error.what(),
                  testing::AllOf(testing::HasSubstr(each.message), testing::HasSubstr("x.mdb")));
    }
  }
  EXPECT_THROW(ReadHeaderPage(ByteView(sound).first(100), "x.mdb"), common::Error);
  Bytes locked = sound;
  locked[header::kPassword + 6] ^= std::byte{'p'};
  EXPECT_TRUE(ReadHeaderPage(locked, "x.mdb").has_password);
}

TEST(PropertyMap, RealOnesAreBuiltAsTheyStand) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  int blobs = 0;
  for (const auto& file : files) {
    const auto pager = test::OpenPager(system, file);
    const Catalog catalog(*pager);
    for (const CatalogObject& object : catalog.objects()) {
      if (object.stored_properties.empty()) continue;
      SCOPED_TRACE(file.string() + ", " + object.name);
      const Place place{&pager->path(), object.row.page, object.row.row};
      Bytes blob;
      ReadLongValue(*pager, object.stored_properties, place, blob);
      EXPECT_EQ(Differences(PropertyMap::Parse(blob, place).Build(), blob), "");
      ++blobs;
    }
  }
  EXPECT_GT(blobs, 100);
}

TEST(PropertyMap, SetReplacesAndAddsAndKeepsTheRest) {
  PropertyMap map;
  EXPECT_TRUE(map.Build().empty());
  map.Set("City", Property::YesNo("Required", true));
  map.Set("City", Property::Memo("DefaultValue", "\"Köln\""));
  map.Set("", Property::Text("ValidationText", "no"));
  map.Set("CITY", Property::YesNo("required", false));
  map.Set("Zip", Property::YesNo("AllowZeroLength", true));
  Bytes blob = map.Build();
  // A block of a kind that is not known, behind the others.
  const Bytes unknown{std::byte{8}, {}, {}, {}, std::byte{7}, {}, std::byte{0xAB}, std::byte{0xCD}};
  blob.insert(blob.end(), unknown.begin(), unknown.end());

  const PropertyMap read = PropertyMap::Parse(blob, {});
  EXPECT_EQ(read.Build(), blob);
  const ColumnRules city = read.RulesOf("city");
  EXPECT_FALSE(city.required);
  EXPECT_EQ(city.default_value, "\"Köln\"");
  EXPECT_TRUE(read.RulesOf("ZIP").allow_zero_length);
  EXPECT_FALSE(read.RulesOf("Street").allow_zero_length);
  EXPECT_EQ(read.TableRule().text, "no");

  for (std::size_t length = 1; length < blob.size(); ++length) {
    try {  // a cut blob is refused, or ends between two blocks
      PropertyMap::Parse(ByteView(blob).first(length), {});
    } catch (const common::Error& error) {
      EXPECT_EQ(error.number(), common::kDamagedDatabase);
    }
  }
}

// One definition page, whole files being the checker's tests.
TEST(TableDefinition, RefusesWhatCannotBe) {
  storage::MemoryFileSystem files;
  CreateDatabase(files, "x.mdb", {});
  const Bytes sound = files.Contents("x.mdb");
  constexpr std::size_t kColumn = definition::kCounters + definition::kCounterSize;  // of MSysACEs, its first
  struct Case {
    const char* message;
    std::size_t offset;
    std::uint16_t value;
  };
  const Case cases[] = {{"is of another type", 0, 0x0103},
                        {"form a ring", definition::kNext, 3},
                        {"is of another type", definition::kNext, 6},
                        {"refers to this page", definition::kNext, 999},
                        {"claims 256 columns", definition::kColumnCount, 256},
                        {"claims 65535 index trees", definition::kRealCount, 65535},
                        {"claims 9999 indexes", definition::kLogicalCount, 9999},
                        {"unknown type 13", kColumn, 0x590D},
                        {"where numbers end at 2", definition::kMaxColumns, 2},
                        {"two columns have the number 3", kColumn + column_descriptor::kNumber, 3},
                        {"names the missing column 9", 0, 0}};
  for (Case each : cases) {
    SCOPED_TRACE(each.message);
    files.Contents("x.mdb") = sound;
    storage::ByteSpan page =
        storage::ByteSpan(files.Contents("x.mdb")).subspan(kAcesTable * kPageSize, kPageSize);
    if (each.offset == 0 && each.value == 0) {
      std::size_t names = kColumn + 4 * column_descriptor::kSize;
      for (int i = 0; i < 4; ++i) names += 2 + storage::ReadLittle<std::uint16_t>(page, names);
      each.offset = names + real_index::kColumns;
      each.value = 9;
    }
    storage::WriteLittle(page, each.offset, each.value);
    const auto pager = test::OpenPager(files, "x.mdb");
    try {
      ReadTableDefinition(*pager, kAcesTable);
      ADD_FAILURE() << "was accepted";
    } catch (const common::Error& error) {
      EXPECT_EQ(error.number(), common::kDamagedDatabase);
      EXPECT_THAT(error.what(),
                  testing::AllOf(testing::HasSubstr(each.message), testing::HasSubstr("x.mdb, page ")));
    }
  }
}

}  // namespace
}  // namespace corvix::jet
