// The enforced relationships of one table. A row that refers needs the row that it refers to; the key of a
// row that is referred to stays as it is. Changes are not passed on to other tables: where a relationship
// would cascade them, they are refused.
//
// A referring row with Null in any column of the relationship refers to nothing.
//
// docs/formats/jet4.md, "Relationships".
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/value.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/index/index_key.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet {

class JetFile;
class OpenTable;

class Relations {
 public:
  /// Opens the tables on the other sides. `table` must outlive this.
  Relations(JetFile& file, OpenTable& table);

  /// Why the relationships cannot be watched over, as a sentence; none when they can.
  const std::optional<std::string>& obstacle() const { return obstacle_; }
  /// The columns of the table that take part.
  const ColumnSet& columns() const { return columns_; }

  /// A row that is to be stored. `old` are its values before; none for a new row. Only the columns of
  /// columns() are looked at. 3201: it refers to a row that is not there. 3200: it is referred to and would
  /// change its key.
  void Check(std::span<const core::Value> values, const std::vector<core::Value>* old);

 private:
  struct Relation {
    std::string name;
    OpenTable* other = nullptr;
    bool refers = false;                 // else the table is the one that is referred to
    std::size_t index = 0;               // of the other table, over its columns of the relationship
    std::vector<std::size_t> positions;  // of the table's columns, in the order of that index
  };

  void Add(JetFile& file, const Relationship& relationship, bool refers);
  bool BuildKey(const Relation& relation, std::span<const core::Value> values, Key& key) const;
  bool RefersToItself(const Relation& relation, std::span<const core::Value> values) const;

  OpenTable& table_;
  std::vector<Relation> relations_;
  ColumnSet columns_;
  std::optional<std::string> obstacle_;
  Key key_;
  Key other_key_;
};

}  // namespace corvix::jet
