// The row being written: buffers, storing, and what other record sets see. Over the kinds that can be
// written.
#include <fmt/format.h>
#include <functional>
#include <random>

#include "conformance/record_set_fixture.h"

namespace corvix::test {
namespace {

class Writing : public RecordSetTest {};

TableDesign UniqueKeys() {
  TableDesign design = SampleTable();
  design.indexes[0].unique = true;
  design.rows = {{"B2", "Oslo", 1.5}, {"A1", "Rome", 2.0}, {"C3", "Bern", 3.0}};
  return design;
}

TEST_P(Writing, StoredRowIsInTheTableAndInItsIndexes) {
  core::RecordSet& records = Make(SampleTable());
  records.SelectIndex("CENTRALKEY");
  records.BeginAdd();
  EXPECT_EQ(At(records), "- -") << "a new row is empty";
  records.Write(kKey, "B1");
  records.Write(kArea, "1,250.5");
  EXPECT_EQ(At(records), "B1 -");
  EXPECT_EQ(records.Read(kArea), core::Value(1250.5));
  EXPECT_EQ(records.RecordCount(), 4);
  records.Store();
  EXPECT_EQ(At(records), "B2 Oslo") << "the record that was current stays current";
  EXPECT_EQ(records.RecordCount(), 5);
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kNoPendingEdit);
  EXPECT_EQ(Walk(records), "A1 Rome; A1 Bern; B1 -; B2 Oslo; C3 -");
  records.SeekEqual("B1");
  EXPECT_EQ(Text(records, kArea), "1250.5");
}

TEST_P(Writing, FirstRowOfAnEmptyTableBecomesCurrent) {
  core::RecordSet& records = Make(EmptyTable());
  const auto add = [&](const char* key) {
    records.BeginAdd();
    records.Write(kKey, key);
    records.Store();
  };
  add("B2");
  EXPECT_EQ(At(records), "B2 -");
  EXPECT_FALSE(records.PastEnd());
  add("A1");
  EXPECT_EQ(At(records), "B2 -");
  records.SelectIndex("CENTRALKEY");
  records.SeekEqual("nothing");
  add("C3");
  EXPECT_EQ(At(records), "none") << "a failed seek is no empty table";
  EXPECT_EQ(Walk(records), "A1 -; B2 -; C3 -");
}

TEST_P(Writing, EditChangesTheRowAndItsPlace) {
  core::RecordSet& records = Make(SampleTable());
  const auto other = OpenAgain();
  other->SelectIndex("CENTRALKEY");
  other->SeekEqual("B2");
  records.SelectIndex("CENTRALKEY");
  records.BeginEdit();
  records.Write(kKey, "X9");
  records.Write(kTown, core::Null{});
  EXPECT_EQ(At(records), "X9 -");
  EXPECT_EQ(At(*other), "B2 Oslo") << "not stored yet";
  records.Store();
  EXPECT_EQ(At(records), "X9 -");
  records.MoveNext();
  EXPECT_TRUE(records.PastEnd()) << "the row stands last now";

  other->SeekEqual("B2");
  EXPECT_TRUE(other->NoMatch());
  other->SeekEqual("X9");
  EXPECT_EQ(At(*other), "X9 -");
  EXPECT_EQ(Walk(*other), "A1 Rome; A1 Bern; C3 -; X9 -");
  other->SelectIndex("TOWN");
  EXPECT_EQ(other->RecordCount(), 4);
  other->SeekEqual("Oslo");
  EXPECT_TRUE(other->NoMatch()) << "every index follows";
}

TEST_P(Writing, PositioningDropsTheBuffer) {
  const struct {
    const char* name;
    std::function<void(core::RecordSet&)> move;
  } kMoves[] = {{"MoveFirst", [](auto& set) { set.MoveFirst(); }},
                {"MoveNext", [](auto& set) { set.MoveNext(); }},
                {"SeekEqual", [](auto& set) { set.SeekEqual("A1"); }},
                {"failed SeekEqual", [](auto& set) { set.SeekEqual("nothing"); }},
                {"MoveNext without a record",
                 [](auto& set) {
                   set.SeekEqual("nothing");
                   set.BeginAdd();
                   EXPECT_EQ(NumberOf([&] { set.MoveNext(); }), common::kNoCurrentRecord);
                 }},
                {"SetBookmark", [](auto& set) { set.SetBookmark(set.GetBookmark()); }},
                {"SelectIndex", [](auto& set) { set.SelectIndex("TOWN"); }}};
  core::RecordSet& records = Make(UniqueKeys());
  for (const auto& [name, move] : kMoves) {
    for (const bool adding : {true, false}) {
      SCOPED_TRACE(fmt::format("{} while {}", name, adding ? "adding" : "editing"));
      records.SelectIndex("CENTRALKEY");
      records.MoveFirst();
      if (adding) {
        records.BeginAdd();
      } else {
        records.BeginEdit();
      }
      records.Write(kKey, "Z9");
      move(records);
      EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kNoPendingEdit);
      EXPECT_EQ(NumberOf([&] { records.Write(kTown, "Rome"); }), common::kNoPendingEdit);
      records.SelectIndex("CENTRALKEY");
      EXPECT_EQ(Walk(records), "A1 Rome; B2 Oslo; C3 Bern");
    }
  }
  records.MoveFirst();
  records.BeginAdd();
  records.Write(kKey, "Z9");
  records.BeginEdit();
  EXPECT_EQ(At(records), "A1 Rome") << "an edit replaces the pending add";
  records.Write(kTown, "Paris");
  records.BeginEdit();
  EXPECT_EQ(At(records), "A1 Rome") << "a second edit starts anew";
  records.BeginAdd();
  EXPECT_EQ(At(records), "- -");
}

TEST_P(Writing, DuplicateKeyChangesNothingAndKeepsTheBuffer) {
  core::RecordSet& records = Make(UniqueKeys());
  records.SelectIndex("CENTRALKEY");
  records.SeekEqual("B2");
  records.BeginAdd();
  records.Write(kKey, "a1  ");  // equal to A1 for the index
  records.Write(kTown, "Ghent");
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kDuplicateKey);
  EXPECT_EQ(records.RecordCount(), 3);
  EXPECT_EQ(Text(records, kTown), "Ghent") << "the row being written is still there";
  const auto other = OpenAgain();
  other->SelectIndex("TOWN");
  EXPECT_EQ(Walk(*other), "C3 Bern; B2 Oslo; A1 Rome");
  records.Write(kKey, "D4");
  records.Store();
  EXPECT_EQ(At(records), "B2 Oslo");
  EXPECT_EQ(Walk(*other), "C3 Bern; D4 Ghent; B2 Oslo; A1 Rome");

  records.BeginEdit();
  records.Write(kKey, "C3");
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kDuplicateKey);
  records.Write(kKey, "b2");
  records.Store();  // its own key in other letters
  EXPECT_EQ(Walk(records), "A1 Rome; b2 Oslo; C3 Bern; D4 Ghent");

  for (int i = 0; i < 2; ++i) {
    records.BeginAdd();
    records.Store();
  }
  EXPECT_EQ(records.RecordCount(), 6) << "Null keys do not meet";
}

TEST_P(Writing, AssignmentsAreConvertedOrRefused) {
  TableDesign design = SampleTable();
  design.fields[kKey].required = true;
  design.fields[kTown].allow_zero_length = false;
  core::RecordSet& records = Make(design);
  EXPECT_EQ(NumberOf([&] { records.Write(kTown, "Rome"); }), common::kNoPendingEdit);

  records.BeginEdit();
  EXPECT_EQ(NumberOf([&] { records.Write(3, "Rome"); }), common::kItemNotFound);
  EXPECT_EQ(NumberOf([&] { records.Write(kTown, ""); }), common::kZeroLengthRefused);
  EXPECT_EQ(NumberOf([&] { records.Write(kTown, "Villingen-Schwenningen"); }), common::kFieldTooSmall);
  EXPECT_EQ(NumberOf([&] { records.Write(kArea, "large"); }), common::kConversion);
  EXPECT_EQ(Text(records, kTown) + Text(records, kArea), "Oslo1.5") << "a refused field keeps its value";
  records.Write(kTown, "  Bern  ");
  records.Write(kArea, "(5)");
  records.Store();
  const auto other = OpenAgain();
  EXPECT_EQ(Text(*other, kTown), "  Bern  ") << "blanks are kept";
  EXPECT_EQ(Text(*other, kArea), "-5");

  records.BeginEdit();
  records.Write(kKey, core::Null{});
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kFieldRequired);
  EXPECT_EQ(At(*other), "B2   Bern  ");
}

TEST_P(Writing, EditNeedsARecordAndReadsNeedNone) {
  core::RecordSet& records = Make(EmptyTable());
  EXPECT_EQ(NumberOf([&] { records.BeginEdit(); }), common::kNoCurrentRecord);
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kNoPendingEdit);
  records.BeginAdd();
  EXPECT_TRUE(records.HasRow()) << "the row being written can be read";
  records.Write(kKey, "A1");
  EXPECT_EQ(At(records), "A1 -");
  records.SelectIndex("CENTRALKEY");
  EXPECT_FALSE(records.HasRow());
}

/// A long random history: the table must stay equal to the one in memory after every step.
TEST_P(Writing, RandomHistoryEqualsTheModel) {
  constexpr unsigned kSeed = 20240229;
  SCOPED_TRACE(fmt::format("seed {}", kSeed));
  std::mt19937 random(kSeed);
  const auto pick = [&](unsigned limit) { return random() % limit; };

  TableDesign design = UniqueKeys();
  core::RecordSet& actual = Make(design);
  const auto model_table = MakeMemoryMaker(KeyOrder::AccessText)->Make(design);
  const auto model = model_table->Open();
  const auto both = [&](const std::function<void(core::RecordSet&)>& step, const std::string& what) {
    const auto expected = NumberOf([&] { step(*model); });
    EXPECT_EQ(NumberOf([&] { step(actual); }), expected) << what;
    EXPECT_EQ(At(actual), At(*model)) << what;
    EXPECT_EQ(actual.PastEnd(), model->PastEnd()) << what;
    EXPECT_EQ(actual.NoMatch(), model->NoMatch()) << what;
    EXPECT_EQ(actual.RecordCount(), model->RecordCount()) << what;
  };
  both([](auto& set) { set.SelectIndex("CENTRALKEY"); }, "select");
  for (int step = 0; step < 4000 && !HasFailure(); ++step) {
    const std::string key = fmt::format("{}{}", static_cast<char>('A' + pick(26)), pick(40));
    const std::string what = fmt::format("step {} with {}", step, key);
    switch (pick(9)) {
      case 0:
      case 1:
        both([&](auto& set) { set.SeekEqual(key); }, "seek, " + what);
        break;
      case 2:
        both([&](auto& set) { set.MoveNext(); }, "next, " + what);
        break;
      case 3:
        both([&](auto& set) { set.MoveFirst(); }, "first, " + what);
        break;
      case 4:
        both([&](auto& set) { set.SelectIndex(step % 8 == 0 ? "TOWN" : "CENTRALKEY"); }, "select, " + what);
        break;
      case 5:
        both([&](auto& set) { set.BeginEdit(); }, "edit, " + what);
        break;
      default:
        both([&](auto& set) { set.BeginAdd(); }, "add, " + what);
    }
    if (pick(3) == 0) continue;
    const std::string town(pick(11), static_cast<char>('a' + pick(26)));
    both([&](auto& set) { set.Write(kKey, key); }, "key, " + what);
    both([&](auto& set) { set.Write(kTown, town); }, "town, " + what);
    both([&](auto& set) { set.Store(); }, "store, " + what);
  }
  for (const char* index : {"CENTRALKEY", "TOWN"}) {
    actual.SelectIndex(index);
    model->SelectIndex(index);
    EXPECT_EQ(Walk(actual), Walk(*model)) << index;
  }
  EXPECT_GT(model->RecordCount(), 500) << "the history was meant to fill the table";
}

INSTANTIATE_TEST_SUITE_P(Kinds, Writing, testing::ValuesIn(TableMakersThatWrite(true)), MakerName);

}  // namespace
}  // namespace corvix::test
