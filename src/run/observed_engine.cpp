#include "run/observed_engine.h"

#include <algorithm>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "core/table_source.h"

namespace corvix::run {
namespace {

using core::Value;

/// The value, Null where it cannot be read.
Value Peek(const core::RecordSet& records, std::size_t field) {
  try {
    return records.Read(field);
  } catch (const common::Error&) {
    return core::Null{};
  }
}

bool IsSomething(const Value& value) {
  const bool* truth = std::get_if<bool>(&value);
  return truth != nullptr ? *truth : !core::IsNull(value);
}

class ObservedRecordSet : public core::RecordSet {
 public:
  ObservedRecordSet(std::unique_ptr<core::RecordSet> records, StoreObserver& observer)
      : records_(std::move(records)), observer_(observer) {}

  std::span<const core::Field> Fields() const override { return records_->Fields(); }
  std::optional<std::size_t> FindField(std::string_view name) const override {
    return records_->FindField(name);
  }
  void SelectIndex(std::string_view name) override { records_->SelectIndex(name); }
  void SeekEqual(std::string_view key) override { records_->SeekEqual(key); }
  bool NoMatch() const override { return records_->NoMatch(); }
  core::Bookmark GetBookmark() const override { return records_->GetBookmark(); }
  void SetBookmark(core::Bookmark bookmark) override { records_->SetBookmark(bookmark); }
  void MoveFirst() override { records_->MoveFirst(); }
  void MoveNext() override { records_->MoveNext(); }
  bool PastEnd() const override { return records_->PastEnd(); }
  std::int32_t RecordCount() const override { return records_->RecordCount(); }
  bool HasRow() const override { return records_->HasRow(); }
  Value Read(std::size_t field) const override { return records_->Read(field); }
  bool ReadText(std::size_t field, std::string& text) const override {
    return records_->ReadText(field, text);
  }

  // What was written before belongs to a row that was stored or dropped; both begin anew.
  void BeginAdd() override {
    records_->BeginAdd();
    adding_ = true;
    written_.clear();
  }
  void BeginEdit() override {
    records_->BeginEdit();
    adding_ = false;
    written_.clear();
  }

  void Write(std::size_t field, Value value) override {
    const bool is_first =
        !adding_ &&
        std::ranges::find(written_, field, &std::pair<std::size_t, Value>::first) == written_.end();
    Value before = is_first ? Peek(*records_, field) : Value();
    records_->Write(field, std::move(value));
    if (is_first) written_.emplace_back(field, std::move(before));
  }

  void Store() override {
    const StoredRow row = PendingRow();
    records_->Store();
    written_.clear();
    observer_.RowStored(row);
  }

 private:
  StoredRow PendingRow() const {
    StoredRow row{.added = adding_};
    const auto fields = records_->Fields();
    if (const auto key = records_->FindField(core::kCentralKey)) {
      const Value value = Peek(*records_, *key);
      if (const auto* text = std::get_if<std::string>(&value)) row.key = common::Trim(*text);
    }
    if (adding_) {
      for (std::size_t field = 0; field < fields.size(); ++field) {
        Value after = Peek(*records_, field);
        if (IsSomething(after)) row.changes.push_back({&fields[field], core::Null{}, std::move(after)});
      }
    } else {
      for (const auto& [field, before] : written_) {
        Value after = Peek(*records_, field);
        if (after != before) row.changes.push_back({&fields[field], before, std::move(after)});
      }
    }
    return row;
  }

  std::unique_ptr<core::RecordSet> records_;
  StoreObserver& observer_;
  bool adding_ = false;
  std::vector<std::pair<std::size_t, Value>> written_;  // fields of the edit with their values before it
};

class ObservedDatabase : public core::Database {
 public:
  ObservedDatabase(std::shared_ptr<core::Database> database, StoreObserver& observer)
      : database_(std::move(database)), observer_(observer) {}

  std::unique_ptr<core::RecordSet> OpenTable(std::string_view name) override {
    return std::make_unique<ObservedRecordSet>(database_->OpenTable(name), observer_);
  }
  void RequireSound(std::string_view table) override { database_->RequireSound(table); }
  void Checkpoint() override { database_->Checkpoint(); }
  void CheckpointWhenDue() override { database_->CheckpointWhenDue(); }
  std::int64_t Checkpoints() const override { return database_->Checkpoints(); }
  void Close() override { database_->Close(); }
  void Abandon() override { database_->Abandon(); }

 private:
  std::shared_ptr<core::Database> database_;
  StoreObserver& observer_;
};

}  // namespace

std::shared_ptr<core::Database> ObservedEngine::OpenDatabase(std::string_view file_name) {
  return std::make_shared<ObservedDatabase>(engine_.OpenDatabase(file_name), observer_);
}

}  // namespace corvix::run
