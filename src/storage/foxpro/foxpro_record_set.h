// The table operations over a FoxPro table: read-only, hidden records never seen (foxpro_choices.h).
//
// A table is up to three files of one base name in a directory, found without regard to case: the table
// (.DBF), its production index (.CDX), and its memo file (.FPT, or .DBT for the tables of dBASE). An index
// that is missing, damaged or not this table's is replaced in memory when it is selected (table_index.h).
//
//   storage::PosixFileSystem files;
//   auto comps = foxpro::OpenFoxProTable(files, "/data/comps", "COMPS");
//   comps->SelectIndex("CENTRALKEY");
//   comps->SeekEqual("12 OAK ST");
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/field_names.h"
#include "core/record_set.h"
#include "storage/base/file.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/dbf_value.h"
#include "storage/foxpro/memo_file.h"
#include "storage/foxpro/table_files.h"
#include "storage/foxpro/table_index.h"
#include "storage/foxpro/tag_order.h"

namespace corvix::foxpro {

class FoxProRecordSet final : public core::RecordSet {
 public:
  /// 3011: no such table. 3176: its memo file is missing. 3343, 3049: not a table, a damaged one.
  /// `choices`, which may be null, outlives the object.
  FoxProRecordSet(storage::FileSystem& files, const std::filesystem::path& directory, std::string_view table,
                  IndexChoices* choices = nullptr);

  std::span<const core::Field> Fields() const override { return fields_; }
  std::optional<std::size_t> FindField(std::string_view name) const override;

  void SelectIndex(std::string_view name) override;
  void SeekEqual(std::string_view key) override;
  bool NoMatch() const override { return no_match_; }

  core::Bookmark GetBookmark() const override;
  void SetBookmark(core::Bookmark bookmark) override;
  void MoveFirst() override;
  void MoveNext() override;
  bool PastEnd() const override { return past_end_; }
  /// The records that are not hidden.
  std::int32_t RecordCount() const override;

  // The table cannot be written: 3027 for BeginAdd and BeginEdit, so that nothing is ever being written.
  void BeginAdd() override;
  void BeginEdit() override;
  void Store() override;
  void Write(std::size_t field, core::Value value) override;

  bool HasRow() const override { return current_ != 0; }
  core::Value Read(std::size_t field) const override;
  bool ReadText(std::size_t field, std::string& text) const override;
  std::optional<std::string> UnreadableText(std::size_t field) const override;
  std::string InCapitals(std::string_view key) const override { return page_.UpperCase(key); }

  /// Number of the current record in the file, from 1; 0 when there is none.
  std::int64_t RecordNumber() const override { return current_; }
  std::string RebuiltIndex() const override { return order_ ? order_->rebuilt() : std::string(); }
  /// The tags of the production index; none without a readable one.
  std::span<const Tag> Tags() const { return index_.Tags(); }

 private:
  void RequireRow() const;
  const DbfField& RequireField(std::size_t field) const;
  bool IsShown(std::uint32_t record) const;
  /// Makes the record of the order's entry current, or the first one behind it that is shown.
  void SettleInOrder(bool has_entry);
  void SettleInFile(std::uint32_t record);
  void StandOn(std::uint32_t record);
  void GoPastEnd();
  [[noreturn]] void ThrowReadOnly() const;
  std::string RecordPlace(const DbfField& field) const;

  TableFiles paths_;
  TableIndex index_;
  mutable DbfFile table_;
  storage::CodePage page_;
  std::vector<core::Field> fields_;
  core::FieldNames names_;
  mutable std::optional<MemoFile> memo_;
  FieldReader reader_;

  std::vector<std::unique_ptr<TagOrder>> opened_orders_;  // of every tag selected so far
  TagOrder* order_ = nullptr;                             // the selected one
  bool order_is_current_ = false;  // the order stands on the entry of the current record
  std::uint32_t current_ = 0;      // record number; 0 for none
  bool past_end_ = false;
  bool is_empty_ = false;  // no record is shown
  bool no_match_ = false;
  std::vector<std::byte> record_;  // the current record
  mutable std::optional<std::int32_t> record_count_;
};

/// Opens a table of a directory, its name with or without the extension, no index selected. `choices`, which
/// may be null, outlives the record set.
std::unique_ptr<core::RecordSet> OpenFoxProTable(storage::FileSystem& files,
                                                 const std::filesystem::path& directory,
                                                 std::string_view table, IndexChoices* choices = nullptr);

}  // namespace corvix::foxpro
