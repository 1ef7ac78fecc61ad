// The B-tree of one index. Entries are a key and the address of a row slot, in the unsigned byte order of the
// key, then page, then row. The root's page number never changes.
//
// A Cursor stands on an entry and survives changes of the tree: it remembers its entry and finds its place
// again. Failures: 3049 for a damaged tree (the place names file and page); walks and descents are bounded,
// so a cycle is damage, not a hang.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "storage/base/bytes.h"
#include "storage/jet/index_key.h"
#include "storage/jet/index_pages.h"
#include "storage/jet/jet_format.h"
#include "storage/jet/pager.h"

namespace corvix::jet {

class IndexTree {
 public:
  /// `pages` may be null for reading only. `table` is the definition page that new index pages name as owner.
  IndexTree(Pager& pager, PageNumber root, PageNumber table, IndexPages* pages);

  /// Inserts an entry; false when exactly this entry is there already.
  bool Insert(storage::ByteView key, RowRef row);
  /// Removes an entry; false when it is not there.
  bool Erase(storage::ByteView key, RowRef row);
  /// Row of the first entry with exactly this key.
  std::optional<RowRef> Find(storage::ByteView key);

  class Cursor {
   public:
    explicit Cursor(IndexTree& tree);
    /// Each returns false when there is no such entry; the cursor is then off the tree.
    bool First();
    bool Last();
    /// The first entry whose key is not below `key`.
    bool LowerBound(storage::ByteView key);
    /// Exactly this entry, or the first one above it.
    bool LowerBound(storage::ByteView key, RowRef row);
    bool Next();
    bool Previous();

    bool valid() const { return valid_; }
    storage::ByteView key() const;
    RowRef row() const { return row_; }

   private:
    bool Load(PageNumber leaf, std::size_t slot);
    IndexTree* tree_;
    Key key_;
    RowRef row_;
    PageNumber leaf_ = 0;
    std::size_t slot_ = 0;
    std::uint64_t version_ = 0;
    bool valid_ = false;
  };

 private:
  friend class Cursor;
  Pager& pager_;
  PageNumber root_;
  PageNumber table_;
  IndexPages* pages_;
  std::uint64_t version_ = 0;  // changes with every change of the tree
};

}  // namespace corvix::jet
