#include "support/memory_table.h"

#include <algorithm>
#include <stdexcept>

#include "common/text.h"
#include "core/field_assignment.h"
#include "core/text_form.h"

namespace corvix::test {

using common::Error;
using core::Bookmark;
using core::Value;

namespace {

template <typename Items, typename Name>
auto FindNamed(Items& items, std::string_view wanted, Name name) {
  return std::ranges::find_if(
      items, [&](const auto& item) { return common::EqualIgnoringCase(name(item), wanted); });
}

}  // namespace

/// A cursor over a MemoryTable.
class MemoryRecordSet : public core::RecordSet {
 public:
  MemoryRecordSet(std::shared_ptr<MemoryTable> table, std::shared_ptr<const bool> closed)
      : table_(std::move(table)), closed_(std::move(closed)) {
    if (!table_->rows_.empty()) current_ = 0;
    past_end_ = !current_;
  }

  std::span<const core::Field> Fields() const override { return table_->fields_; }
  std::optional<std::size_t> FindField(std::string_view name) const override {
    return table_->FindField(name);
  }

  void SelectIndex(std::string_view name) override {
    Before(Operation::SelectIndex, name);
    const auto found =
        FindNamed(table_->indexes_, name, [](const auto& index) { return index.definition.name; });
    if (found == table_->indexes_.end()) throw Error(common::kNotAnIndex);
    index_ = &*found;
    buffer_.reset();
  }

  void SeekEqual(std::string_view key) override {
    Before(Operation::SeekEqual, key);
    if (!index_) throw Error(common::kNoCurrentIndex);
    const std::string wanted = table_->KeyOfText(*index_, key);
    const auto found = index_->entries.lower_bound({wanted, 0});
    no_match_ = found == index_->entries.end() || found->first != wanted;
    Position(no_match_ ? std::nullopt : std::optional(found->second));
  }

  bool NoMatch() const override {
    Before(Operation::NoMatch);
    return no_match_;
  }

  Bookmark GetBookmark() const override {
    Before(Operation::GetBookmark);
    return Bookmark{Current() + 1};
  }

  void SetBookmark(Bookmark bookmark) override {
    Before(Operation::SetBookmark);
    buffer_.reset();
    if (bookmark.handle == 0 || bookmark.handle > table_->rows_.size()) throw Error(common::kBadBookmark);
    Position(bookmark.handle - 1);
  }

  void MoveFirst() override {
    Before(Operation::MoveFirst);
    buffer_.reset();
    if (table_->rows_.empty()) throw Error(common::kNoCurrentRecord);
    Position(index_ ? index_->entries.begin()->second : 0);
  }

  void MoveNext() override {
    Before(Operation::MoveNext);
    buffer_.reset();
    const std::size_t current = Current();
    std::optional<std::size_t> next;
    if (index_) {
      const auto entry =
          index_->entries.upper_bound({table_->KeyOf(*index_, table_->rows_[current]), current});
      if (entry != index_->entries.end()) next = entry->second;
    } else if (current + 1 < table_->rows_.size()) {
      next = current + 1;
    }
    Position(next);
    past_end_ = !next;
  }

  bool PastEnd() const override {
    Before(Operation::PastEnd);
    return past_end_;
  }

  std::int32_t RecordCount() const override {
    Before(Operation::RecordCount);
    return static_cast<std::int32_t>(table_->rows_.size());
  }

  void BeginAdd() override {
    Before(Operation::BeginAdd);
    if (table_->read_only) throw Error(common::kReadOnly);
    MemoryRow row = table_->defaults;
    row.resize(table_->fields_.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
      const core::Field& field = table_->fields_[i];
      if (field.type == core::FieldType::YesNo && core::IsNull(row[i])) row[i] = false;
      if (field.autonumber) row[i] = table_->next_autonumber_++;
    }
    buffer_ = std::move(row);
    adding_ = true;
  }

  void BeginEdit() override {
    Before(Operation::BeginEdit);
    if (table_->read_only) throw Error(common::kReadOnly);
    buffer_.reset();
    buffer_ = table_->rows_[Current()];
    adding_ = false;
  }

  void Store() override {
    Before(Operation::Store);
    if (!buffer_) throw Error(common::kNoPendingEdit);
    table_->CheckRow(*buffer_, adding_ ? std::nullopt : current_);
    if (adding_) {
      const bool was_empty = table_->rows_.empty();
      table_->Insert(*std::move(buffer_));
      if (was_empty) Position(0);
    } else {
      table_->Replace(*current_, *std::move(buffer_));
    }
    buffer_.reset();
  }

  bool HasRow() const override { return buffer_ || current_; }
  std::int64_t RecordNumber() const override {
    return current_ ? static_cast<std::int64_t>(*current_) + 1 : 0;
  }
  std::string RebuiltIndex() const override { return table_->rebuilt_index; }
  std::optional<std::string> UnreadableText(std::size_t field) const override {
    const auto found = table_->unreadable.find({Current(), table_->fields_[field].name});
    return found == table_->unreadable.end() ? std::nullopt : std::optional(found->second);
  }

  Value Read(std::size_t field) const override {
    Before(Operation::Read, FieldName(field));
    RequirePosition(field);
    return buffer_ ? (*buffer_)[field] : table_->rows_[Current()][field];
  }

  void Write(std::size_t field, Value value) override {
    Before(Operation::Write, FieldName(field));
    RequirePosition(field);
    if (!buffer_) throw Error(common::kNoPendingEdit);
    (*buffer_)[field] = core::ConvertForField(table_->fields_[field], std::move(value));
  }

 private:
  void Before(Operation operation, std::string_view detail = {}) const {
    if (closed_ && *closed_) throw Error(common::kObjectInvalid);
    if (table_->before) table_->before(operation, detail);
  }

  std::string_view FieldName(std::size_t field) const {
    return field < table_->fields_.size() ? std::string_view(table_->fields_[field].name)
                                          : std::string_view{};
  }

  void RequirePosition(std::size_t field) const {
    if (field >= table_->fields_.size()) throw Error(common::kItemNotFound);
  }

  std::size_t Current() const {
    if (!current_) throw Error(common::kNoCurrentRecord);
    return *current_;
  }

  void Position(std::optional<std::size_t> row) {
    current_ = row;
    past_end_ = false;
    buffer_.reset();
  }

  std::shared_ptr<MemoryTable> table_;
  std::shared_ptr<const bool> closed_;  // of the connection, if there is one
  const MemoryTable::Index* index_ = nullptr;
  std::optional<std::size_t> current_;
  std::optional<MemoryRow> buffer_;
  bool adding_ = false;
  bool past_end_ = false;
  bool no_match_ = false;
};

OperationHook FailNth(Operation operation, int n, common::ErrorNumber number) {
  return [=](Operation called, std::string_view) mutable {
    if (called == operation && --n == 0) throw Error(number);
  };
}

MemoryTable::MemoryTable(std::vector<core::Field> fields, std::vector<MemoryIndex> indexes)
    : fields_(std::move(fields)) {
  for (MemoryIndex& definition : indexes) {
    const auto field = FindField(definition.field.empty() ? definition.name : definition.field);
    if (!field || fields_[*field].type != core::FieldType::Text) {
      throw std::logic_error("An index of a memory table needs a text field");
    }
    indexes_.push_back({std::move(definition), *field, {}});
  }
}

std::optional<std::size_t> MemoryTable::FindField(std::string_view name) const {
  const auto found = FindNamed(fields_, name, [](const core::Field& field) { return field.name; });
  if (found == fields_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - fields_.begin());
}

void MemoryTable::AddRow(MemoryRow values) {
  values.resize(fields_.size());
  Insert(std::move(values));
}

std::string MemoryTable::Text(std::size_t row, std::string_view field) const {
  return core::ToText(rows_.at(row).at(FindField(field).value()));
}

std::unique_ptr<core::RecordSet> MemoryTable::Open() {
  if (before) before(Operation::OpenTable, {});
  return std::make_unique<MemoryRecordSet>(shared_from_this(), nullptr);
}

std::string MemoryTable::KeyOfText(const Index& index, std::string_view text) const {
  std::string key(common::TrimRight(text));
  if (index.definition.order == KeyOrder::AccessText) return common::UpperCase(key);
  const auto width = static_cast<std::size_t>(fields_[index.field].size);
  if (key.size() < width) key.resize(width, ' ');
  return key;
}

std::optional<std::string> MemoryTable::KeyOf(const Index& index, const MemoryRow& row) const {
  const Value& value = row[index.field];
  if (core::IsNull(value) && index.definition.order == KeyOrder::AccessText) return std::nullopt;
  return KeyOfText(index, core::ToText(value));
}

void MemoryTable::CheckRow(const MemoryRow& row, std::optional<std::size_t> replaced) const {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (fields_[i].required && core::IsNull(row[i])) throw Error(common::kFieldRequired);
  }
  for (const Index& index : indexes_) {
    const auto key = KeyOf(index, row);
    if (index.definition.required && !key) throw Error(common::kNullKey);
    if (!index.definition.unique || !key) continue;
    const auto entry = index.entries.lower_bound({key, 0});
    const bool taken = entry != index.entries.end() && entry->first == key && entry->second != replaced;
    if (taken) throw Error(common::kDuplicateKey);
  }
}

void MemoryTable::Insert(MemoryRow row) {
  for (Index& index : indexes_) index.entries.emplace(KeyOf(index, row), rows_.size());
  rows_.push_back(std::move(row));
}

void MemoryTable::Replace(std::size_t number, MemoryRow row) {
  for (Index& index : indexes_) {
    index.entries.erase({KeyOf(index, rows_[number]), number});
    index.entries.emplace(KeyOf(index, row), number);
  }
  rows_[number] = std::move(row);
}

MemoryDatabase::MemoryDatabase(std::shared_ptr<MemoryDatabaseFile> file) : file_(std::move(file)) {
  ++file_->open_connections;
}

std::unique_ptr<core::RecordSet> MemoryDatabase::OpenTable(std::string_view name) {
  const auto found = FindNamed(file_->tables, name, [](const auto& entry) { return entry.first; });
  if (found == file_->tables.end()) throw Error(common::kObjectNotFound);
  if (found->second->before) found->second->before(Operation::OpenTable, name);
  return std::make_unique<MemoryRecordSet>(found->second, closed_);
}

void MemoryDatabase::RequireSound(std::string_view table) {
  if (!file_->fault.empty()) throw Error(common::kDamagedDatabase, file_->fault, std::string(table));
}

void MemoryDatabase::Checkpoint() {
  if (file_->before_checkpoint) file_->before_checkpoint();
  ++file_->checkpoints;
}

std::int64_t MemoryDatabase::Checkpoints() const { return file_->checkpoints; }

void MemoryDatabase::Close() {
  if (*closed_) return;
  Checkpoint();
  Abandon();
}

void MemoryDatabase::Abandon() {
  if (std::exchange(*closed_, true)) return;
  --file_->open_connections;
}

namespace {

std::string TableFileName(std::string_view directory, std::string_view table) {
  std::string name(common::Trim(directory));
  if (!name.ends_with('\\')) name += '\\';
  name = common::UpperCase(name.append(table));
  return name.ends_with(".DBF") ? name : name + ".DBF";
}

}  // namespace

void MemoryEngine::AddFoxProTable(std::string_view directory, std::string_view name,
                                  std::shared_ptr<MemoryTable> table) {
  fox_pro_tables_[TableFileName(directory, name)] = std::move(table);
}

MemoryDatabaseFile& MemoryEngine::AddDatabase(std::string_view file_name) {
  auto& file = databases_[common::UpperCase(file_name)];
  if (!file) file = std::make_shared<MemoryDatabaseFile>();
  return *file;
}

bool MemoryEngine::FileExists(std::string_view file_name) {
  const std::string name = common::UpperCase(common::Trim(file_name));
  return fox_pro_tables_.contains(name) || databases_.contains(name);
}

std::unique_ptr<core::RecordSet> MemoryEngine::OpenFoxProTable(std::string_view directory,
                                                               std::string_view table) {
  const auto found = fox_pro_tables_.find(TableFileName(directory, table));
  if (found == fox_pro_tables_.end() || !found->second) throw Error(common::kObjectNotFound);
  return found->second->Open();
}

std::shared_ptr<core::Database> MemoryEngine::OpenDatabase(std::string_view file_name) {
  if (before_open) before_open(file_name);
  const auto found = databases_.find(common::UpperCase(common::Trim(file_name)));
  if (found == databases_.end()) throw Error(common::kFileNotFound);
  return std::make_shared<MemoryDatabase>(found->second);
}

}  // namespace corvix::test
