// The table operations (core/record_set.h) over one table of a Jet file. A bookmark is the address of the
// record's slot, which stays as long as the record lives.
//
// Other record sets may change the table between two operations. Nothing that is remembered is trusted after
// a change: the row is read again, and the place in the index order is found again from the row's key.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/record_set.h"
#include "storage/jet/index/index_tree.h"
#include "storage/jet/jet_session.h"
#include "storage/jet/open_table.h"

namespace corvix::jet {

class JetRecordSet : public core::RecordSet {
 public:
  JetRecordSet(std::shared_ptr<JetSession> session, OpenTable& table);
  ~JetRecordSet() override;
  JetRecordSet(const JetRecordSet&) = delete;
  JetRecordSet& operator=(const JetRecordSet&) = delete;

  std::span<const core::Field> Fields() const override;
  std::optional<std::size_t> FindField(std::string_view name) const override;
  void SelectIndex(std::string_view name) override;
  void SeekEqual(std::string_view key) override;
  bool NoMatch() const override { return no_match_; }
  core::Bookmark GetBookmark() const override;
  void SetBookmark(core::Bookmark bookmark) override;
  void MoveFirst() override;
  void MoveNext() override;
  bool PastEnd() const override { return past_end_; }
  std::int32_t RecordCount() const override;
  void BeginAdd() override;
  void BeginEdit() override;
  void Store() override;
  bool HasRow() const override;
  core::Value Read(std::size_t field) const override;
  bool ReadText(std::size_t field, std::string& text) const override;
  void Write(std::size_t field, core::Value value) override;

  /// The database is closed: every operation fails from now on, with error 3420.
  void Disconnect();

 private:
  enum class Buffer { None, Adding, Editing };

  OpenTable& Table() const;
  void CheckField(std::size_t field) const;
  void CheckWritable();
  /// Whether a read of the field is answered by the buffer.
  bool IsBuffered(std::size_t field) const;
  const StoredRow* FindCurrentRow() const;
  const StoredRow& CurrentRow() const;
  void StandOn(std::optional<RowRef> row);
  bool FindPlaceInOrder();
  bool ScanForPlace();
  void BuildSeekKey(std::string_view text);

  std::shared_ptr<JetSession> session_;
  OpenTable* table_;  // null when the database is closed

  std::optional<RowRef> current_;
  bool past_end_ = false;
  bool no_match_ = false;

  std::size_t index_ = 0;  // the selected real index, when there is a cursor
  std::optional<IndexTree::Cursor> cursor_;
  std::uint64_t cursor_version_ = 0;  // of the table, when the cursor stood on the current record

  Buffer buffer_ = Buffer::None;
  std::vector<core::Value> values_;  // of the row being written
  ColumnSet assigned_;               // while editing: the fields whose values count

  mutable std::optional<StoredRow> row_;  // the current record, as long as the table is of row_version_
  mutable std::uint64_t row_version_ = 0;
  RowKeys::One key_;
};

}  // namespace corvix::jet
