// Long histories of stored rows against a model, on our own files, on files of other writers, and on a device
// that fails.
#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <random>

#include "core/text_form.h"
#include "jet/index_tables.h"
#include "sample/folvane_schema.h"

namespace corvix::jet {
namespace {

using test::At;
using test::ErrorOf;
using test::kFile;
using test::Tables;

/// Adds and edits random rows of COMPS; keeps in mind what the table must hold.
class History {
 public:
  explicit History(core::RecordSet& comps, unsigned seed) : comps_(comps), random_(seed) {
    for (const core::Field& field : comps.Fields()) names_.push_back(field.name);
    key_ = At(comps, "CENTRALKEY");
    comps.SelectIndex("CENTRALKEY");
    if (comps.RecordCount() == 0) return;
    for (comps.MoveFirst(); !comps.PastEnd(); comps.MoveNext()) {
      const auto row = row_at_hand();
      if (const auto* key = std::get_if<std::string>(&row[key_])) rows_[*key] = row;
    }
  }

  /// One row added or edited.
  void Step() {
    const std::string key = fmt::format("{} {} CO-OP ST", Pick(3000), Pick(4) == 0 ? "O'NEIL" : "ELM");
    comps_.SeekEqual(key);
    ASSERT_EQ(comps_.NoMatch(), !rows_.contains(key)) << key;
    std::vector<core::Value> expected;
    if (comps_.NoMatch()) {
      comps_.BeginAdd();
      expected = row_at_hand();
      Set(expected, key_, key);
    } else {
      comps_.BeginEdit();
      expected = rows_[key];
    }
    for (int n = 1 + Pick(8); n > 0; --n) {
      const auto field = static_cast<std::size_t>(Pick(static_cast<int>(names_.size())));
      if (field != key_ && !comps_.Fields()[field].autonumber)
        Set(expected, field, RandomValue(comps_.Fields()[field]));
    }
    comps_.Store();
    if (expected[0] == core::Value(core::Null{})) {
      comps_.SeekEqual(key);
      expected[0] = comps_.Read(0);  // the autonumber
    }
    rows_[key] = std::move(expected);
  }

  void ExpectEqual() {
    std::size_t seen = 0;
    for (comps_.MoveFirst(); !comps_.PastEnd(); comps_.MoveNext()) {
      const auto row = row_at_hand();
      const auto* key = std::get_if<std::string>(&row[key_]);
      if (key == nullptr) continue;
      ++seen;
      ASSERT_TRUE(rows_.contains(*key)) << *key;
      for (std::size_t i = 0; i < row.size(); ++i)
        ASSERT_EQ(row[i], rows_[*key][i]) << *key << " " << names_[i];
    }
    EXPECT_EQ(seen, rows_.size());
  }

  std::size_t size() const { return rows_.size(); }

 private:
  int Pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  std::vector<core::Value> row_at_hand() const {
    std::vector<core::Value> row;
    for (std::size_t i = 0; i < names_.size(); ++i) row.push_back(comps_.Read(i));
    return row;
  }

  void Set(std::vector<core::Value>& expected, std::size_t field, const core::Value& value) {
    comps_.Write(field, value);
    expected[field] = comps_.Read(field);
  }

  core::Value RandomValue(const core::Field& field) {
    switch (field.type) {
      case core::FieldType::YesNo:
        return Pick(2) == 0;
      case core::FieldType::Memo:
        // Inline, one cell, a chain; compressed or not.
        return std::string(Pick(2), 'x') +
               std::string(static_cast<std::size_t>(Pick(3) * Pick(40) * Pick(80)), 'm') +
               (Pick(2) == 0 ? "Ω" : "é");
      case core::FieldType::Text: {
        if (Pick(6) == 0) return core::Null{};
        const auto size = static_cast<std::size_t>(Pick(std::min(field.size, 40) + 1));
        return std::string(size, static_cast<char>('A' + Pick(26)));
      }
      case core::FieldType::Date:
        return core::Date{Pick(60000) - 20000 + Pick(4) / 4.0};
      default:
        return Pick(8) == 0 ? core::Value(core::Null{}) : core::Value(Pick(2000) - 500);
    }
  }

  core::RecordSet& comps_;
  std::mt19937 random_;
  std::vector<std::string> names_;
  std::size_t key_ = 0;
  std::map<std::string, std::vector<core::Value>> rows_;
};

constexpr unsigned kSeed = 20260611;

/// Steps over a file, judged against the model and by the checker.
CheckReport RunHistory(Tables& tables, int steps) {
  {
    const auto comps = tables.Set("COMPS");
    // Some files of others refuse empty texts and Nulls; the row is then left.
    const bool strict = !comps->Fields()[At(*comps, "City")].allow_zero_length;
    History history(*comps, kSeed);
    for (int i = 0; i < steps; ++i) {
      const common::ErrorNumber error = test::NumberOf([&] { history.Step(); });
      EXPECT_TRUE(error == 0 ||
                  (strict && (error == common::kZeroLengthRefused || error == common::kFieldRequired)));
    }
    history.ExpectEqual();
  }
  return tables.Check();
}

TEST(JetHistory, EqualsTheModel) {
  SCOPED_TRACE(fmt::format("seed {}", kSeed));
  Tables tables(corvix::sample::FolvaneSchema());
  const CheckReport report = RunHistory(tables, 6000);
  EXPECT_GT(report.moved_rows, 0u);
  EXPECT_GT(report.long_values, 1000u);
  for (const auto& path : corvix::test::SharedJetFiles()) {
    if (!path.parent_path().filename().string().starts_with("folvane-")) continue;
    SCOPED_TRACE(path.string());
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    tables.database.reset();
    tables.files.Open(kFile, storage::OpenMode::Create)->WriteAt(0, storage::AsBytes(bytes));
    tables.Open();
    RunHistory(tables, 1500);
  }
}

/// Lets `allowed` reads pass, then fails one.
struct FailingFiles : storage::MemoryFileSystem {
  class FailingFile : public storage::File {
   public:
    FailingFile(std::unique_ptr<storage::File> file, int& allowed)
        : file_(std::move(file)), allowed_(allowed) {}
    std::uint64_t Size() const override { return file_->Size(); }
    std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
      if (allowed_-- == 0) throw common::Error(common::kDeviceIo);
      return file_->ReadAt(offset, out);
    }
    void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
      file_->WriteAt(offset, bytes);
    }
    void Truncate(std::uint64_t size) override { file_->Truncate(size); }
    void Sync() override { file_->Sync(); }
    bool TryLock(storage::LockKind kind, std::uint64_t offset, std::uint64_t length) override {
      return file_->TryLock(kind, offset, length);
    }
    void Unlock(std::uint64_t offset, std::uint64_t length) override { file_->Unlock(offset, length); }

   private:
    std::unique_ptr<storage::File> file_;
    int& allowed_;
  };

  std::unique_ptr<storage::File> Open(const std::filesystem::path& path, storage::OpenMode mode) override {
    return std::make_unique<FailingFile>(MemoryFileSystem::Open(path, mode), allowed);
  }
  int allowed = -1;  // below 0: all
};

TEST(JetHistory, AStoreThatFailsOnTheDeviceChangesNothingAndCanBeRepeated) {
  FailingFiles files;
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
    for (int allowed = 0;; ++allowed) {
      files.allowed = allowed;
      const common::Error error = ErrorOf([&] { comps->Store(); });
      files.allowed = -1;
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
    const CheckReport report = CheckDatabase(*corvix::test::OpenPager(files, kFile));
    ASSERT_TRUE(report.IsClean()) << report.problems.front().text;
  }
  EXPECT_GT(failures, 200u);
}

}  // namespace
}  // namespace corvix::jet
