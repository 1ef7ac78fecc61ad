// What is told about stored rows, and how the account of a record is made of it.
#include "run/observed_engine.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text_form.h"
#include "run/record_account.h"
#include "support/memory_sources.h"

namespace corvix::run {
namespace {

using core::Null;
using core::Value;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Text(const Value& value) { return core::IsNull(value) ? "-" : core::ToText(value); }

class ObservedEngineTest : public testing::Test, public StoreObserver {
 protected:
  ObservedEngineTest() {
    tables.target->defaults = {Null{}, Null{}, 7.0, Null{}, Null{}, Null{}, Null{}, Null{}, false};
    tables.target->AddRow(
        {std::string("A1"), std::string("OLD"), 1.5, Null{}, Null{}, Null{}, Null{}, Null{}, false});
    engine.AddDatabase("C:\\F.MDB").tables["COMPS"] = tables.target;
    database = observed.OpenDatabase("C:\\F.MDB");
    records = database->OpenTable("comps");
  }

  void RowStored(const StoredRow& row) override {
    for (const FieldChange& change : row.changes) {
      told.push_back(fmt::format("{}{} {}: {} > {}", row.added ? "+" : "", row.key, change.field->name,
                                 Text(change.before), Text(change.after)));
    }
    accountant.RowStored(row);
    ++rows;
  }
  void Write(std::string_view field, Value value) { records->Write(*records->FindField(field), value); }
  std::vector<std::string> Account() {
    std::vector<std::string> lines;
    for (const RowChange& row : accountant.Take({}).changes) {
      for (const auto& field : row.fields) {
        lines.push_back(fmt::format("{}{} {}: {} > {}", row.added ? "+" : "", row.key, field.name,
                                    Text(field.before), Text(field.after)));
      }
    }
    return lines;
  }

  test::MemoryTables tables;
  test::MemoryEngine engine;
  ObservedEngine observed{engine, *this};
  Session session;
  Accountant accountant{session};
  std::shared_ptr<core::Database> database;
  std::unique_ptr<core::RecordSet> records;
  std::vector<std::string> told;
  int rows = 0;
};

TEST_F(ObservedEngineTest, AnEdit_TellsWhatDiffersFromTheRowBefore) {
  records->BeginEdit();
  Write("Address", std::string("X"));
  Write("Address", std::string("NEW"));
  Write("LOTSIZE", 1.5);
  Write("CONDITION", std::string(""));
  EXPECT_EQ(rows, 0);
  records->Store();
  EXPECT_THAT(told, ElementsAre("A1 Address: OLD > NEW", "A1 CONDITION: - > "));
}

TEST_F(ObservedEngineTest, AnAddedRow_TellsEveryValueDefaultsIncluded) {
  records->BeginAdd();
  Write("CENTRALKEY", std::string("B2        "));
  records->Store();
  EXPECT_THAT(told, ElementsAre("+B2 CENTRALKEY: - > B2        ", "+B2 LOTSIZE: - > 7"));
}

TEST_F(ObservedEngineTest, WhatIsDroppedOrRefused_IsNotTold) {
  records->BeginEdit();
  Write("Address", std::string("DROPPED"));
  records->SelectIndex("CENTRALKEY");
  records->BeginEdit();
  Write("CONDITION", std::string("KEPT"));
  tables.target->before = test::FailNth(test::Operation::Store, 1, common::kDuplicateKey);
  EXPECT_THROW(records->Store(), common::Error);
  EXPECT_EQ(rows, 0);
  records->Store();  // tried again
  EXPECT_THAT(told, ElementsAre("A1 CONDITION: - > KEPT"));
  EXPECT_THROW(Write("Address", std::string("no edit")), common::Error);
}

TEST_F(ObservedEngineTest, AValueThatCannotBeRead_CountsAsNullAndIsWritten) {
  records->BeginEdit();
  tables.target->before = [](test::Operation operation, std::string_view field) {
    if (operation == test::Operation::Read && field == "Address")
      throw common::Error(common::kDamagedDatabase);
  };
  Write("Address", std::string("NEW"));
  tables.target->before = nullptr;
  records->Store();
  EXPECT_THAT(told, ElementsAre("A1 Address: - > NEW"));
}

TEST_F(ObservedEngineTest, AnAccount_TakesTheStoresOfARecordTogetherRowByRow) {
  const auto edit = [&](std::string_view field, Value value) {
    records->BeginEdit();
    Write(field, value);
    records->Store();
  };
  edit("Address", std::string("FIRST"));
  edit("CONDITION", std::string("C"));
  edit("Address", std::string("LAST"));
  edit("CONDITION", Null{});
  records->BeginAdd();
  Write("CENTRALKEY", std::string("B2"));
  records->Store();
  records->SelectIndex("CENTRALKEY");
  records->SeekEqual("B2");
  edit("FRONT", true);
  EXPECT_THAT(Account(), ElementsAre("A1 Address: OLD > LAST", "+B2 CENTRALKEY: - > B2", "+B2 LOTSIZE: - > 7",
                                     "+B2 FRONT: - > True"))
      << "what ends as it began is no change";
  EXPECT_THAT(Account(), IsEmpty());
}

}  // namespace
}  // namespace corvix::run
