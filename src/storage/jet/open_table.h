// One table of an open file: its definition, fields, rows and indexes, and the storing of a row with all its
// rules. All record sets over the table share one OpenTable.
//
// Storing a row tests, in this order and before anything is written: values where they are required (3314),
// empty texts (3315), Null in keys (3058), keys in unique indexes (3022), relationships (3201, 3200). Then
// row, index entries and counters are written under one savepoint; of the row that was stored last, writing
// waits until somebody else may look (open_row.h).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/field.h"
#include "core/field_names.h"
#include "core/value.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/default_value.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/index_set.h"
#include "storage/jet/open_row.h"
#include "storage/jet/relations.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {

class JetFile;

class OpenTable {
 public:
  /// `file` and `object` must outlive this.
  OpenTable(JetFile& file, const CatalogObject& object);
  OpenTable(const OpenTable&) = delete;
  OpenTable& operator=(const OpenTable&) = delete;

  const std::string& name() const { return object_.name; }
  const TableDefinition& definition() const { return definition_; }
  std::span<const core::Field> fields() const { return fields_; }
  const core::FieldNames& field_names() const { return names_; }
  /// Which rows there are, and where. Values of the open row are not all there: they are read by Read.
  const TableRows& rows() const { return rows_; }
  /// Value of a field of a row that rows() found; text form as RecordSet::ReadText.
  core::Value Read(RowRef place, const StoredRow& row, std::size_t field) const;
  bool ReadText(RowRef place, const StoredRow& row, std::size_t field, std::string& text) const;

  /// How indexes are made up; their trees are not to be touched through this.
  const IndexSet& index_parts() const { return indexes_; }
  /// The indexes, exact: settles the open row.
  IndexSet& indexes();
  /// The open row, when this is its key in a unique index of one column.
  std::optional<RowRef> FindOpenRow(std::size_t index, storage::ByteView key);
  /// Writes what is left to be written of the open row. Device errors; the row then stays open.
  void Settle();

  /// Changes whenever the rows may have changed.
  std::uint64_t version() const;

  /// Why rows cannot be written, as a sentence; none when they can.
  const std::optional<std::string>& WriteObstacle();

  /// The table was found sound in this opening; it stays so, since nobody else writes meanwhile.
  bool is_known_sound() const { return is_known_sound_; }
  void KnowSound() { is_known_sound_ = true; }

  /// Values of a new row before anything is assigned: defaults, false, Null.
  void StartRow(std::vector<core::Value>& values) const;
  /// Stores a new row; autonumbers are filled in. The errors above, and 3047.
  RowRef Insert(std::vector<core::Value>& values);
  /// Stores the `changed` columns of a row. The errors above, 3047, and 3167.
  void Update(RowRef row, std::span<const core::Value> values, ColumnSet changed);

 private:
  class CountersGuard;

  Relations& relations();
  void UpdateAtOnce(RowRef row, std::span<const core::Value> values, const ColumnSet& changed);
  void ReadBothVersions(RowRef row, std::span<const core::Value> values, const ColumnSet& changed,
                        const ColumnSet& columns);
  bool Holds(const StoredRow& row, std::size_t field, const core::Value& value) const;
  bool MayWait();
  void Open(RowRef row, bool is_new);
  bool TakeIntoOpenRow(std::span<const core::Value> values, const ColumnSet& changed);
  void ForgetOpenKeys();
  bool CheckOpenKeys(std::span<const core::Value> values, const ColumnSet& changed);
  void CheckFields(std::span<const core::Value> values, const ColumnSet& changed) const;
  void AssignAutonumbers(std::vector<core::Value>& values);
  std::int32_t HighestNumber(std::size_t field);

  JetFile& file_;
  const CatalogObject& object_;
  TableDefinition definition_;
  TableRows rows_;
  IndexSet indexes_;
  std::vector<core::Field> fields_;
  core::FieldNames names_;
  ColumnSet with_rules_;  // required, or refusing the empty text
  std::vector<std::optional<DefaultValue>> defaults_;
  std::optional<Relations> relations_;
  std::optional<std::optional<std::string>> obstacle_;
  std::optional<std::int32_t> highest_number_;  // in the autonumber column
  std::uint64_t changes_ = 0;
  bool is_known_sound_ = false;
  std::optional<OpenRow> open_;

  // The row being stored; of old_values_ and new_values_ only the columns that were asked for count.
  RowKeys keys_;
  RowKeys old_keys_;
  std::vector<core::Value> old_values_;
  std::vector<core::Value> new_values_;
};

}  // namespace corvix::jet
