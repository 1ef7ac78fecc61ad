// All indexes of one table, kept exact while rows come, change and go.
//
// A change happens in two steps, so that a row that breaks a rule changes nothing: keys are built and checked
// against every index first, then the row and all entries are written.
//
//   RowKeys keys;
//   indexes.BuildKeys(values, ColumnSet{}.set(), keys);
//   indexes.CheckNew(keys);                      // 3058, 3022
//   const RowRef row = rows.Insert(values);
//   indexes.Insert(keys, row);
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/value.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/index_key.h"
#include "storage/jet/index/index_tree.h"
#include "storage/jet/pages/usage_map.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {

/// The keys of one row, by real index.
struct RowKeys {
  struct One {
    Key key;
    bool built = false;    ///< the index has a column among those that the keys were built for
    bool present = false;  ///< the row has an entry; not so in an ignore-nulls index when all is null
    bool any_null = false;
    bool all_null = false;
  };
  std::vector<One> indexes;
};

class IndexSet {
 public:
  /// `table`, whose unique entry counts change with the entries, must outlive this. `table_name` is for
  /// messages. 3049 when an index names a column that the table does not have.
  IndexSet(Pager& pager, PageAllocator& allocator, TableDefinition& table, std::string table_name);

  std::size_t size() const { return indexes_.size(); }
  IndexTree& tree(std::size_t index) { return *indexes_[index].tree; }
  /// Name for messages: that of a logical index that the real one serves.
  std::string_view name(std::size_t index) const { return indexes_[index].name; }

  struct Part {
    const Column* column;
    std::size_t position;  ///< of the column in TableDefinition::columns, and of its value among a row's
    bool ascending;
  };
  std::span<const Part> parts(std::size_t index) const { return indexes_[index].parts; }

  /// Why keys of this index cannot be computed, as a sentence; none when they can.
  const std::optional<std::string>& Obstacle(std::size_t index) const { return indexes_[index].obstacle; }
  bool IsUnique(std::size_t index) const { return indexes_[index].unique; }
  /// The columns that stand in any index.
  const ColumnSet& columns() const { return columns_; }

  /// Keys in the indexes over any of the `changed` columns; `values` by position.
  void BuildKeys(std::span<const core::Value> values, const ColumnSet& changed, RowKeys& keys) const;
  void BuildKey(std::size_t index, std::span<const core::Value> values, RowKeys::One& key) const;

  /// True when a row's keys differ in a unique index; both built for the same columns.
  bool ChangesUniqueKey(const RowKeys& old, const RowKeys& keys) const;

  /// 3058: Null where the index demands a value. 3022: the key is in a unique index already. 3250: the key is
  /// too long. Keys equal to those of `old` are left out.
  void CheckNew(const RowKeys& keys, const RowKeys* old = nullptr);

  void Insert(const RowKeys& keys, RowRef row);
  /// Replaces the entries of a row whose keys differ. 3049 when an old entry is missing.
  void Update(const RowKeys& old, const RowKeys& keys, RowRef row);
  void Erase(const RowKeys& keys, RowRef row);

 private:
  struct Index {
    std::string name;
    std::vector<Part> parts;
    bool unique = false;
    bool required = false;
    bool ignores_nulls = false;
    std::optional<std::string> obstacle;
    std::unique_ptr<MappedIndexPages> pages;
    std::unique_ptr<IndexTree> tree;
  };

  Index Describe(std::size_t index) const;
  void InsertOne(std::size_t index, const RowKeys::One& key, RowRef row);
  void EraseOne(std::size_t index, const RowKeys::One& key, RowRef row);

  Pager& pager_;
  TableDefinition& table_;
  std::string table_name_;
  std::vector<Index> indexes_;
  ColumnSet columns_;
};

}  // namespace corvix::jet
