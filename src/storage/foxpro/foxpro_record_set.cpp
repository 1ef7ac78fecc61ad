#include "storage/foxpro/foxpro_record_set.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {

FoxProRecordSet::FoxProRecordSet(storage::FileSystem& files, const std::filesystem::path& directory,
                                 std::string_view table, IndexChoices* choices)
    : paths_(FindTableFiles(files, directory, table)),
      index_(files, paths_, choices),
      table_(files.Open(paths_.table, storage::OpenMode::Read), paths_.table.string()),
      page_(CodePageOfTable(table_.header().language_driver)),
      fields_(DescribeFields(table_.header(), page_)),
      names_(fields_),
      memo_(OpenMemoFile(files, paths_, table_.header())),
      reader_(table_.header(), page_, memo_ ? &*memo_ : nullptr) {
  table_.RequireAllRecords();
  SettleInFile(1);
  is_empty_ = past_end_;
}

std::optional<std::size_t> FoxProRecordSet::FindField(std::string_view name) const {
  return names_.Find(name);
}

void FoxProRecordSet::SelectIndex(std::string_view name) {
  const auto has_name = [name](const auto& order) {
    return common::EqualIgnoringCase(order->tag().name, name);
  };
  if (order_ && has_name(order_)) return;
  auto opened = std::ranges::find_if(opened_orders_, has_name);
  if (opened == opened_orders_.end()) {
    opened_orders_.push_back(std::make_unique<TagOrder>(index_.Choose(name, table_, page_), table_, page_));
    opened = std::prev(opened_orders_.end());
  }
  order_ = opened->get();
  order_is_current_ = false;
}

bool FoxProRecordSet::IsShown(std::uint32_t record) const {
  return record >= 1 && record <= table_.RecordCount() && !table_.IsHidden(record);
}

void FoxProRecordSet::StandOn(std::uint32_t record) {
  const storage::ByteView bytes = table_.Record(record);
  record_.assign(bytes.begin(), bytes.end());
  current_ = record;
  past_end_ = false;
}

void FoxProRecordSet::GoPastEnd() {
  current_ = 0;
  past_end_ = true;
  order_is_current_ = false;
}

void FoxProRecordSet::SettleInFile(std::uint32_t record) {
  while (record <= table_.RecordCount() && !IsShown(record)) ++record;
  if (record > table_.RecordCount()) return GoPastEnd();
  StandOn(record);
  order_is_current_ = false;
}

void FoxProRecordSet::SettleInOrder(bool has_entry) {
  order_is_current_ = false;
  while (has_entry && !IsShown(order_->Record())) has_entry = order_->Next();
  if (!has_entry) return GoPastEnd();
  StandOn(order_->Record());
  order_is_current_ = true;
}

void FoxProRecordSet::MoveFirst() {
  if (order_) {
    SettleInOrder(order_->First());
  } else {
    SettleInFile(1);
  }
  if (current_ == 0)
    throw common::Error(common::kNoCurrentRecord, "The table has no record", paths_.table.string());
}

void FoxProRecordSet::MoveNext() {
  RequireRow();
  if (!order_) return SettleInFile(current_ + 1);
  // Until the move has succeeded the order counts as being elsewhere, so that a repeated move skips nothing.
  const bool in_step = std::exchange(order_is_current_, false);
  SettleInOrder(in_step ? order_->Next() : order_->NextAfter(current_));
}

void FoxProRecordSet::SeekEqual(std::string_view key) {
  if (!order_) throw common::Error(common::kNoCurrentIndex);
  current_ = 0;
  past_end_ = is_empty_;
  order_is_current_ = false;
  no_match_ = true;
  bool found = order_->Find(key);
  while (found && !(IsShown(order_->Record()) && order_->HasSoughtKey(order_->Record()))) {
    found = order_->NextEqual();
  }
  if (!found) return;
  StandOn(order_->Record());
  order_is_current_ = true;
  no_match_ = false;
}

core::Bookmark FoxProRecordSet::GetBookmark() const {
  RequireRow();
  return {current_};
}

void FoxProRecordSet::SetBookmark(core::Bookmark bookmark) {
  if (bookmark.handle < 1 || bookmark.handle > table_.RecordCount())
    throw common::Error(common::kBadBookmark);
  const auto record = static_cast<std::uint32_t>(bookmark.handle);
  if (!IsShown(record)) throw common::Error(common::kRecordDeleted);
  if (record == current_) return;
  StandOn(record);
  order_is_current_ = false;
}

std::int32_t FoxProRecordSet::RecordCount() const {
  if (!record_count_) {
    constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
    record_count_ = static_cast<std::int32_t>(std::min(table_.CountVisible(), kMost));
  }
  return *record_count_;
}

void FoxProRecordSet::ThrowReadOnly() const {
  throw common::Error(common::kReadOnly, "FoxPro tables are only read, never changed", paths_.table.string());
}

void FoxProRecordSet::BeginAdd() { ThrowReadOnly(); }
void FoxProRecordSet::BeginEdit() { ThrowReadOnly(); }
void FoxProRecordSet::Store() { throw common::Error(common::kNoPendingEdit); }
void FoxProRecordSet::Write(std::size_t, core::Value) { throw common::Error(common::kNoPendingEdit); }

void FoxProRecordSet::RequireRow() const {
  if (current_ == 0) throw common::Error(common::kNoCurrentRecord);
}

const DbfField& FoxProRecordSet::RequireField(std::size_t field) const {
  RequireRow();
  if (field < fields_.size()) return table_.header().fields[field];
  throw common::Error(common::kItemNotFound,
                      fmt::format("Table {} has no field at position {}", paths_.name, field));
}

std::string FoxProRecordSet::RecordPlace(const DbfField& field) const {
  return fmt::format("{}, record {}, field {}", paths_.table.string(), current_, field.name);
}

core::Value FoxProRecordSet::Read(std::size_t field) const {
  const DbfField& described = RequireField(field);
  try {
    return reader_.Read(described, record_);
  } catch (const common::Error& error) {
    throw common::Error(error.number(), error.text(), RecordPlace(described));
  }
}

bool FoxProRecordSet::ReadText(std::size_t field, std::string& text) const {
  const DbfField& described = RequireField(field);
  try {
    return reader_.ReadText(described, record_, text);
  } catch (const common::Error& error) {
    throw common::Error(error.number(), error.text(), RecordPlace(described));
  }
}

std::optional<std::string> FoxProRecordSet::UnreadableText(std::size_t field) const {
  return reader_.UnreadableText(RequireField(field), record_);
}

std::unique_ptr<core::RecordSet> OpenFoxProTable(storage::FileSystem& files,
                                                 const std::filesystem::path& directory,
                                                 std::string_view table, IndexChoices* choices) {
  return std::make_unique<FoxProRecordSet>(files, directory, table, choices);
}

}  // namespace corvix::foxpro
