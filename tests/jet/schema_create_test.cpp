// Databases made from descriptions: read back by our reader and by the checker.
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/error.h"
#include "jet/schema_sample.h"
#include "sample/folvane_schema.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/definition/table_definition.h"
#include "support/faulty_file_system.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using test::Texts;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(CreateDatabase, AnEmptyOneIsTheEnginesOwn) {
  const auto model = test::SharedFile("fixtures/mdb/real/adox_jet4.mdb");
  if (!model) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  storage::MemoryFileSystem memory;
  CreateDatabase(memory, "empty.mdb", {});
  const auto real = test::OpenPager(system, *model);
  const auto made = test::OpenPager(memory, "empty.mdb");
  ASSERT_EQ(made->page_count(), real->page_count());
  // Definitions have bytes that mean nothing, and the rows of MSysObjects (page 14) the time of their
  // creation.
  for (const PageNumber page : {0U, 1U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 15U}) {
    EXPECT_TRUE(std::ranges::equal(made->Read(page).bytes(), real->Read(page).bytes())) << "page " << page;
  }
  for (const PageNumber page : {2U, 3U, 4U}) {
    EXPECT_EQ(EncodeTableDefinition(ReadTableDefinition(*made, page)),
              EncodeTableDefinition(ReadTableDefinition(*real, page)))
        << "page " << page;
  }
}

TEST(CreateDatabase, EverythingDescribedIsReadBack) {
  storage::MemoryFileSystem files;
  test::MakeSample(files, "sample.mdb");
  const auto pager = test::OpenPager(files, "sample.mdb");
  const Catalog catalog(*pager);
  for (const TableDescription& table : test::SampleDescription().tables) {
    SCOPED_TRACE(table.name);
    const CatalogObject* object = catalog.FindTable(table.name);
    ASSERT_NE(object, nullptr);
    EXPECT_FALSE(object->IsSystem());
    const TableDefinition definition = ReadTableDefinition(*pager, object->DefinitionPage());
    const PropertyMap properties = catalog.ReadProperties(*object);
    ASSERT_EQ(definition.columns.size(), table.columns.size());
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      const ColumnDescription& described = table.columns[i];
      const Column& column = definition.columns[i];
      const ColumnRules rules = properties.RulesOf(described.name);
      const bool is_text = described.type == ColumnType::Text || described.type == ColumnType::Memo;
      EXPECT_EQ(column.name, described.name);
      EXPECT_EQ(column.type, described.type);
      EXPECT_EQ(column.IsAutonumber(), described.autonumber);
      EXPECT_EQ(rules.required, described.required);
      EXPECT_EQ(rules.allow_zero_length, is_text && described.allow_zero_length);
      EXPECT_EQ(rules.default_value, described.default_value);
      EXPECT_EQ(rules.validation.expression, described.validation_rule);
      EXPECT_EQ(rules.validation.text, described.validation_text);
    }
    for (const IndexDescription& described : table.indexes) {
      const LogicalIndex* index = definition.FindIndex(described.name);
      ASSERT_NE(index, nullptr);
      const RealIndex& real = definition.real_indexes[index->real_index];
      EXPECT_EQ(index->kind, described.primary ? IndexKind::PrimaryKey : IndexKind::Plain);
      EXPECT_EQ(real.IsUnique(), described.unique || described.primary);
      EXPECT_EQ(real.IgnoresNulls(), described.ignore_nulls);
      ASSERT_EQ(real.columns.size(), described.columns.size());
      for (std::size_t i = 0; i < real.columns.size(); ++i) {
        EXPECT_EQ(definition.FindColumn(real.columns[i].number)->name, described.columns[i].name);
        EXPECT_EQ(real.columns[i].ascending, described.columns[i].ascending);
      }
    }
  }
  const std::vector<Relationship> relationships = catalog.RelationshipsOf("parents");
  ASSERT_EQ(relationships.size(), 1U);
  EXPECT_EQ(relationships[0].table, "Children");
  EXPECT_TRUE(relationships[0].IsEnforced() && relationships[0].CascadesDeletes());
  EXPECT_FALSE(relationships[0].CascadesUpdates());
  EXPECT_EQ(catalog.RelationshipsOf("KINDS").at(0).columns.at(1).referenced_column, "RECID");

  const CheckReport report = CheckDatabase(*pager);
  EXPECT_THAT(Texts(report.problems), ElementsAre());
  EXPECT_THAT(Texts(report.unevaluated),
              ElementsAre(HasSubstr("the default value Rnd() of Kinds.Half is not evaluated"),
                          HasSubstr("the validation rule >0 of Kinds.Whole is not evaluated")));
  EXPECT_EQ(report.rows, 8U + 7 + 16 + 14 + 3 + 300 + 40 + 3 + 9 + 7);
}

TEST(CreateDatabase, ManyColumnsIndexesAndMapsSpreadOverPages) {
  TableDescription table{.name = std::string(64, 'T'), .columns = {}, .indexes = {}};
  for (int i = 0; i < 255; ++i) {
    const bool is_long = i < 120;
    table.columns.push_back({.name = std::string(60, 'c') + std::to_string(i),
                             .type = is_long ? ColumnType::Memo : ColumnType::Integer});
  }
  for (int i = 0; i < 32; ++i) {
    table.indexes.push_back(
        {.name = "Index " + std::to_string(i), .columns = {{table.columns[200].name, i % 2 == 0}}});
  }
  storage::MemoryFileSystem files;
  CreateDatabase(files, "wide.mdb", {.tables = {table}, .relationships = {}});
  const auto pager = test::OpenPager(files, "wide.mdb");
  const Catalog catalog(*pager);
  const TableDefinition definition =
      ReadTableDefinition(*pager, catalog.FindTable(table.name)->DefinitionPage());
  EXPECT_GT(definition.pages.size(), 5U);
  EXPECT_EQ(definition.columns.back().name, table.columns.back().name);
  EXPECT_EQ(definition.long_values.size(), 120U);
  EXPECT_THAT(Texts(CheckDatabase(*pager).problems), ElementsAre());
}

TEST(CreateDatabase, RefusesDescriptionsThatCannotBeAndWritesNothing) {
  struct Case {
    const char* name;
    std::function<void(DatabaseDescription&)> spoil;
    const char* message;
  };
  const std::vector<Case> cases{
      {"table twice",
       [](auto& d) {
         d.tables.push_back(d.tables[0]);
         d.tables.back().name = "comps";
       },
       "two tables"},
      {"system name", [](auto& d) { d.tables[0].name = "MSYSACES"; }, "two tables"},
      {"long name", [](auto& d) { d.tables[0].name = std::string(65, 'x'); }, "1 to 64 characters"},
      {"bad name", [](auto& d) { d.tables[0].columns[3].name = "a.b"; }, "character that names cannot have"},
      {"no columns", [](auto& d) { d.tables[2].columns.clear(); }, "1 to 255 columns"},
      {"text length", [](auto& d) { d.tables[0].columns[1].length = 256; }, "1 to 255 characters"},
      {"autonumber", [](auto& d) { d.tables[0].columns[1].autonumber = true; }, "no long integer"},
      {"two keys", [](auto& d) { d.tables[0].indexes[1].primary = true; }, "two primary keys"},
      {"no such column", [](auto& d) { d.tables[0].indexes[1].columns[0].name = "x"; }, "no such column"},
      {"index over OLE", [](auto& d) { d.tables[1].indexes[1].columns[0].name = "Picture"; },
       "no order of its type"},
      {"scale", [](auto& d) { d.tables[1].columns[13].scale = 19; }, "19 of them behind the point"},
      {"no table", [](auto& d) { d.relationships[0].table = "x"; }, "which is not there"},
      {"types", [](auto& d) { d.relationships[0].columns[0].referenced_column = "Name"; }, "different types"},
      {"not unique", [](auto& d) { d.tables[2].indexes.clear(); }, "needs a unique index"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    storage::MemoryFileSystem files;
    DatabaseDescription description = test::SampleDescription();
    each.spoil(description);
    try {
      CreateDatabase(files, "bad.mdb", description);
      ADD_FAILURE() << "was accepted";
    } catch (const common::Error& error) {
      EXPECT_EQ(error.number(), common::kInvalidCall);
      EXPECT_THAT(error.text(), HasSubstr(each.message));
    }
    EXPECT_FALSE(files.Exists("bad.mdb"));
  }
}

TEST(CreateDatabase, WhateverFailsTheOldFileOrTheNewOneIsThere) {
  const DatabaseDescription description = sample::FolvaneSchema();
  storage::MemoryFileSystem memory;
  CreateDatabase(memory, "/comps.mdb", description);
  const std::vector<std::byte>& made = memory.Contents("/comps.mdb");
  const std::vector<std::byte> old(100, std::byte{0x55});
  bool done = false;
  for (std::uint64_t operation = 0; !done; ++operation) {
    SCOPED_TRACE(operation);
    test::FaultyFileSystem cut;
    cut.Put("/comps.mdb", old);
    cut.CutAt(operation);
    try {
      CreateDatabase(cut, "/comps.mdb", description);
      done = true;
    } catch (const test::PowerCut&) {
    }
    for (const auto unsynced : {test::Unsynced::Kept, test::Unsynced::Dropped, test::Unsynced::Mixed}) {
      const auto left = cut.AfterCut(unsynced, static_cast<unsigned>(operation)).at("/comps.mdb");
      EXPECT_TRUE(left == made || (!done && left == old));
    }
    if (done) break;

    test::FaultyFileSystem full;
    full.Put("/comps.mdb", old);
    full.FailAt(operation, 1, common::kDiskFull);
    EXPECT_THROW(CreateDatabase(full, "/comps.mdb", description), common::Error);
    const auto& now = full.Contents("/comps.mdb");
    EXPECT_TRUE(now == old || now == made);
    EXPECT_FALSE(full.Exists("/comps.mdb.new"));
  }
}

}  // namespace
}  // namespace corvix::jet
