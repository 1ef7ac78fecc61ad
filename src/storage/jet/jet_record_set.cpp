#include "storage/jet/jet_record_set.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <utility>

#include "common/error.h"
#include "core/field_assignment.h"

namespace corvix::jet {

using common::Error;
using storage::ByteView;

JetRecordSet::JetRecordSet(std::shared_ptr<JetSession> session, OpenTable& table)
    : session_(std::move(session)), table_(&table) {
  StandOn(table.rows().First());
  session_->record_sets.push_back(this);
}

JetRecordSet::~JetRecordSet() {
  row_.reset();
  std::erase(session_->record_sets, this);
}

void JetRecordSet::Disconnect() {
  row_.reset();
  cursor_.reset();
  current_.reset();
  buffer_ = Buffer::None;
  table_ = nullptr;
}

OpenTable& JetRecordSet::Table() const {
  if (table_ == nullptr)
    throw Error(common::kObjectInvalid, "The database of the record set has been closed");
  return *table_;
}

// --- fields ---------------------------------------------------------------------------------------------

std::span<const core::Field> JetRecordSet::Fields() const { return Table().fields(); }

std::optional<std::size_t> JetRecordSet::FindField(std::string_view name) const {
  return table_ == nullptr ? std::nullopt : table_->field_names().Find(name);
}

void JetRecordSet::CheckField(std::size_t field) const {
  const std::size_t count = Table().fields().size();
  if (field >= count) {
    throw Error(common::kItemNotFound,
                fmt::format("Table '{}' has {} fields, none at position {}", table_->name(), count, field));
  }
}

// --- position -------------------------------------------------------------------------------------------

/// Makes the row the current record; none: past the end.
void JetRecordSet::StandOn(std::optional<RowRef> row) {
  current_ = row;
  past_end_ = !row;
  row_.reset();
}

const StoredRow* JetRecordSet::FindCurrentRow() const {
  const std::uint64_t version = table_->version();
  if (row_ && row_version_ == version) return &*row_;
  row_ = table_->rows().Find(*current_);
  row_version_ = version;
  return row_ ? &*row_ : nullptr;
}

const StoredRow& JetRecordSet::CurrentRow() const {
  Table();
  if (!current_) throw Error(common::kNoCurrentRecord);
  const StoredRow* row = FindCurrentRow();
  if (row == nullptr) throw Error(common::kRecordDeleted);
  return *row;
}

void JetRecordSet::SelectIndex(std::string_view name) {
  OpenTable& table = Table();
  const LogicalIndex* index = table.definition().FindIndex(name);
  if (index == nullptr || index->real_index >= table.index_parts().size()) {
    throw Error(common::kNotAnIndex,
                fmt::format("Table '{}' has no index '{}'; create it or choose another", table.name(), name));
  }
  buffer_ = Buffer::None;
  if (cursor_ && index_ == index->real_index) return;
  index_ = index->real_index;
  cursor_.emplace(table.indexes().tree(index_));
}

void JetRecordSet::SeekEqual(std::string_view text) {
  Table();
  if (!cursor_) throw Error(common::kNoCurrentIndex);
  buffer_ = Buffer::None;
  BuildSeekKey(text);
  no_match_ = true;
  current_.reset();
  past_end_ = false;
  if (const auto open = table_->FindOpenRow(index_, key_.key)) {
    no_match_ = false;
    return StandOn(open);
  }
  table_->Settle();
  if (!cursor_->LowerBound(key_.key)) return;
  const ByteView found = cursor_->key();
  if (found.size() < key_.key.size() || !std::ranges::equal(found.first(key_.key.size()), key_.key)) return;
  no_match_ = false;
  StandOn(cursor_->row());
  cursor_version_ = table_->version();
}

/// The key of the index's first column that a record with this text has.
void JetRecordSet::BuildSeekKey(std::string_view text) {
  const IndexSet& indexes = table_->index_parts();
  if (indexes.Obstacle(index_)) throw Error(common::kUnsupported, *indexes.Obstacle(index_));
  const IndexSet::Part& part = indexes.parts(index_).front();
  core::Value value = std::string(text);
  if (!part.column->IsText()) {
    core::Field field = table_->fields()[part.position];
    field.autonumber = false;  // cannot be assigned, but can be sought
    value = core::ConvertForField(field, value);
  }
  key_.key.clear();
  AppendKey(key_.key, *part.column, part.ascending, value);
}

core::Bookmark JetRecordSet::GetBookmark() const {
  CurrentRow();
  return {current_->Packed()};
}

void JetRecordSet::SetBookmark(core::Bookmark bookmark) {
  OpenTable& table = Table();
  buffer_ = Buffer::None;
  const bool is_address = bookmark.handle > 0 && bookmark.handle <= std::numeric_limits<std::uint32_t>::max();
  const RowRef row = RowRef::Unpack(static_cast<std::uint32_t>(bookmark.handle));
  if (!is_address || row.page >= session_->file->pager().page_count()) throw Error(common::kBadBookmark);
  if (!table.rows().Find(row)) throw Error(common::kRecordDeleted);
  StandOn(row);
}

void JetRecordSet::MoveFirst() {
  OpenTable& table = Table();
  buffer_ = Buffer::None;
  if (cursor_) {
    table.Settle();
    StandOn(cursor_->First() ? std::optional(cursor_->row()) : std::nullopt);
    cursor_version_ = table.version();
  } else {
    StandOn(table.rows().First());
  }
  if (!current_) throw Error(common::kNoCurrentRecord);
}

void JetRecordSet::MoveNext() {
  OpenTable& table = Table();
  buffer_ = Buffer::None;
  if (!current_) throw Error(common::kNoCurrentRecord);
  if (!cursor_) return StandOn(table.rows().Next(*current_));
  // A record without an entry has no place of its own: the cursor then stands behind it already.
  const bool has_entry = FindPlaceInOrder();
  const bool found = has_entry ? cursor_->Next() : cursor_->valid();
  StandOn(found ? std::optional(cursor_->row()) : std::nullopt);
  cursor_version_ = table.version();
}

/// Puts the cursor on the entry of the current record. False when it has none; the cursor then stands on the
/// entry behind the place where it would be.
bool JetRecordSet::FindPlaceInOrder() {
  table_->Settle();
  if (cursor_->valid() && cursor_version_ == table_->version() && cursor_->row() == *current_) return true;
  const StoredRow* row = FindCurrentRow();
  if (row == nullptr) {
    // Deleted meanwhile: a cursor that stood there goes on from where the entry was.
    if (cursor_->valid() && cursor_->row() == *current_) return true;
    throw Error(common::kRecordDeleted);
  }
  const IndexSet& indexes = table_->indexes();
  if (indexes.Obstacle(index_)) return ScanForPlace();
  values_.resize(table_->fields().size());
  for (const IndexSet::Part& part : indexes.parts(index_)) {
    values_[part.position] = table_->rows().Read(*row, part.position);
  }
  indexes.BuildKey(index_, values_, key_);
  return cursor_->LowerBound(key_.key, *current_) && cursor_->row() == *current_ &&
         std::ranges::equal(cursor_->key(), key_.key);
}

/// The same where keys cannot be computed.
bool JetRecordSet::ScanForPlace() {
  for (bool found = cursor_->First(); found; found = cursor_->Next()) {
    if (cursor_->row() == *current_) return true;
  }
  return false;
}

std::int32_t JetRecordSet::RecordCount() const {
  return static_cast<std::int32_t>(
      std::min<std::uint32_t>(Table().definition().row_count, std::numeric_limits<std::int32_t>::max()));
}

// --- reading --------------------------------------------------------------------------------------------

bool JetRecordSet::IsBuffered(std::size_t field) const {
  return buffer_ == Buffer::Adding || (buffer_ == Buffer::Editing && assigned_[field]);
}

bool JetRecordSet::HasRow() const {
  return table_ != nullptr && (buffer_ != Buffer::None || (current_ && FindCurrentRow() != nullptr));
}

core::Value JetRecordSet::Read(std::size_t field) const {
  CheckField(field);
  if (IsBuffered(field)) return values_[field];
  const StoredRow& row = CurrentRow();
  return table_->Read(*current_, row, field);
}

bool JetRecordSet::ReadText(std::size_t field, std::string& text) const {
  CheckField(field);
  if (IsBuffered(field) || !table_->definition().columns[field].IsText()) {
    return RecordSet::ReadText(field, text);
  }
  const StoredRow& row = CurrentRow();
  return table_->ReadText(*current_, row, field, text);
}

// --- writing --------------------------------------------------------------------------------------------

void JetRecordSet::CheckWritable() {
  OpenTable& table = Table();
  if (session_->read_only) {
    throw Error(common::kReadOnly, "The database is open for reading only",
                session_->file->pager().path().string());
  }
  if (const auto& obstacle = table.WriteObstacle()) throw Error(common::kReadOnly, *obstacle);
}

void JetRecordSet::BeginAdd() {
  CheckWritable();
  table_->StartRow(values_);
  buffer_ = Buffer::Adding;
}

void JetRecordSet::BeginEdit() {
  CheckWritable();
  buffer_ = Buffer::None;
  CurrentRow();
  values_.resize(table_->fields().size());
  assigned_.reset();
  buffer_ = Buffer::Editing;
}

void JetRecordSet::Write(std::size_t field, core::Value value) {
  Table();
  if (buffer_ == Buffer::None) throw Error(common::kNoPendingEdit);
  CheckField(field);
  values_[field] = core::ConvertForField(table_->fields()[field], std::move(value));
  assigned_.set(field);
}

void JetRecordSet::Store() {
  OpenTable& table = Table();
  if (buffer_ == Buffer::None) throw Error(common::kNoPendingEdit);
  session_->file->CheckpointWhenDue();
  if (buffer_ == Buffer::Editing) {
    if (!current_) throw Error(common::kNoCurrentRecord);
    table.Update(*current_, values_, assigned_);
  } else {
    const bool was_empty = table.definition().row_count == 0;
    const RowRef row = table.Insert(values_);
    if (!current_ && was_empty) StandOn(row);
  }
  buffer_ = Buffer::None;
}

}  // namespace corvix::jet
