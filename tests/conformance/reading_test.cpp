// Position, order, seek and bookmarks: what every record set does alike.
#include <fmt/format.h>

#include "common/text.h"
#include "conformance/record_set_fixture.h"

namespace corvix::test {
namespace {

class Reading : public RecordSetTest {};

TEST_P(Reading, FreshSetStandsOnItsFirstRecord) {
  core::RecordSet& records = Make(SampleTable());
  EXPECT_EQ(At(records), "B2 Oslo");
  EXPECT_FALSE(records.PastEnd());
  EXPECT_FALSE(records.NoMatch());
  EXPECT_EQ(records.RecordCount(), 4);

  ASSERT_EQ(records.Fields().size(), 3u);
  EXPECT_TRUE(common::EqualIgnoringCase(records.Fields()[kTown].name, "TOWN"));
  EXPECT_EQ(records.Fields()[kTown].type, core::FieldType::Text);
  EXPECT_EQ(records.Fields()[kTown].size, 10);
  EXPECT_EQ(records.Fields()[kArea].type, core::FieldType::Double);
  EXPECT_EQ(records.FindField("area"), kArea);
  EXPECT_EQ(records.FindField("ARE"), std::nullopt);

  EXPECT_EQ(records.Read(kArea), core::Value(1.5));
  EXPECT_EQ(Text(records, kArea), "1.5");
  EXPECT_EQ(NumberOf([&] { records.Read(3); }), common::kItemNotFound);
}

TEST_P(Reading, EmptyTableHasNoRecord) {
  core::RecordSet& records = Make(EmptyTable());
  const auto expect_nothing = [&] {
    EXPECT_TRUE(records.PastEnd());
    EXPECT_FALSE(records.HasRow());
    EXPECT_EQ(records.RecordCount(), 0);
    EXPECT_EQ(NumberOf([&] { records.Read(kKey); }), common::kNoCurrentRecord);
    EXPECT_EQ(NumberOf([&] { records.GetBookmark(); }), common::kNoCurrentRecord);
    EXPECT_EQ(NumberOf([&] { records.MoveFirst(); }), common::kNoCurrentRecord);
    EXPECT_EQ(NumberOf([&] { records.MoveNext(); }), common::kNoCurrentRecord);
  };
  expect_nothing();
  records.SelectIndex("CENTRALKEY");
  expect_nothing();
  records.SeekEqual("A1");
  EXPECT_TRUE(records.NoMatch());
  EXPECT_FALSE(records.HasRow());
}

TEST_P(Reading, WalksInFileOrderAndInIndexOrder) {
  core::RecordSet& records = Make(SampleTable());
  EXPECT_EQ(Walk(records), "B2 Oslo; A1 Rome; C3 -; A1 Bern");
  EXPECT_EQ(NumberOf([&] { records.MoveNext(); }), common::kNoCurrentRecord);
  EXPECT_TRUE(records.PastEnd());
  EXPECT_FALSE(records.HasRow());
  EXPECT_EQ(NumberOf([&] { records.Read(kKey); }), common::kNoCurrentRecord);

  records.SelectIndex("CENTRALKEY");
  EXPECT_EQ(Walk(records), "A1 Rome; A1 Bern; B2 Oslo; C3 -");
  records.SelectIndex("town");
  EXPECT_EQ(Walk(records), "C3 -; A1 Bern; B2 Oslo; A1 Rome") << "Null stands before every text";
  records.MoveFirst();
  EXPECT_FALSE(records.PastEnd());
  EXPECT_EQ(At(records), "C3 -");
}

TEST_P(Reading, SelectingAnIndexKeepsTheRecord) {
  core::RecordSet& records = Make(SampleTable());
  records.MoveNext();
  records.SelectIndex("centralKEY");
  EXPECT_EQ(At(records), "A1 Rome");
  EXPECT_EQ(NumberOf([&] { records.SelectIndex("NOSUCH"); }), common::kNotAnIndex);
  EXPECT_EQ(At(records), "A1 Rome");
  records.MoveNext();
  EXPECT_EQ(At(records), "A1 Bern") << "the order is still that of the index";
  records.SelectIndex("TOWN");
  records.MoveNext();
  EXPECT_EQ(At(records), "B2 Oslo");
}

TEST_P(Reading, SeekFindsWholeKeysOnly) {
  core::RecordSet& records = Make(SampleTable());
  EXPECT_EQ(NumberOf([&] { records.SeekEqual("A1"); }), common::kNoCurrentIndex);
  records.SelectIndex("CENTRALKEY");
  const struct {
    const char* key;
    const char* found;
  } kSeeks[] = {{"A1", "A1 Rome"}, {"A1   ", "A1 Rome"},  {"B2", "B2 Oslo"}, {"C3", "C3 -"},
                {"A", "none"},     {"A11", "none"},       {" A1", "none"},   {"B", "none"},
                {"C4", "none"},    {"A1       1", "none"}};
  for (const auto& [key, found] : kSeeks) {
    records.SeekEqual(key);
    EXPECT_EQ(At(records), found) << "'" << key << "'";
    EXPECT_EQ(records.NoMatch(), std::string_view(found) == "none");
    EXPECT_FALSE(records.PastEnd());
  }
}

TEST_P(Reading, FailedSeekLeavesNoRecordUntilPositioned) {
  core::RecordSet& records = Make(SampleTable());
  const core::Bookmark bookmark = records.GetBookmark();
  records.SelectIndex("CENTRALKEY");
  records.SeekEqual("nothing");
  EXPECT_EQ(NumberOf([&] { records.Read(kKey); }), common::kNoCurrentRecord);
  EXPECT_EQ(NumberOf([&] { records.GetBookmark(); }), common::kNoCurrentRecord);
  EXPECT_EQ(NumberOf([&] { records.MoveNext(); }), common::kNoCurrentRecord);
  EXPECT_FALSE(records.PastEnd());

  records.SetBookmark(bookmark);
  EXPECT_EQ(At(records), "B2 Oslo");
  EXPECT_TRUE(records.NoMatch()) << "only a seek changes the flag";
  records.MoveFirst();
  EXPECT_TRUE(records.NoMatch());
  records.SeekEqual("B2");
  EXPECT_FALSE(records.NoMatch());
}

TEST_P(Reading, CaseCountsAsTheIndexHoldsIt) {
  TableDesign design = EmptyTable();
  design.rows = {{"ab", "small"}, {"AB", "large"}};
  core::RecordSet& records = Make(design);
  records.SelectIndex("CENTRALKEY");
  records.SeekEqual("AB");
  const bool ignores_case = GetParam()->Order() == KeyOrder::AccessText;
  EXPECT_EQ(At(records), ignores_case ? "ab small" : "AB large");
  records.SeekEqual("aB");
  EXPECT_EQ(At(records), ignores_case ? "ab small" : "none");
}

TEST_P(Reading, BookmarksBringRecordsBack) {
  core::RecordSet& records = Make(SampleTable());
  records.SelectIndex("CENTRALKEY");
  std::vector<std::pair<core::Bookmark, std::string>> seen;
  for (records.MoveFirst(); !records.PastEnd(); records.MoveNext()) {
    seen.emplace_back(records.GetBookmark(), At(records));
  }
  ASSERT_EQ(seen.size(), 4u);
  for (const auto& [bookmark, record] : seen) {
    records.SetBookmark(bookmark);
    EXPECT_EQ(At(records), record);
    EXPECT_EQ(records.GetBookmark(), bookmark);
    EXPECT_FALSE(records.PastEnd());
  }
  records.SetBookmark(seen[0].first);
  records.MoveNext();
  EXPECT_EQ(At(records), "A1 Bern") << "the order stays selected";
  EXPECT_EQ(NumberOf([&] { records.SetBookmark({~std::uint64_t{0}}); }), common::kBadBookmark);
  EXPECT_EQ(NumberOf([&] { records.SetBookmark({}); }), common::kBadBookmark);
  EXPECT_EQ(At(records), "A1 Bern");
}

TEST_P(Reading, SetsOverOneTableHavePositionsOfTheirOwn) {
  core::RecordSet& first = Make(SampleTable());
  const auto second = OpenAgain();
  second->SelectIndex("CENTRALKEY");
  second->SeekEqual("C3");
  EXPECT_EQ(At(first), "B2 Oslo");
  EXPECT_EQ(NumberOf([&] { first.SeekEqual("A1"); }), common::kNoCurrentIndex);
  first.MoveNext();
  EXPECT_EQ(At(*second), "C3 -");
}

TEST_P(Reading, EveryKeyOfALargeTableIsFoundInItsPlace) {
  constexpr int kRows = 3000;
  TableDesign design = EmptyTable();
  // 7919 has no factor in common with the number of rows, so every number comes up once, scattered.
  const auto key_at = [](int i) { return fmt::format("K{:05}", i * 7919 % kRows); };
  for (int i = 0; i < kRows; ++i) design.rows.push_back({key_at(i), fmt::format("town{}", i % 7), double(i)});
  core::RecordSet& records = Make(design);
  records.SelectIndex("CENTRALKEY");
  for (int i = 0; i < kRows; ++i) {
    records.SeekEqual(key_at(i));
    ASSERT_FALSE(records.NoMatch()) << key_at(i);
    ASSERT_EQ(records.Read(kArea), core::Value(double(i)));
  }
  int place = 0;
  for (records.MoveFirst(); !records.PastEnd(); records.MoveNext(), ++place) {
    ASSERT_EQ(Text(records, kKey), fmt::format("K{:05}", place));
  }
  EXPECT_EQ(place, kRows);

  records.SelectIndex("TOWN");
  records.SeekEqual("town3");
  EXPECT_EQ(records.Read(kArea), core::Value(3.0)) << "the first of many equal keys";
}

class ReadOnly : public RecordSetTest {};

TEST_P(ReadOnly, TablesRefuseToWrite) {
  core::RecordSet& records = Make(SampleTable());
  EXPECT_EQ(NumberOf([&] { records.BeginAdd(); }), common::kReadOnly);
  EXPECT_EQ(NumberOf([&] { records.BeginEdit(); }), common::kReadOnly);
  EXPECT_EQ(NumberOf([&] { records.Write(kKey, "X"); }), common::kNoPendingEdit);
  EXPECT_EQ(NumberOf([&] { records.Store(); }), common::kNoPendingEdit);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Reading, testing::ValuesIn(AllTableMakers()), MakerName);
INSTANTIATE_TEST_SUITE_P(Kinds, ReadOnly, testing::ValuesIn(TableMakersThatWrite(false)), MakerName);

}  // namespace
}  // namespace corvix::test
