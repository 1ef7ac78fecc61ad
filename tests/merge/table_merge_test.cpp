#include "merge/table_merge.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "merge/store_field.h"
#include "merge/store_rules.h"
#include "support/errors.h"
#include "support/memory_sources.h"

namespace corvix::merge {
namespace {

using core::FieldType;
using core::Null;
using core::Value;

class MergeTest : public testing::Test, protected test::MemorySources {
 protected:
  std::string Field(std::string_view name) { return target->Text(0, name); }
};

TEST_F(MergeTest, MergeData_FitsTextSkipsEmptyAndConvertsNumbers) {
  comps->AddRow({" a1 ", "very good indeed", "unknown", 1234.0});
  target->AddRow({Null{}, std::string("kept"), Null{}, std::string("x"), Null{}, Null{}, 7.0});
  Connect();
  Target().BeginEdit();
  MergeData(sources.datcomps, sources.DATFOLVANE, "replace");
  Target().Store();
  EXPECT_EQ(Field("CENTRALKEY"), "a1        ") << "padded to the field's width, case kept";
  EXPECT_EQ(Field("CONDITION"), "very goo");
  EXPECT_EQ(Field("GLA"), "1234");
  EXPECT_EQ(Field("SaleSerial"), "2");
  EXPECT_EQ(Field("Address"), "kept");
}

TEST_F(MergeTest, MergeData_KeepsTheKeyOfARowThatHasOneAndStoresBlanks) {
  comps->AddRow({std::string("A1"), std::string("   "), Null{}, Null{}});
  target->AddRow({std::string("a1"), Null{}, Null{}, std::string("old"), Null{}, Null{}, 7.0});
  Connect();
  Target().BeginEdit();
  MergeData(sources.datcomps, sources.DATFOLVANE, kReplace);
  Target().Store();
  EXPECT_EQ(Field("CENTRALKEY"), "a1");
  EXPECT_EQ(Field("CONDITION"), "        ") << "blanks are not empty";
  EXPECT_EQ(Field("GLA"), "7") << "Null leaves the target as it is";
}

TEST_F(MergeTest, MergeData_StopsAtAFieldThatTheTargetLacks) {
  comps = test::KeyedTable(
      {test::TextField("CENTRALKEY", 10), test::TextField("EXTRA", 5), test::TextField("CONDITION", 8)},
      test::KeyOrder::FoxProTag);
  comps->AddRow({std::string("A1"), Null{}, std::string("GOOD")});
  comps->AddRow({std::string("A2"), std::string("x"), std::string("GOOD")});
  target->AddRow({std::string("A1")});
  Connect();
  Target().BeginEdit();
  EXPECT_EQ(test::NumberOf([&] { MergeData(sources.datcomps, sources.DATFOLVANE, kReplace); }), 0)
      << "an empty field is not looked for";
  sources.datcomps.Records().MoveNext();
  EXPECT_EQ(test::NumberOf([&] { MergeData(sources.datcomps, sources.DATFOLVANE, kReplace); }),
            common::kItemNotFound);
}

TEST_F(MergeTest, MergeData_StoresNothingInAnotherMode) {
  comps->AddRow({std::string("A1"), std::string("GOOD"), std::string("03/05/2002"), 5.0});
  target->AddRow({Null{}, std::string("kept")});
  Connect();
  Target().BeginEdit();
  MergeData(sources.datcomps, sources.DATFOLVANE, kReplaceIfEmpty);
  Target().Store();
  EXPECT_EQ(Field("CONDITION"), "");
}

TEST_F(MergeTest, MergeCentralData_FillsOnlyWhatIsEmptyAndAssignsPlainly) {
  central = test::KeyedTable({test::TextField("CENTRALKEY", 10), test::TextField("NOWHERE", 5),
                              test::TextField("ADDRESS", 10), test::TypedField("LOTSIZE", FieldType::Double)},
                             test::KeyOrder::FoxProTag);
  central->AddRow({std::string("A1"), std::string("x"), std::string(" 5 OAK "), 1.5});
  target->AddRow({std::string("a1")});
  target->AddRow({std::string("a2"), std::string(" "), 9.0});
  Connect();
  for (int row = 0; row < 2; ++row) {
    Target().BeginEdit();
    MergeCentralData(sources.datCentral, sources.DATFOLVANE, kReplaceIfEmpty);
    Target().Store();
    Target().MoveNext();
  }
  EXPECT_EQ(target->Text(0, "Address"), " 5 OAK ") << "neither trimmed nor padded";
  EXPECT_EQ(target->Text(0, "LOTSIZE"), "1.5");
  EXPECT_EQ(target->Text(0, "CENTRALKEY"), "a1");
  EXPECT_EQ(target->Text(1, "Address"), " ") << "a blank counts as filled";
  EXPECT_EQ(target->Text(1, "LOTSIZE"), "9");
}

TEST_F(MergeTest, MergeCentralData_AnEmptyValueForANumberIs3421) {
  central->AddRow({std::string("A1"), Null{}, Null{}});
  target->AddRow({std::string("A1"), std::string("x"), Null{}});
  Connect();
  Target().BeginEdit();
  EXPECT_EQ(
      test::NumberOf([&] { MergeCentralData(sources.datCentral, sources.DATFOLVANE, kReplaceIfEmpty); }),
      common::kConversion);
  EXPECT_EQ(test::NumberOf([&] { MergeCentralData(sources.datCentral, sources.DATFOLVANE, "replace"); }),
            common::kConversion);
  Target().Store();
  EXPECT_EQ(Field("Address"), "") << "the mode REPLACE writes empty values over filled fields";
}

TEST_F(MergeTest, StoreFolvaneField_StoresWhatTheTypeTableDecides) {
  struct Case {
    FieldType type;
    const char* text;
    const char* stored;
    Fate fate = Fate::Stored;
    int error = 0;
  };
  for (const Case& c : {Case{FieldType::Single, "2.5", "2.5"},
                        {FieldType::Single, "1e39", "", Fate::Refused, common::kOverflow},
                        {FieldType::Double, "$1,234.5", "1234.5"},
                        {FieldType::Double, "N/A", "", Fate::Refused, common::kTypeMismatch},
                        {FieldType::Text, " 12345678 ", "12345678"},
                        {FieldType::Text, "123456789", "12345678", Fate::Cut},
                        {FieldType::Date, "1/2/03", "1/2/2003"},
                        {FieldType::Date, "1/2/3", "", Fate::NotADate},
                        {FieldType::Date, "unknown", "", Fate::NotADate},
                        {FieldType::Integer, "5", "", Fate::NeverStored},
                        {FieldType::Long, "5", "", Fate::NeverStored},
                        {FieldType::Currency, "5", "", Fate::NeverStored},
                        {FieldType::Memo, "text", "", Fate::NeverStored},
                        {FieldType::Byte, "5", "", Fate::NeverStored}}) {
    SCOPED_TRACE(std::to_string(static_cast<int>(c.type)) + ' ' + c.text);
    target = test::KeyedTable({test::TextField("CENTRALKEY", 10), test::TypedField("F", c.type)},
                              test::KeyOrder::AccessText);
    target->AddRow({std::string("A1"), Null{}});
    Connect();
    Target().BeginEdit();
    std::string data = c.text;
    EXPECT_EQ(test::NumberOf([&] { StoreFolvaneField(sources.DATFOLVANE, "F", data); }), c.error);
    Target().Store();
    EXPECT_EQ(Field("F"), c.stored);
    const Decision decision = Decide(PairOf("F", Target()), c.text);
    EXPECT_EQ(decision.fate, c.fate);
    EXPECT_EQ(Explain(decision).empty(), c.fate == Fate::Stored);
  }
  Target().BeginEdit();
  std::string data = "x";
  EXPECT_EQ(test::NumberOf([&] { StoreFolvaneField(sources.DATFOLVANE, "NONE", data); }),
            common::kItemNotFound);
}

TEST_F(MergeTest, StoreFolvaneField_TreatsTheTwoNamesInThisLetterCaseOnly) {
  target->AddRow({std::string("A1")});
  Connect();
  Target().BeginEdit();
  std::string key = "B2";
  StoreFolvaneField(sources.DATFOLVANE, "CENTRALKEY", key);
  std::string date = "unknown";
  StoreFolvaneField(sources.DATFOLVANE, "SaleDate", date);
  EXPECT_EQ(date, "unknown") << "stored by its type, not by the sale date rules";
  Target().Store();
  EXPECT_EQ(Field("CENTRALKEY"), "A1");
  EXPECT_EQ(Field("SaleSerial"), "");
}

}  // namespace
}  // namespace corvix::merge
