#include "jet/schema_sample.h"

#include <fmt/format.h>
#include <limits>

#include "sample/folvane_schema.h"
#include "storage/base/bytes.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/catalog_writer.h"
#include "storage/jet/pages/rc4.h"
#include "support/jet_files.h"

namespace corvix::test {
namespace {

using jet::ColumnType;
using jet::RelationshipDescription;
using jet::TableDescription;

TableDescription Kinds() {
  return {
      .name = "Kinds",
      .columns =
          {{.name = "Number", .type = ColumnType::Long, .autonumber = true},
           {.name = "Flag", .type = ColumnType::YesNo},
           {.name = "Small", .type = ColumnType::Byte},
           {.name = "Middle", .type = ColumnType::Integer, .required = true, .default_value = "7"},
           {.name = "Money", .type = ColumnType::Currency},
           {.name = "Half", .type = ColumnType::Single, .default_value = "Rnd()"},
           {.name = "Whole", .type = ColumnType::Double, .validation_rule = ">0", .validation_text = "No"},
           {.name = "Day", .type = ColumnType::Date, .default_value = "Now()"},
           {.name = "Raw", .type = ColumnType::Binary, .length = 16},
           {.name = "Name", .type = ColumnType::Text, .length = 50, .allow_zero_length = false},
           {.name = "Picture", .type = ColumnType::Ole},
           {.name = "Story", .type = ColumnType::Memo},
           {.name = "Key", .type = ColumnType::Guid},
           {.name = "Exact", .type = ColumnType::Decimal, .precision = 18, .scale = 4}},
      .indexes = {
          {.name = "PrimaryKey", .columns = {{"Number"}}, .primary = true},
          {.name = "ByName", .columns = {{"Name", false}, {"Middle"}}},
          {.name = "ByStory", .columns = {{"Story"}}, .ignore_nulls = true},
          {.name = "ByKey", .columns = {{"Key"}}, .unique = true},
          {.name = "ByRest",
           .columns = {
               {"Flag"}, {"Small"}, {"Money", false}, {"Half"}, {"Whole"}, {"Day"}, {"Raw"}, {"Exact"}}}}};
}

/// The same columns at their widest, without rules.
TableDescription Extremes() {
  TableDescription table = Kinds();
  table.name = "Extremes";
  for (jet::ColumnDescription& column : table.columns) {
    column = {.name = column.name, .type = column.type, .precision = 28, .scale = 10};
    if (column.type == ColumnType::Binary) column.length = 510;
    if (column.type == ColumnType::Text) column.length = 255;
  }
  // How texts with characters beyond U+FFFF sort is not certain, and other readers hold other views.
  std::erase_if(table.indexes,
                [](const auto& index) { return index.name == "ByName" || index.name == "ByStory"; });
  return table;
}

std::string Repeated(std::string_view text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

core::Bytes Counting(std::size_t length) {
  core::Bytes bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<std::byte>(i * i / 7);
  return bytes;
}

core::Value OrNull(bool is_null, core::Value value) { return is_null ? core::Value() : std::move(value); }

void FillKinds(jet::CatalogWriter& table) {
  for (int i = 1; i <= 40; ++i) {
    const bool odd = i % 2 != 0;
    core::Guid key;
    key.bytes[0] = static_cast<std::uint8_t>(i);
    core::Decimal exact{i % 3 == 0, 4, {0, 0, 0, static_cast<std::uint32_t>(i) * 10001}};
    const auto length = static_cast<std::size_t>(i * i * 11);
    table.Add({{"Number", i},
               {"Flag", odd},
               {"Small", OrNull(i % 7 == 0, static_cast<std::uint8_t>(i))},
               {"Middle", static_cast<std::int16_t>(-i)},
               {"Money", core::Currency{i * 12345 - 200000}},
               {"Half", OrNull(odd, static_cast<float>(i) / 4)},
               {"Whole", i * 1.5},
               {"Day", OrNull(i % 5 == 0, core::Date{i * 1000.25 - 20000})},
               {"Raw", OrNull(odd, core::Bytes(static_cast<std::size_t>(i % 17), std::byte{0x5A}))},
               {"Name", OrNull(i % 6 == 0, fmt::format("Straße {} — {}", i % 9, i))},
               {"Picture", OrNull(odd, core::Bytes(length, std::byte{0x11}))},
               {"Story", OrNull(i % 4 == 0, std::string(length, static_cast<char>('a' + i % 26)))},
               {"Key", key},
               {"Exact", exact}});
  }
}

void FillComps(jet::CatalogWriter& table, int rows) {
  for (int i = 1; i <= rows; ++i) {
    table.Add({{"RECID", i},
               {"CENTRALKEY", fmt::format("{:05} OLD CO-OP LN", i * 7919 % 100003)},
               {"City", OrNull(i % 10 == 0, fmt::format("City {}", i % 37))},
               {"SELLINGPR", OrNull(i % 8 == 0, 1000.0 * (i % 91))},
               {"SaleDate", OrNull(i % 11 == 0, core::Date{36000.0 + i % 700})},
               {"COMMENTS", std::string(static_cast<std::size_t>(i % 50) * 20, 'c')},
               {"NOTES", OrNull(i % 3 != 0, "Größe " + std::string(60, 'n'))}});
  }
}

}  // namespace

std::vector<std::vector<core::Value>> ExtremeRows() {
  using core::Bytes, core::Currency, core::Date, core::Decimal, core::Guid, core::Null;
  using Byte = std::uint8_t;
  using Short = std::int16_t;
  using Long = std::numeric_limits<std::int32_t>;
  using Huge = std::numeric_limits<std::int64_t>;
  using Single = std::numeric_limits<float>;
  using Double = std::numeric_limits<double>;
  const auto decimal = [](bool negative, std::array<std::uint32_t, 4> magnitude) {
    return Decimal{negative, 10, magnitude};
  };
  constexpr std::array<std::uint32_t, 4> kNines{0, 0x204FCE5E, 0x3E250261, 0x0FFFFFFF};  // 28 of them
  Guid all_bits;
  all_bits.bytes.fill(0xFF);
  return {
      {Long::min(), false, Byte{0}, Short{-32768}, Currency{Huge::min()}, Single::lowest(), Double::lowest(),
       Date{-657434}, Bytes{}, "", Bytes{}, "", Guid{}, decimal(true, kNines)},
      {Long::max(), true, Byte{255}, Short{32767}, Currency{Huge::max()}, Single::max(), Double::max(),
       Date{2958465.5}, Counting(510), Repeated("ÿ", 255), Counting(70'000), Repeated("aé~", 23'333),
       all_bits, decimal(false, kNines)},
      {-1, false, Byte{1}, Short{-1}, Currency{1}, Single::denorm_min(), Double::denorm_min(), Date{-1.25},
       Bytes(1), Repeated("Ω", 255), Bytes(65), Repeated("Ω", 35'000), Guid{{1, 2, 3, 4, 5, 6, 7, 8, 9}},
       decimal(false, {0, 0, 0, 1})},
      {0, true, Byte{128}, Short{0}, Currency{-1}, Single::min(), -Double::min(), Date{0.999988}, Bytes(255),
       Repeated("😀", 127), Bytes(4076), Repeated("é", 1024), Guid{{0xFF}}, decimal(true, {0, 0, 0, 1})},
      {1, false, Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, Null{},
       Null{}},
      {2, true, Byte{127}, Short{1}, Currency{0}, 0.1F, 0.1, Date{36525.75}, Bytes(2), "\x01\x1F\x7F\"\\",
       Bytes(64), Repeated("é", 1025), Guid{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}},
       decimal(false, {0, 0, 1, 0})},
      {3, false, Byte{2}, Short{2}, Currency{99'999}, 1.0F / 3, 1.0 / 3, Date{2}, Bytes(3), " ab ",
       Bytes(4077), "ab", Guid{{8}}, decimal(false, {0, 1, 0, 0})},
  };
}

jet::DatabaseDescription SampleDescription() {
  jet::DatabaseDescription database = sample::FolvaneSchema();
  database.tables.push_back(Kinds());
  database.tables.push_back({.name = "Parents",
                             .columns = {{.name = "Id", .type = ColumnType::Long},
                                         {.name = "Name", .type = ColumnType::Text, .length = 20}},
                             .indexes = {{.name = "PrimaryKey", .columns = {{"Id"}}, .primary = true}}});
  database.tables.push_back(
      {.name = "Children",
       .columns = {{.name = "Id", .type = ColumnType::Long}, {.name = "Parent", .type = ColumnType::Long}},
       .indexes = {{.name = "PrimaryKey", .columns = {{"Id"}}, .primary = true}}});
  database.tables.push_back(Extremes());
  database.relationships.push_back({.name = "ParentsChildren",
                                    .table = "Children",
                                    .referenced_table = "Parents",
                                    .columns = {{"Parent", "Id"}},
                                    .cascade_deletes = true});
  database.relationships.push_back({.name = "Loose",
                                    .table = "Kinds",
                                    .referenced_table = "COMPS",
                                    .columns = {{"Name", "City"}, {"Number", "RECID"}},
                                    .enforced = false});
  return database;
}

void MakeSample(storage::FileSystem& files, const std::filesystem::path& path, int comps) {
  jet::CreateDatabase(files, path, SampleDescription());
  const auto pager = OpenPager(files, path, false);
  jet::PageAllocator allocator(*pager);
  const jet::Catalog catalog(*pager);
  const auto fill = [&](std::string_view name, auto rows) {
    jet::CatalogWriter table(*pager, allocator, catalog.FindTable(name)->DefinitionPage());
    rows(table);
    table.Save();
  };
  fill("Kinds", FillKinds);
  fill("COMPS", [&](jet::CatalogWriter& table) { FillComps(table, comps); });
  fill("Extremes", [](jet::CatalogWriter& table) {
    for (const auto& row : ExtremeRows()) table.AddRow(row);
  });
  fill("Parents", [](jet::CatalogWriter& table) {
    for (int i = 1; i <= 3; ++i) table.Add({{"Id", i}, {"Name", fmt::format("Parent {}", i)}});
  });
  fill("Children", [](jet::CatalogWriter& table) {
    for (int i = 1; i <= 9; ++i) table.Add({{"Id", i}, {"Parent", OrNull(i % 4 == 0, 1 + i % 3)}});
  });
  for (const char* name : {"Kinds", "COMPS"}) {  // numbers were given, so the marks have to follow
    jet::TableDefinition table = jet::ReadTableDefinition(*pager, catalog.FindTable(name)->DefinitionPage());
    table.last_autonumber = table.row_count;
    jet::WriteCounters(*pager, table);
  }
  pager->Checkpoint();
}

void EncodePages(std::vector<std::byte>& bytes, std::uint32_t key) {
  const storage::ByteSpan file(bytes);
  std::array<std::byte, 4> page_key;
  for (std::uint32_t page = 1; page < bytes.size() / jet::kPageSize; ++page) {
    storage::WriteLittle(storage::ByteSpan(page_key), 0, key ^ page);
    jet::ApplyRc4(page_key, storage::Slice(file, page * jet::kPageSize, jet::kPageSize));
  }
  // The header's key stands masked: what a plain file has there is the mask.
  const auto mask = storage::ReadLittle<std::uint32_t>(file, jet::header::kDatabaseKey);
  storage::WriteLittle(file, jet::header::kDatabaseKey, mask ^ key);
}

}  // namespace corvix::test
