// Long histories of rows that come, change and go against a model, on our own files, on files of other
// writers, and on a device that fails.
#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <set>

#include "jet/index_tables.h"
#include "sample/folvane_schema.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/index/index_set.h"
#include "storage/jet/rows/table_rows.h"
#include "support/faulty_file_system.h"

namespace corvix::jet {
namespace {

using test::At;
using test::ErrorOf;
using test::kFile;
using test::Tables;

/// Adds and edits random rows of a table with the unique key CENTRALKEY; keeps in mind what it must hold.
class History {
 public:
  using Row = std::vector<core::Value>;

  History(core::RecordSet& records, unsigned seed) : random_(seed) {
    for (const core::Field& field : records.Fields()) names_.push_back(field.name);
    key_ = At(records, "CENTRALKEY");
    Attach(records);
    if (records.RecordCount() == 0) return;
    for (records.MoveFirst(); !records.PastEnd(); records.MoveNext()) {
      const Row row = RowAtHand();
      if (const auto* key = std::get_if<std::string>(&row[key_])) rows_[*key] = row;
    }
  }

  /// The same table, opened anew.
  void Attach(core::RecordSet& records) {
    records_ = &records;
    records.SelectIndex("CENTRALKEY");
  }

  /// One row added or edited, now and then under another key.
  void Step() {
    std::string key = NewKey();
    if (Pick(3) == 0 && !rows_.empty()) key = AnyRow(key)->first;
    records_->SeekEqual(key);
    ASSERT_EQ(records_->NoMatch(), !rows_.contains(key)) << key;
    const std::string old_key = key;
    Row expected;
    if (records_->NoMatch()) {
      records_->BeginAdd();
      expected = RowAtHand();
      Set(expected, key_, key);
    } else {
      records_->BeginEdit();
      expected = rows_[key];
      if (const std::string other = NewKey(); Pick(8) == 0 && !rows_.contains(other)) {
        Set(expected, key_, key = other);
      }
    }
    for (std::size_t n = 1 + Pick(8); n > 0; --n) {
      const std::size_t field = Pick(names_.size());
      const core::Field& described = records_->Fields()[field];
      if (field != key_ && !described.autonumber) Set(expected, field, RandomValue(described));
    }
    records_->Store();
    if (core::IsNull(expected[0])) {  // the autonumber
      records_->SeekEqual(key);
      expected[0] = records_->Read(0);
    }
    rows_.erase(old_key);
    rows_[key] = std::move(expected);
  }

  /// Forgets up to `count` rows, which the caller deletes.
  std::set<std::string> Forget(std::size_t count) {
    std::set<std::string> keys;
    for (; count > 0 && !rows_.empty(); --count) keys.insert(rows_.extract(AnyRow(NewKey())).key());
    return keys;
  }

  void ExpectEqual() {
    std::size_t seen = 0;
    for (records_->RecordCount() > 0 ? records_->MoveFirst() : void(); !records_->PastEnd();
         records_->MoveNext()) {
      const Row row = RowAtHand();
      const auto* key = std::get_if<std::string>(&row[key_]);
      if (key == nullptr) continue;
      ++seen;
      ASSERT_TRUE(rows_.contains(*key)) << *key;
      for (std::size_t i = 0; i < row.size(); ++i)
        ASSERT_EQ(row[i], rows_[*key][i]) << *key << " " << names_[i];
    }
    EXPECT_EQ(seen, rows_.size());
  }

  /// The index holds the rows in the order of their values, of which texts are digits and capital letters.
  void ExpectOrder(const IndexDescription& index) {
    SCOPED_TRACE(index.name);
    std::vector<Row> expected;
    for (const auto& [key, row] : rows_) {
      Row values;
      for (const IndexColumnDescription& column : index.columns)
        values.push_back(row[At(*records_, column.name)]);
      if (index.ignore_nulls && std::ranges::all_of(values, core::IsNull)) continue;
      expected.push_back(std::move(values));
    }
    std::ranges::sort(expected, [&](const Row& a, const Row& b) {
      const auto [one, other] = std::ranges::mismatch(a, b);
      if (one == a.end()) return false;
      return index.columns[static_cast<std::size_t>(one - a.begin())].ascending ? *one < *other
                                                                                : *other < *one;
    });
    records_->SelectIndex(index.name);
    records_->MoveFirst();
    for (const Row& values : expected) {
      ASSERT_FALSE(records_->PastEnd());
      for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(records_->Read(At(*records_, index.columns[i].name)), values[i]);
      records_->MoveNext();
    }
    EXPECT_TRUE(records_->PastEnd());
  }

 private:
  std::size_t Pick(std::size_t below) { return random_() % below; }

  /// Behind all others of its kind, before them, anywhere; or one that is there already.
  std::string NewKey() {
    switch (Pick(4)) {
      case 0:
        return fmt::format("A{:06}", ++serial_);
      case 1:
        return fmt::format("K{:06}", 999'999 - ++serial_);
      case 2:
        return fmt::format("S{:05}{}", Pick(100'000), std::string(Pick(28), 'X'));
      default:
        return fmt::format("{} {} CO-OP ST", Pick(3000), Pick(4) == 0 ? "O'NEIL" : "ELM");
    }
  }

  std::map<std::string, Row>::iterator AnyRow(const std::string& near) {
    const auto row = rows_.lower_bound(near);
    return row == rows_.end() ? rows_.begin() : row;
  }

  Row RowAtHand() const {
    Row row;
    for (std::size_t i = 0; i < names_.size(); ++i) row.push_back(records_->Read(i));
    return row;
  }

  void Set(Row& expected, std::size_t field, const core::Value& value) {
    records_->Write(field, value);
    expected[field] = records_->Read(field);
  }

  core::Value RandomValue(const core::Field& field) {
    if (field.type == core::FieldType::YesNo) return Pick(2) == 0;
    if (Pick(6) == 0) return core::Null{};
    switch (field.type) {
      case core::FieldType::Memo:
        // Inline, one cell, a chain; compressed or not.
        return std::string(Pick(2), 'x') +
               std::string(Pick(20) == 0 ? Pick(70'000) : Pick(3) * Pick(1500), 'm') +
               (Pick(3) == 0   ? ""
                : Pick(2) == 0 ? "Ω"
                               : "é");
      case core::FieldType::Text:
        return std::string(Pick(static_cast<std::size_t>(field.size) + 1), static_cast<char>('A' + Pick(26)));
      case core::FieldType::Date:
        return core::Date{static_cast<double>(Pick(60'000)) - 20'000 + static_cast<double>(Pick(4)) / 4};
      default:
        return static_cast<int>(Pick(2000)) - 500;
    }
  }

  core::RecordSet* records_ = nullptr;
  std::mt19937 random_;
  std::vector<std::string> names_;
  std::size_t key_ = 0;
  std::map<std::string, Row> rows_;
  int serial_ = 0;
};

constexpr unsigned kSeed = 20260611;

/// Deletes the rows of these keys, which the table operations cannot.
void DeleteRows(storage::FileSystem& files, const std::set<std::string>& keys) {
  const auto pager = corvix::test::OpenPager(files, kFile, false);
  PageAllocator allocator(*pager);
  TableDefinition table = ReadTableDefinition(*pager, Catalog(*pager).FindTable("COMPS")->DefinitionPage());
  TableRows rows(*pager, allocator, table);
  IndexSet indexes(*pager, allocator, table, "COMPS");
  const auto key = static_cast<std::size_t>(std::ranges::find(table.columns, "CENTRALKEY", &Column::name) -
                                            table.columns.begin());
  std::size_t deleted = 0;
  for (auto slot = rows.First(); slot; slot = rows.Next(*slot)) {
    std::string text;
    if (!rows.ReadText(*rows.Find(*slot), key, text) || !keys.contains(text)) continue;
    std::vector<core::Value> values(table.columns.size());
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = rows.Read(*rows.Find(*slot), i);
    RowKeys row_keys;
    indexes.BuildKeys(values, ColumnSet{}.set(), row_keys);
    indexes.Erase(row_keys, *slot);
    rows.Delete(*slot);
    ++deleted;
  }
  EXPECT_EQ(deleted, keys.size());
  WriteCounters(*pager, table);
  pager->Checkpoint();
}

/// So many rows added, edited and deleted; judged against the model and by the checker.
CheckReport RunHistory(Tables& tables, std::size_t operations,
                       std::span<const IndexDescription> indexes = {}) {
  SCOPED_TRACE(fmt::format("seed {}", kSeed));
  auto comps = tables.Set("COMPS");
  // Some files of others refuse empty texts and Nulls; the row is then left.
  const bool strict = !comps->Fields()[At(*comps, "City")].allow_zero_length;
  History history(*comps, kSeed);
  for (std::size_t done = 0; done < operations;) {
    for (const std::size_t end = done + 500; done < end; ++done) {
      const common::ErrorNumber error = test::NumberOf([&] { history.Step(); });
      EXPECT_TRUE(error == 0 ||
                  (strict && (error == common::kZeroLengthRefused || error == common::kFieldRequired)));
    }
    const std::set<std::string> victims = history.Forget(150);
    done += victims.size();
    tables.database->Close();
    DeleteRows(tables.files, victims);
    tables.Open();
    comps = tables.Set("COMPS");
    history.Attach(*comps);
  }
  history.ExpectEqual();
  for (const IndexDescription& index : indexes) history.ExpectOrder(index);
  return tables.Check();
}

TEST(JetHistory, EqualsTheModel) {
  TableDescription table{
      .name = "COMPS",
      .columns = {{.name = "RECID", .type = ColumnType::Long, .autonumber = true},
                  {.name = "CENTRALKEY", .length = 35},
                  {.name = "City", .length = 255},
                  {.name = "Price", .type = ColumnType::Double},
                  {.name = "Day", .type = ColumnType::Date},
                  {.name = "Flag", .type = ColumnType::YesNo},
                  {.name = "Rooms", .type = ColumnType::Integer},
                  {.name = "Notes", .type = ColumnType::Memo},
                  {.name = "Story", .type = ColumnType::Memo}},
      .indexes = {{.name = "PrimaryKey", .columns = {{"RECID"}}, .primary = true},
                  {.name = "CENTRALKEY", .columns = {{"CENTRALKEY"}}, .unique = true},
                  {.name = "CityIdx", .columns = {{"City", false}, {"RECID"}}},
                  {.name = "PriceIdx", .columns = {{"Price"}, {"Day", false}}},
                  {.name = "RoomsIdx", .columns = {{"Rooms", false}}, .ignore_nulls = true}}};
  std::vector<IndexDescription> ordered = table.indexes;
  std::erase_if(ordered,
                [](const auto& index) { return index.name == "CENTRALKEY"; });  // other signs sort in it
  Tables tables(table);
  const CheckReport report = RunHistory(tables, 20'000, ordered);
  EXPECT_GT(report.rows, 5000u);
  EXPECT_GT(report.moved_rows, 50u);
  EXPECT_GT(report.long_values, 1000u);

  for (const auto& path : corvix::test::SharedJetFiles()) {
    if (!path.parent_path().filename().string().starts_with("folvane-")) continue;
    SCOPED_TRACE(path.string());
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    tables.database.reset();
    tables.files.Open(kFile, storage::OpenMode::Create)->WriteAt(0, storage::AsBytes(bytes));
    tables.Open();
    RunHistory(tables, 1000);
  }
}

TEST(JetHistory, AStoreThatFailsOnTheDeviceChangesNothingAndCanBeRepeated) {
  corvix::test::FaultyFileSystem files;
  int allowed = -1;  // so many reads pass, then one fails; below 0: all
  files.on_read = [&](auto&&...) {
    if (allowed-- == 0) throw common::Error(common::kDeviceIo);
  };
  CreateDatabase(files, kFile, corvix::sample::FolvaneSchema());
  std::size_t failures = 0;
  for (int round = 0; round < 60; ++round) {  // each begins with a cold cache
    SCOPED_TRACE(fmt::format("round {}", round));
    const auto database = OpenJetDatabase(files, kFile, core::Access::ReadWrite);
    const auto comps = database->OpenTable("COMPS");
    const std::int32_t count = comps->RecordCount();
    const std::string key = fmt::format("{} NEW ST", round);
    comps->BeginAdd();
    comps->Write(At(*comps, "CENTRALKEY"), key);
    comps->Write(At(*comps, "COMMENTS"), std::string(static_cast<std::size_t>(round) * 100, 'c'));
    for (int reads = 0;; ++reads) {
      allowed = reads;
      const common::Error error = ErrorOf([&] { comps->Store(); });
      allowed = -1;
      if (error.number() == 0) break;
      ASSERT_EQ(error.number(), common::kDeviceIo) << error.what();
      ++failures;
      ASSERT_EQ(comps->RecordCount(), count);
      ASSERT_EQ(test::Text(*comps, "CENTRALKEY"), key) << "the row being written is still there";
    }
    EXPECT_EQ(comps->RecordCount(), count + 1);
    History history(*comps, kSeed + static_cast<unsigned>(round));
    for (int i = 0; i < 40; ++i) history.Step();
    database->Close();
    ASSERT_THAT(corvix::test::CheckFile(files, kFile).problems, testing::IsEmpty());
  }
  EXPECT_GT(failures, 200u);
}

}  // namespace
}  // namespace corvix::jet
