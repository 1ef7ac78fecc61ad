// Tables without files: the table operations over rows in memory, so that connections, lookups, merges and
// whole conversions can be tested without an engine. The record sets keep every rule of core/record_set.h;
// errors can be put in front of any operation.
//
//   auto comps = std::make_shared<MemoryTable>(std::vector<core::Field>{{.name = "CENTRALKEY", .size = 8}},
//                                              std::vector<MemoryIndex>{{.name = "CENTRALKEY"}});
//   comps->AddRow({"A1"});
//   comps->before = FailNth(Operation::Store, 2, common::kDiskFull);
//   MemoryEngine engine;
//   engine.AddDatabase("C:\\DATA\\FOLVANE.MDB").tables["COMPS"] = comps;
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/error.h"
#include "core/engine.h"
#include "core/record_set.h"

namespace corvix::test {

enum class KeyOrder {
  AccessText,  ///< without regard to case and to trailing blanks; Null before every text, never found
  FoxProTag,   ///< bytes padded with blanks to the field's width; Null is the blank key
};

/// An index over one text field; the field's name is the index's name unless it is given.
struct MemoryIndex {
  std::string name;
  std::string field;
  KeyOrder order = KeyOrder::AccessText;
  bool unique = false;
  bool required = false;  ///< refuses Null (3058)
};

enum class Operation {
  OpenTable,
  SelectIndex,
  SeekEqual,
  NoMatch,
  GetBookmark,
  SetBookmark,
  MoveFirst,
  MoveNext,
  PastEnd,
  RecordCount,
  BeginAdd,
  BeginEdit,
  Store,
  Read,
  Write,
};

/// Called in front of each operation; `detail` is the index, key or field of the operation, if it has one.
/// What it throws leaves the operation undone.
using OperationHook = std::function<void(Operation operation, std::string_view detail)>;

/// A hook that fails the n-th call (from 1) of one operation, and no other.
OperationHook FailNth(Operation operation, int n, common::ErrorNumber number);

using MemoryRow = std::vector<core::Value>;

/// The table that record sets share. Rows are never removed; a row's number is its place in file order.
class MemoryTable : public std::enable_shared_from_this<MemoryTable> {
 public:
  explicit MemoryTable(std::vector<core::Field> fields, std::vector<MemoryIndex> indexes = {});

  /// A further row, values by position; missing ones are Null. Neither converted nor checked.
  void AddRow(MemoryRow values);
  const std::vector<MemoryRow>& Rows() const { return rows_; }
  /// The value of a named field, as text; the empty text for Null.
  std::string Text(std::size_t row, std::string_view field) const;
  /// A record set of its own over this table.
  std::unique_ptr<core::RecordSet> Open();

  OperationHook before;
  MemoryRow defaults;  ///< values of a new row, by position
  std::string rebuilt_index;
  std::map<std::pair<std::size_t, std::string>, std::string> unreadable;  ///< by row and field
  bool read_only = false;

 private:
  friend class MemoryRecordSet;
  using Entry = std::pair<std::optional<std::string>, std::size_t>;  // key and row
  struct Index {
    MemoryIndex definition;
    std::size_t field;
    std::set<Entry> entries;
  };

  std::optional<std::size_t> FindField(std::string_view name) const;
  std::optional<std::string> KeyOf(const Index& index, const MemoryRow& row) const;
  std::string KeyOfText(const Index& index, std::string_view text) const;
  /// Throws 3314, 3058 or 3022 unless the row can take the place of `replaced`, or be added.
  void CheckRow(const MemoryRow& row, std::optional<std::size_t> replaced) const;
  void Insert(MemoryRow row);
  void Replace(std::size_t number, MemoryRow row);

  std::vector<core::Field> fields_;
  std::vector<Index> indexes_;
  std::vector<MemoryRow> rows_;
  std::int32_t next_autonumber_ = 1;
};

/// What a database file holds; tables by name.
struct MemoryDatabaseFile {
  std::map<std::string, std::shared_ptr<MemoryTable>> tables;
  int checkpoints = 0;
  std::function<void()> before_checkpoint;  ///< what it throws fails the checkpoint
  std::string fault;                        ///< found before a run's first write
  int open_connections = 0;
};

/// One connection to a database file.
class MemoryDatabase : public core::Database {
 public:
  explicit MemoryDatabase(std::shared_ptr<MemoryDatabaseFile> file);
  std::unique_ptr<core::RecordSet> OpenTable(std::string_view name) override;
  void RequireSound(std::string_view table) override;
  void Checkpoint() override;
  std::int64_t Checkpoints() const override;
  void Close() override;
  void Abandon() override;

 private:
  std::shared_ptr<MemoryDatabaseFile> file_;
  std::shared_ptr<bool> closed_ = std::make_shared<bool>(false);
};

/// Files by their full backslash names, without regard to case.
class MemoryEngine : public core::TableEngine {
 public:
  /// The file NAME.DBF of a directory; without a table it exists and cannot be opened (3011).
  void AddFoxProTable(std::string_view directory, std::string_view name, std::shared_ptr<MemoryTable> table);
  MemoryDatabaseFile& AddDatabase(std::string_view file_name);

  bool FileExists(std::string_view file_name) override;
  std::unique_ptr<core::RecordSet> OpenFoxProTable(std::string_view directory,
                                                   std::string_view table) override;
  std::shared_ptr<core::Database> OpenDatabase(std::string_view file_name) override;

  /// Called with the file's name before a database is opened.
  std::function<void(std::string_view)> before_open;

 private:
  std::map<std::string, std::shared_ptr<MemoryTable>> fox_pro_tables_;
  std::map<std::string, std::shared_ptr<MemoryDatabaseFile>> databases_;
};

}  // namespace corvix::test
