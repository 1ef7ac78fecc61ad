// The B-tree of one index. Entries are a key and the address of a row slot, in the unsigned byte order of the
// key, then page, then row (index_page.h). The root's page number never changes: a root that is full moves
// its content to a new page and becomes a node above it.
//
//   Invariants (T1-T3 are demanded of files that are read, the others are kept):
//   T1  Entries ascend strictly, within a page and from leaf to leaf.
//   T2  Everything below child i of a node is <= the node's entry i and > its entry i-1; everything below
//       the tail child is above the last entry. The trees that we write have the last entry below the child
//       as its bound.
//   T3  Every page names the table's definition page as its owner.
//   T4  All leaves are linked in order through previous and next, and so are the nodes below one parent.
//   T5  No leaf but the root is empty.
//   T6  Entries that arrive in ascending (or descending) order at an end of the tree leave full pages behind.
//
// A Cursor stands on an entry and survives changes of the tree: it remembers its entry and finds its place
// again. All cursors and changes of an index go through one IndexTree object.
//
// Failures: 3049 for a damaged tree (the place names file and page). Descents are bounded, and walks check
// that entries ascend, so a cycle is damage, not a hang. A change that fails halfway is undone by the
// caller's Savepoint.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/index/index_key.h"
#include "storage/jet/index/index_page.h"
#include "storage/jet/pages/index_pages.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

class IndexTree {
 public:
  /// The longest key that can be inserted.
  static constexpr std::size_t kMaxKey = kMaxEntry - kEntryRowLength - kEntryChildLength;

  /// `pages` may be null for reading only. `table` is the definition page that the index pages name as owner.
  IndexTree(Pager& pager, PageNumber root, PageNumber table, IndexPages* pages);
  IndexTree(const IndexTree&) = delete;
  IndexTree& operator=(const IndexTree&) = delete;

  /// Inserts an entry; false when exactly this entry is there already. 3250 beyond kMaxKey.
  bool Insert(storage::ByteView key, RowRef row);
  /// Removes an entry; false when it is not there.
  bool Erase(storage::ByteView key, RowRef row);
  /// Row of the first entry with exactly this key.
  std::optional<RowRef> Find(storage::ByteView key);
  /// Changes whenever the entries may have changed.
  std::uint64_t version() const { return version_ + pager_.undo_count(); }

  class Cursor {
   public:
    explicit Cursor(IndexTree& tree) : tree_(&tree) {}
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
    storage::ByteView key() const { return storage::ByteView(entry_).first(entry_.size() - kEntryRowLength); }
    RowRef row() const { return RowOfEntry(entry_); }

   private:
    friend class IndexTree;
    enum class Order { Any, NotBelow, Above, Below };  // of an entry against a bound

    bool Seek(storage::ByteView target);
    bool Enter(PageNumber leaf, bool forwards, Order order, storage::ByteView bound);
    bool StandOn(const IndexPage& page, EntrySpan span, Order order, storage::ByteView bound);
    bool PlaceIsKnown() const;

    IndexTree* tree_;
    Key entry_;  // key and row of the entry that the cursor stands on
    Key target_;
    PageNumber leaf_ = 0;
    EntrySpan span_;
    std::uint64_t version_ = 0;  // of the tree, when leaf_ and span_ were right
    bool valid_ = false;
  };

 private:
  /// No tree that fits in a file is deeper.
  static constexpr std::size_t kMaxDepth = 40;

  struct Step {
    PageNumber page = 0;
    EntrySpan entry;  // nodes: the entry whose child comes next, the end for the tail child
  };
  struct Loaded {
    PageView view;
    IndexPage page;
  };
  /// A change in hand: the entry that comes or goes, and the way to its leaf.
  struct Change {
    Change(storage::ByteView key, RowRef row);

    std::size_t depth() const { return path.size() - 1; }  // of the leaf

    Key entry;
    std::vector<Step> path;  // from the root to a leaf, once the tree was descended
  };

  Loaded Read(PageNumber page) const;
  PageNumber ChildAt(const IndexPage& node, EntrySpan entry) const;
  Loaded LeafFor(storage::ByteView target) const;
  Loaded EndLeaf(bool first) const;
  [[noreturn]] void ThrowTooDeep(PageNumber page) const;

  void Descend(Change& change);
  bool CompleteNode(const IndexPage& page);
  bool AppendToLastLeaf(const Change& change);
  bool InsertAtFinger(const Change& change);
  void RememberLastLeaf(PageNumber page);
  PageEdit NewPage(PageType type);
  void SplitLeaf(Change& change, const EntryList& all);
  Key SplitNode(const Change& change, std::size_t depth, const EntryList& all);
  void PartChildren(PageNumber left, PageNumber right);
  void AddToParent(Change& change, std::size_t depth, Key separator, PageNumber new_tail);
  void PushDownRoot(Change& change);
  void LinkLeftOf(const PageEdit& fresh, const PageEdit& old);
  std::optional<PageEdit> EditNeighbour(PageNumber page, bool leaf, bool left, PageNumber of);
  void SetBound(Change& change, std::size_t depth);
  void RemovePage(Change& change, std::size_t depth);
  void Unlink(PageNumber page);
  void CollapseRoot();

  Pager& pager_;
  PageNumber root_;
  PageNumber table_;
  IndexPages* pages_;
  std::uint64_t version_ = 0;  // counts the changes
  Cursor finder_{*this};
  Step finger_;                       // the leaf that Find ended in, the place there,
  std::uint64_t finger_version_ = 0;  // and version() then
  PageNumber last_leaf_ = 0;          // the rightmost leaf, where known,
  std::uint64_t last_leaf_undo_ = 0;  // and the pager's undo count when it was
};

}  // namespace corvix::jet
