#include "storage/jet/open_table.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <random>
#include <utility>

#include "common/error.h"
#include "core/text_form.h"
#include "storage/jet/definition/column_field.h"
#include "storage/jet/jet_file.h"

namespace corvix::jet {
namespace {

using common::Error;

core::Guid RandomGuid() {
  std::random_device random;
  core::Guid guid;
  for (std::uint8_t& byte : guid.bytes) byte = static_cast<std::uint8_t>(random());
  guid.bytes[6] = static_cast<std::uint8_t>((guid.bytes[6] & 0x0F) | 0x40);  // a random GUID,
  guid.bytes[8] = static_cast<std::uint8_t>((guid.bytes[8] & 0x3F) | 0x80);  // in the common layout
  return guid;
}

std::vector<core::Field> FieldsOf(const TableDefinition& table, const PropertyMap& properties) {
  std::vector<core::Field> fields;
  for (const Column& column : table.columns) {
    fields.push_back(FieldOf(column, properties.RulesOf(column.name)));
  }
  return fields;
}

}  // namespace

/// Puts the counters of the definition back unless the change is kept.
class OpenTable::CountersGuard {
 public:
  explicit CountersGuard(TableDefinition& table)
      : table_(table), row_count_(table.row_count), last_autonumber_(table.last_autonumber) {
    for (std::size_t i = 0; i < std::min(table.real_indexes.size(), unique_.size()); ++i) {
      unique_[i] = table.real_indexes[i].unique_entries;
    }
  }
  ~CountersGuard() {
    if (kept_) return;
    table_.row_count = row_count_;
    table_.last_autonumber = last_autonumber_;
    for (std::size_t i = 0; i < std::min(table_.real_indexes.size(), unique_.size()); ++i) {
      table_.real_indexes[i].unique_entries = unique_[i];
    }
  }
  CountersGuard(const CountersGuard&) = delete;
  CountersGuard& operator=(const CountersGuard&) = delete;
  void Keep() { kept_ = true; }

 private:
  TableDefinition& table_;
  std::uint32_t row_count_;
  std::uint32_t last_autonumber_;
  std::array<std::uint32_t, kMaxIndexes> unique_{};
  bool kept_ = false;
};

OpenTable::OpenTable(JetFile& file, const CatalogObject& object)
    : file_(file),
      object_(object),
      definition_(ReadTableDefinition(file.pager(), object.DefinitionPage())),
      rows_(file.pager(), file.allocator(), definition_),
      indexes_(file.pager(), file.allocator(), definition_, object.name),
      fields_(FieldsOf(definition_, file.catalog().ReadProperties(object))),
      names_(fields_) {
  const PropertyMap properties = file.catalog().ReadProperties(object);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    with_rules_[i] = fields_[i].required || !fields_[i].allow_zero_length;
  }
  for (const core::Field& field : fields_) {
    const std::string expression = properties.RulesOf(field.name).default_value;
    defaults_.push_back(expression.empty() || field.autonumber ? std::nullopt
                                                               : DefaultValue::Parse(expression, field));
  }
}

std::uint64_t OpenTable::version() const { return changes_ + file_.pager().undo_count(); }

Relations& OpenTable::relations() {
  if (!relations_) relations_.emplace(file_, *this);
  return *relations_;
}

const std::optional<std::string>& OpenTable::WriteObstacle() {
  if (obstacle_) return *obstacle_;
  std::optional<std::string> obstacle;
  if (object_.IsSystem()) {
    obstacle = fmt::format("Table '{}' is a system table and cannot be written", name());
  }
  for (std::size_t i = 0; i < indexes_.size() && !obstacle; ++i) obstacle = indexes_.Obstacle(i);
  if (!obstacle) obstacle = relations().obstacle();
  return obstacle_.emplace(std::move(obstacle));
}

void OpenTable::StartRow(std::vector<core::Value>& values) const {
  values.resize(fields_.size());
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (defaults_[i]) {
      values[i] = defaults_[i]->Get();
    } else if (fields_[i].type == core::FieldType::YesNo) {
      values[i] = false;
    } else {
      values[i] = core::Null{};
    }
  }
}

RowRef OpenTable::Insert(std::vector<core::Value>& values) {
  static const ColumnSet kAll = ColumnSet{}.set();
  Settle();
  CountersGuard counters(definition_);
  AssignAutonumbers(values);
  CheckFields(values, kAll);
  indexes_.BuildKeys(values, kAll, keys_);
  indexes_.CheckNew(keys_);
  relations().Check(values, nullptr);

  ++changes_;
  Savepoint savepoint(file_.pager());
  const RowRef row = rows_.Insert(values);
  if (MayWait()) {
    Open(row, true);
  } else {
    indexes_.Insert(keys_, row);
    WriteCounters(file_.pager(), definition_);
  }
  savepoint.Release();
  counters.Keep();
  return row;
}

void OpenTable::Update(RowRef row, std::span<const core::Value> values, ColumnSet changed) {
  CheckFields(values, changed);
  if (open_ && open_->place != row) Settle();
  {
    const auto stored = rows_.Find(row);
    if (!stored) throw Error(common::kRecordDeleted);
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (changed[i] && Holds(*stored, i, values[i])) changed.reset(i);
    }
  }
  if (changed.none()) return;  // the pages stay as they are
  if (!open_ && MayWait()) Open(row, false);
  if (open_ && TakeIntoOpenRow(values, changed)) return;
  Settle();
  UpdateAtOnce(row, values, changed);
}

/// Stores the row with all its entries.
void OpenTable::UpdateAtOnce(RowRef row, std::span<const core::Value> values, const ColumnSet& changed) {
  const ColumnSet watched = indexes_.columns() | relations().columns();
  const bool keys_change = (watched & changed).any();
  ReadBothVersions(row, values, changed, keys_change ? watched : ColumnSet{});
  if (keys_change) {
    indexes_.BuildKeys(old_values_, changed, old_keys_);
    indexes_.BuildKeys(new_values_, changed, keys_);
    indexes_.CheckNew(keys_, &old_keys_);
    relations().Check(new_values_, &old_values_);
  }

  ++changes_;
  CountersGuard counters(definition_);
  Savepoint savepoint(file_.pager());
  rows_.Update(row, values, changed);
  if (keys_change) {
    indexes_.Update(old_keys_, keys_, row);
    WriteCounters(file_.pager(), definition_);
  }
  savepoint.Release();
  counters.Keep();
}

/// True when the row, which is the open one if there is one, has the value already.
bool OpenTable::Holds(const StoredRow& row, std::size_t field, const core::Value& value) const {
  if (open_ && open_->unwritten[field]) return open_->values[field] == value;
  return rows_.Holds(row, field, value);
}

/// Sets old_values_ and new_values_ of the `columns`: as the row in its page has them, and as they are with
/// the `changed` values. 3167: the row is gone.
void OpenTable::ReadBothVersions(RowRef row, std::span<const core::Value> values, const ColumnSet& changed,
                                 const ColumnSet& columns) {
  const auto stored = rows_.Find(row);
  if (!stored) throw Error(common::kRecordDeleted);
  old_values_.resize(fields_.size());
  new_values_.resize(fields_.size());
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (!columns[i]) continue;
    old_values_[i] = rows_.Read(*stored, i);
    new_values_[i] = changed[i] ? values[i] : old_values_[i];
  }
}

// --- the open row ---------------------------------------------------------------------------------------

/// Where related tables may look, or room may end, nothing waits.
bool OpenTable::MayWait() {
  constexpr PageNumber kRoom = 4096;  // more pages than one row can take
  return relations().columns().none() && (file_.pager().page_count() + kRoom) < kMaxFileSize / kPageSize;
}

void OpenTable::Open(RowRef row, bool is_new) {
  const auto stored = rows_.Find(row);
  if (!stored) throw Error(common::kRecordDeleted);
  OpenRow open{.place = row, .is_new = is_new, .length_bound = stored->row.bytes().size()};
  open.values.resize(fields_.size());
  open.keys.indexes.resize(indexes_.size());
  open_ = std::move(open);
}

void OpenTable::ForgetOpenKeys() {
  for (RowKeys::One& one : open_->keys.indexes) one.built = false;
}

/// Checks what a store checks and lets the open row have the values. False when they must not wait.
bool OpenTable::TakeIntoOpenRow(std::span<const core::Value> values, const ColumnSet& changed) {
  std::size_t bound = open_->length_bound;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (!changed[i]) continue;
    const auto room = RoomFor(rows_, definition_.columns[i], values[i]);
    if (!room) return false;
    bound += *room;
  }
  if (bound > data_page::kMaxRow) return false;
  if ((indexes_.columns() & changed).any() && !CheckOpenKeys(values, changed)) return false;
  open_->length_bound = bound;
  open_->Assign(values, changed);
  if ((indexes_.columns() & changed).any()) ForgetOpenKeys();
  ++changes_;
  return true;
}

/// The checks of keys that would change. False when an old row would get another key in a unique index: its
/// old entry, still there, could be taken for that of another row.
bool OpenTable::CheckOpenKeys(std::span<const core::Value> values, const ColumnSet& changed) {
  const ColumnSet watched = indexes_.columns();
  ReadBothVersions(open_->place, open_->values, open_->unwritten, watched);  // new_values_: before this store
  std::swap(old_values_, new_values_);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (watched[i]) new_values_[i] = changed[i] ? values[i] : old_values_[i];
  }
  indexes_.BuildKeys(old_values_, changed, old_keys_);
  indexes_.BuildKeys(new_values_, changed, keys_);
  if (!open_->is_new && indexes_.ChangesUniqueKey(old_keys_, keys_)) return false;
  indexes_.CheckNew(keys_, &old_keys_);
  return true;
}

void OpenTable::Settle() {
  if (!open_) return;
  const ColumnSet& unwritten = open_->unwritten;
  if (!open_->is_new && unwritten.none()) return open_.reset();
  const ColumnSet watched = open_->is_new ? indexes_.columns() : indexes_.columns() & unwritten;
  if (watched.any()) ReadBothVersions(open_->place, open_->values, unwritten, indexes_.columns());

  ++changes_;
  CountersGuard counters(definition_);
  Savepoint savepoint(file_.pager());
  if (unwritten.any()) rows_.Update(open_->place, open_->values, unwritten);
  if (open_->is_new) {
    indexes_.BuildKeys(new_values_, ColumnSet{}.set(), keys_);
    indexes_.Insert(keys_, open_->place);
  } else if (watched.any()) {
    indexes_.BuildKeys(old_values_, unwritten, old_keys_);
    indexes_.BuildKeys(new_values_, unwritten, keys_);
    indexes_.Update(old_keys_, keys_, open_->place);
  }
  if (open_->is_new || watched.any()) WriteCounters(file_.pager(), definition_);
  savepoint.Release();
  counters.Keep();
  open_.reset();
}

IndexSet& OpenTable::indexes() {
  Settle();
  return indexes_;
}

std::optional<RowRef> OpenTable::FindOpenRow(std::size_t index, storage::ByteView key) {
  if (!open_ || !indexes_.IsUnique(index) || indexes_.parts(index).size() != 1) return std::nullopt;
  RowKeys::One& own = open_->keys.indexes[index];
  if (!own.built) {
    const ColumnSet column = ColumnSet{}.set(indexes_.parts(index).front().position);
    ReadBothVersions(open_->place, open_->values, open_->unwritten, column);
    indexes_.BuildKey(index, new_values_, own);
  }
  if (!std::ranges::equal(own.key, key)) return std::nullopt;
  return open_->place;
}

core::Value OpenTable::Read(RowRef place, const StoredRow& row, std::size_t field) const {
  if (open_ && open_->place == place && open_->unwritten[field]) return open_->values[field];
  return rows_.Read(row, field);
}

bool OpenTable::ReadText(RowRef place, const StoredRow& row, std::size_t field, std::string& text) const {
  if (!open_ || open_->place != place || !open_->unwritten[field]) return rows_.ReadText(row, field, text);
  text.clear();
  core::AppendText(text, open_->values[field]);
  return !core::IsNull(open_->values[field]);
}

void OpenTable::CheckFields(std::span<const core::Value> values, const ColumnSet& changed) const {
  const ColumnSet watched = changed & with_rules_;
  if (watched.none()) return;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (watched[i] && fields_[i].required && core::IsNull(values[i])) {
      throw Error(common::kFieldRequired,
                  fmt::format("Field '{}' of table '{}' must have a value", fields_[i].name, name()));
    }
  }
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const auto* text = watched[i] ? std::get_if<std::string>(&values[i]) : nullptr;
    if (text != nullptr && text->empty() && !fields_[i].allow_zero_length) {
      throw Error(
          common::kZeroLengthRefused,
          fmt::format("Field '{}' of table '{}' does not accept an empty text", fields_[i].name, name()));
    }
  }
}

void OpenTable::AssignAutonumbers(std::vector<core::Value>& values) {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (!fields_[i].autonumber) continue;
    if (fields_[i].type == core::FieldType::Guid) {
      values[i] = RandomGuid();
      continue;
    }
    const auto last = static_cast<std::int32_t>(definition_.last_autonumber);
    const std::int32_t highest = std::max(last, HighestNumber(i));
    if (highest == std::numeric_limits<std::int32_t>::max()) {
      throw Error(common::kOverflow,
                  fmt::format("Field '{}' of table '{}' has no number left for a new record", fields_[i].name,
                              name()));
    }
    values[i] = highest + 1;
    definition_.last_autonumber = static_cast<std::uint32_t>(highest + 1);
  }
}

/// The highest number in an autonumber column when the table was opened: the counter of the definition can be
/// below it, where another program assigned numbers.
std::int32_t OpenTable::HighestNumber(std::size_t field) {
  if (highest_number_) return *highest_number_;
  std::int32_t highest = 0;
  const auto see = [&](RowRef slot) {
    if (const auto row = rows_.Find(slot)) {
      const core::Value value = rows_.Read(*row, field);
      if (const auto* number = std::get_if<std::int32_t>(&value)) highest = std::max(highest, *number);
    }
  };
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    const IndexSet::Part& part = indexes_.parts(i).front();
    if (part.position != field) continue;
    IndexTree::Cursor cursor(indexes_.tree(i));
    if (part.ascending ? cursor.Last() : cursor.First()) see(cursor.row());
    return highest_number_.emplace(highest);
  }
  for (auto slot = rows_.First(); slot; slot = rows_.Next(*slot)) see(*slot);
  return highest_number_.emplace(highest);
}

}  // namespace corvix::jet
