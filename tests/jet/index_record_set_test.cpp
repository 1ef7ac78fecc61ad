// What the table operations do with the rules of a Jet table: keys of all types, numbers, defaults, the order
// of tests, relationships. What all record sets have in common is in the conformance suite.
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <numeric>

#include "jet/index_tables.h"
#include "sample/folvane_schema.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/default_value.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet {
namespace {

using core::Null;
using test::Add;
using test::At;
using test::ErrorOf;
using test::NumberOf;
using test::Tables;
using test::Text;
using testing::HasSubstr;

/// Every type of key: the order of its index, and a seek by text.
TEST(JetRecordSet, SeeksAndOrdersByEveryType) {
  struct Case {
    const char* name;
    ColumnType type;
    std::vector<core::Value> ascending;  // in the order of the index; Null stands first
    std::string sought;
    std::size_t found;  // which of them
  };
  const core::Guid low{{1, 2, 3}}, high{{1, 2, 4}};
  const Case cases[] = {
      {"byte", ColumnType::Byte, {Null{}, std::uint8_t{0}, std::uint8_t{200}}, "200", 2},
      {"integer", ColumnType::Integer, {Null{}, std::int16_t{-5}, std::int16_t{7}}, "-5", 1},
      {"long", ColumnType::Long, {Null{}, -70000, 0, 70000}, "70,000", 3},
      {"currency", ColumnType::Currency, {core::Currency{-1}, core::Currency{1}}, "0.0001", 1},
      {"single", ColumnType::Single, {-2.5F, 0.5F, 3.0F}, "0.5", 1},
      {"double", ColumnType::Double, {Null{}, -1e10, 1e-10}, "1E-10", 2},
      {"date", ColumnType::Date, {core::Date{-10}, core::Date{36526}}, "1/1/2000", 1},
      {"yes/no", ColumnType::YesNo, {true, false}, "False", 1},
      {"text", ColumnType::Text, {Null{}, "", "a b", "Ab", "äb", "b"}, "AB ", 3},
      {"memo", ColumnType::Memo, {Null{}, "long", "longer"}, "LONGER", 2},
      {"guid", ColumnType::Guid, {low, high}, "{01020400-0000-0000-0000-000000000000}", 1},
      {"decimal", ColumnType::Decimal, {"-12.50", "-12.49", "0", "12.5"}, "12.50", 3},
  };
  for (const Case& c : cases) {
    for (const bool ascending : {true, false}) {
      SCOPED_TRACE(fmt::format("{} {}", c.name, ascending ? "ascending" : "descending"));
      Tables tables(TableDescription{.name = "T",
                                     .columns = {{.name = "V", .type = c.type, .length = 20, .scale = 2},
                                                 {.name = "N", .type = ColumnType::Long}},
                                     .indexes = {{.name = "I", .columns = {{"V", ascending}, {"N"}}}}});
      const auto records = tables.Set("T");
      const auto count = static_cast<int>(c.ascending.size());
      for (int i = 0; i < count; ++i) {  // in an order other than the index's
        const int place = (i + 1) % count;
        Add(*records, {{"V", c.ascending[static_cast<std::size_t>(place)]}, {"N", place}});
      }
      records->SelectIndex("I");
      std::vector<int> order;
      for (records->MoveFirst(); !records->PastEnd(); records->MoveNext()) {
        order.push_back(std::get<std::int32_t>(records->Read(At(*records, "N"))));
      }
      std::vector<int> expected(c.ascending.size());
      std::iota(expected.begin(), expected.end(), 0);
      if (!ascending) std::ranges::reverse(expected);
      // Files hold descending decimals with the sign not inverted: each sign descends for itself.
      if (!ascending && c.type == ColumnType::Decimal) expected = {1, 0, 3, 2};
      EXPECT_EQ(order, expected);
      records->SeekEqual(c.sought);
      ASSERT_FALSE(records->NoMatch());
      EXPECT_EQ(records->Read(At(*records, "N")), core::Value(static_cast<int>(c.found)));
      if (c.type != ColumnType::Text && c.type != ColumnType::Memo) {
        EXPECT_EQ(NumberOf([&] { records->SeekEqual("nothing of the kind"); }), common::kConversion);
      }
      tables.Check();
    }
  }
}

TEST(JetRecordSet, NumbersRowsAfterTheHighestNumber) {
  Tables tables(corvix::sample::FolvaneSchema());
  {
    const auto comps = tables.Set("COMPS");
    for (int i = 0; i < 3; ++i) Add(*comps, {{"CENTRALKEY", fmt::format("K{}", i)}});
    EXPECT_EQ(NumberOf([&] { Add(*comps, {{"CENTRALKEY", "k1"}}); }), common::kDuplicateKey);
    EXPECT_EQ(NumberOf([&] { Add(*comps, {{"RECID", 50}}); }), common::kNotAssignable);
    Add(*comps, {{"CENTRALKEY", "K3"}});
  }
  tables.database->Close();
  {  // a counter below the highest number, as other programs leave it
    const auto pager = corvix::test::OpenPager(tables.files, test::kFile, false);
    TableDefinition table = ReadTableDefinition(*pager, Catalog(*pager).FindTable("COMPS")->DefinitionPage());
    table.last_autonumber = 1;
    WriteCounters(*pager, table);
    pager->Checkpoint();
  }
  tables.Open();
  const auto comps = tables.Set("COMPS");
  Add(*comps, {{"CENTRALKEY", "K4"}});
  comps->SelectIndex("PrimaryKey");
  std::string numbers;
  for (comps->MoveFirst(); !comps->PastEnd(); comps->MoveNext()) numbers += Text(*comps, "RECID") + " ";
  EXPECT_EQ(numbers, "1 2 3 4 5 ");
  comps->SeekEqual("5");
  EXPECT_EQ(Text(*comps, "CENTRALKEY"), "K4");
  tables.Check();
}

TEST(JetRecordSet, NewRowsBeginWithTheirDefaults) {
  Tables tables(TableDescription{
      .name = "T",
      .columns = {{.name = "Number", .type = ColumnType::Double, .default_value = "=-1.5e3"},
                  {.name = "Price", .type = ColumnType::Currency, .default_value = "12.3456"},
                  {.name = "Text", .length = 20, .default_value = "\"say \"\"yes\"\"\""},
                  {.name = "Other", .length = 20, .default_value = "'it''s'"},
                  {.name = "Flag", .type = ColumnType::YesNo, .default_value = "Yes"},
                  {.name = "Day", .type = ColumnType::Date, .default_value = "#12/31/1999#"},
                  {.name = "Today", .type = ColumnType::Date, .default_value = "=Date()"},
                  {.name = "Now", .type = ColumnType::Date, .default_value = "now( )"},
                  {.name = "Fun", .length = 20, .default_value = "Left(\"abc\",1)"},
                  {.name = "Tail", .length = 20, .default_value = "\"a\" & \"b\""},
                  {.name = "Bad", .type = ColumnType::Long, .default_value = "\"many\""},
                  {.name = "Long", .length = 2, .default_value = "\"too long\""}}});
  const auto records = tables.Set("T");
  records->BeginAdd();
  const std::pair<std::string_view, std::string_view> expected[] = {
      {"Number", "-1500"}, {"Price", "12.3456"}, {"Text", "say \"yes\""},
      {"Other", "it's"},   {"Flag", "True"},     {"Day", "12/31/1999"},
      {"Fun", "-"},        {"Tail", "-"},        {"Bad", "-"},
      {"Long", "-"}};
  for (const auto& [name, text] : expected) EXPECT_EQ(Text(*records, name), text) << name;
  const auto today = std::get<core::Date>(records->Read(At(*records, "Today"))).serial;
  const auto now = std::get<core::Date>(records->Read(At(*records, "Now"))).serial;
  EXPECT_EQ(today, std::floor(today));
  EXPECT_NEAR(now, today + 0.5, 1);
  EXPECT_GT(today, 45000) << "the clock of this machine is later than 2022";
  records->Write(At(*records, "Text"), Null{});
  records->Store();
  EXPECT_EQ(Text(*records, "Text"), "-") << "an assigned Null stays";
  EXPECT_EQ(Text(*records, "Other"), "it's");
  tables.Check();

  const core::Field field{.name = "Text", .size = 50};
  for (const char* expression : {"0", "= Now()", "\"\"", "No", "Null"})
    EXPECT_TRUE(DefaultValue::Parse(expression, field)) << expression;
  for (const char* expression : {"", "=", "GenGUID()", "1-2", "[City]", "\"a\"b\"", "Now() + 1", "#no#"}) {
    EXPECT_FALSE(DefaultValue::Parse(expression, field)) << expression;
  }
}

/// A row that breaks several rules is refused for the first of them; nothing changes; the buffer lives on.
TEST(JetRecordSet, TestsARowInOrderBeforeWritingIt) {
  Tables tables(TableDescription{
      .name = "T",
      .columns = {{.name = "Must", .length = 9, .required = true, .allow_zero_length = false},
                  {.name = "Empty", .length = 9, .allow_zero_length = false, .default_value = "\"\""},
                  {.name = "Id", .type = ColumnType::Long},
                  {.name = "Code", .length = 9},
                  {.name = "Sub", .length = 9}},
      .indexes = {{.name = "PrimaryKey", .columns = {{"Id"}}, .primary = true},
                  {.name = "Both", .columns = {{"Code"}, {"Sub"}}, .unique = true},
                  {.name = "Some", .columns = {{"Sub"}}, .ignore_nulls = true}}});
  const auto records = tables.Set("T");
  Add(*records, {{"Must", "a"}, {"Empty", "-"}, {"Id", 1}, {"Code", "X"}, {"Sub", "y"}});
  records->BeginAdd();
  const auto refused = [&] { return ErrorOf([&] { records->Store(); }); };
  const auto set = [&](std::string_view field, const core::Value& value) {
    records->Write(At(*records, field), value);
  };
  set("Code", "x");
  set("Sub", "Y ");
  EXPECT_EQ(refused().number(), common::kFieldRequired);
  EXPECT_THAT(refused().text(), HasSubstr("'Must'"));
  set("Must", "b");
  EXPECT_EQ(records->Read(At(*records, "Empty")), core::Value(Null{})) << "a default that the field refuses";
  EXPECT_EQ(refused().number(), common::kNullKey);
  EXPECT_THAT(refused().text(), HasSubstr("'PrimaryKey'"));
  set("Id", 1);
  EXPECT_THAT(refused().text(), HasSubstr("'PrimaryKey'"));
  EXPECT_EQ(refused().number(), common::kDuplicateKey);
  set("Id", 2);
  EXPECT_THAT(refused().text(), HasSubstr("'Both'"));
  EXPECT_EQ(records->RecordCount(), 1);
  EXPECT_EQ(tables.Set("T")->RecordCount(), 1);
  set("Sub", Null{});
  records->Store();
  Add(*records, {{"Must", "c"}, {"Id", 3}});
  Add(*records, {{"Must", "d"}, {"Id", 4}});
  EXPECT_EQ(NumberOf([&] {
              Add(*records, {{"Must", "e"}, {"Id", 5}, {"Code", "X"}});
            }),
            common::kDuplicateKey)
      << "a key with one Null collides, one of nothing but Nulls does not";
  records->SelectIndex("Some");
  records->MoveFirst();
  EXPECT_EQ(Text(*records, "Id"), "1");
  records->MoveNext();
  EXPECT_TRUE(records->PastEnd()) << "rows without a value are not in this index";
  tables.Check();
}

TEST(JetRecordSet, KeepsRelationships) {
  const auto pair = [](std::string name, std::string table, std::string column) {
    return RelationshipDescription{.name = std::move(name),
                                   .table = std::move(table),
                                   .referenced_table = "Town",
                                   .columns = {{std::move(column), "Code"}}};
  };
  DatabaseDescription description;
  description.tables = {
      {.name = "Town",
       .columns = {{.name = "Code", .length = 9},
                   {.name = "Name", .length = 9},
                   {.name = "Capital", .length = 9}},
       .indexes = {{.name = "PrimaryKey", .columns = {{"Code"}}, .primary = true}}},
      {.name = "House",
       .columns = {{.name = "Id", .type = ColumnType::Long}, {.name = "Town", .length = 9}}}};
  description.relationships = {pair("HouseTown", "House", "Town"), pair("TownCapital", "Town", "Capital")};
  Tables tables(description);
  const auto towns = tables.Set("Town");
  const auto houses = tables.Set("House");
  EXPECT_EQ(NumberOf([&] { Add(*houses, {{"Id", 1}, {"Town", "OS"}}); }), common::kRelatedRecordRequired);
  EXPECT_EQ(NumberOf([&] {
              Add(*towns, {{"Code", "BE"}, {"Capital", "OS"}});
            }),
            common::kRelatedRecordRequired);
  Add(*towns, {{"Code", "OS"}, {"Name", "Oslo"}, {"Capital", "os"}});
  Add(*towns, {{"Code", "BE"}, {"Name", "Bergen"}, {"Capital", "OS"}});
  Add(*houses, {{"Id", 1}, {"Town", "os"}});
  Add(*houses, {{"Id", 2}});
  EXPECT_EQ(houses->RecordCount(), 2);

  const auto edit = [](core::RecordSet& records, std::string_view field, const core::Value& value) {
    return NumberOf([&] {
      records.BeginEdit();
      records.Write(At(records, field), value);
      records.Store();
    });
  };
  EXPECT_EQ(edit(*houses, "Town", "XX"), common::kRelatedRecordRequired);
  EXPECT_EQ(edit(*houses, "Town", "BE"), 0);
  EXPECT_EQ(edit(*houses, "Town", "OS"), 0);
  towns->SelectIndex("PrimaryKey");
  towns->SeekEqual("os");
  EXPECT_EQ(edit(*towns, "Code", "ZZ"), common::kRelatedRecordsExist);
  EXPECT_EQ(edit(*towns, "Code", "os"), 0) << "the same key in other letters";
  EXPECT_EQ(edit(*towns, "Name", "Asker"), 0);
  towns->SeekEqual("BE");
  EXPECT_EQ(edit(*towns, "Code", "BG"), 0) << "nobody refers to it";
  tables.Check();
}

TEST(JetRecordSet, RefusesToWriteWhereIndexesCannotBeKept) {
  Tables tables(corvix::sample::FolvaneSchema());
  {
    const auto comps = tables.Set("COMPS");
    for (const char* key : {"B", "C", "A"}) Add(*comps, {{"CENTRALKEY", key}});
  }
  tables.database->Close();
  {
    const auto pager = corvix::test::OpenPager(tables.files, test::kFile, false);
    TableDefinition table = ReadTableDefinition(*pager, Catalog(*pager).FindTable("COMPS")->DefinitionPage());
    table.columns[1].sort_order.lcid = 3082;
    WriteTableDefinition(*pager, table);
    pager->Checkpoint();
  }
  tables.Open();
  const auto comps = tables.Set("COMPS");
  const common::Error error = ErrorOf([&] { comps->BeginAdd(); });
  EXPECT_EQ(error.number(), common::kReadOnly);
  EXPECT_THAT(error.text(),
              testing::AllOf(HasSubstr("'COMPS'"), HasSubstr("'CENTRALKEY'"), HasSubstr("3082")));
  EXPECT_EQ(NumberOf([&] { comps->BeginEdit(); }), common::kReadOnly);
  comps->SelectIndex("CENTRALKEY");
  EXPECT_EQ(NumberOf([&] { comps->SeekEqual("A"); }), common::kUnsupported);
  EXPECT_EQ(Text(*comps, "CENTRALKEY"), "B");
  comps->MoveNext();
  EXPECT_EQ(Text(*comps, "CENTRALKEY"), "C") << "the stored order still leads";
  comps->MoveFirst();
  EXPECT_EQ(Text(*comps, "CENTRALKEY"), "A");
  comps->SelectIndex("PrimaryKey");
  comps->SeekEqual("2");
  EXPECT_EQ(Text(*comps, "CENTRALKEY"), "C");

  const auto objects = tables.Set("MSysObjects");
  EXPECT_GT(objects->RecordCount(), 8);
  EXPECT_EQ(NumberOf([&] { objects->BeginEdit(); }), common::kReadOnly) << "system tables are not written";
}

}  // namespace
}  // namespace corvix::jet
