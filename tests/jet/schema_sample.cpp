#include "jet/schema_sample.h"

#include <fmt/format.h>

#include "sample/folvane_schema.h"
#include "storage/jet/catalog.h"
#include "storage/jet/catalog_writer.h"
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
           {.name = "Half", .type = ColumnType::Single},
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

}  // namespace corvix::test
