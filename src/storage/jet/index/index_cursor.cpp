// Reading an index tree: descents, and cursors that walk over its leaves.
#include <algorithm>
#include <string>

#include "storage/jet/index/index_tree.h"

namespace corvix::jet {

using storage::ByteView;

IndexTree::Loaded IndexTree::Read(PageNumber page) const {
  PageView view = pager_.Read(page);
  const IndexPage index_page(view);
  if (index_page.table() != table_) {
    ThrowDamaged(view.place(), "The index page belongs to the table of page " +
                                   std::to_string(index_page.table()) + ", expected " +
                                   std::to_string(table_));
  }
  return {std::move(view), index_page};
}

PageNumber IndexTree::ChildAt(const IndexPage& node, EntrySpan entry) const {
  if (!node.IsEnd(entry)) return node.Child(entry);
  if (node.tail() != 0) return node.tail();
  // Some writers list the last child instead of making it the tail.
  if (!node.IsEmpty()) return node.Child(node.Last());
  ThrowDamaged(node.place(), "The index node has no child");
}

void IndexTree::ThrowTooDeep(PageNumber page) const {
  ThrowDamaged(Place{&pager_.path(), page, {}}, "The index tree of root page " + std::to_string(root_) +
                                                    " goes in a circle or is deeper than any real one");
}

IndexTree::Loaded IndexTree::LeafFor(ByteView target) const {
  PageNumber page = root_;
  for (std::size_t depth = 0; depth < kMaxDepth; ++depth) {
    Loaded loaded = Read(page);
    if (loaded.page.IsLeaf()) return loaded;
    page = ChildAt(loaded.page, loaded.page.LowerBound(target));
  }
  ThrowTooDeep(page);
}

IndexTree::Loaded IndexTree::EndLeaf(bool first) const {
  PageNumber page = root_;
  for (std::size_t depth = 0; depth < kMaxDepth; ++depth) {
    Loaded loaded = Read(page);
    if (loaded.page.IsLeaf()) return loaded;
    page = ChildAt(loaded.page, first ? loaded.page.First() : loaded.page.End());
  }
  ThrowTooDeep(page);
}

std::optional<RowRef> IndexTree::Find(ByteView key) {
  std::optional<RowRef> row;
  // Only keys of empty binary values begin longer keys, so this rarely goes round twice.
  for (bool found = finder_.LowerBound(key); found; found = finder_.Next()) {
    const ByteView candidate = finder_.key();
    if (candidate.size() < key.size() || !std::ranges::equal(candidate.first(key.size()), key)) break;
    if (candidate.size() > key.size()) continue;
    row = finder_.row();
    break;
  }
  finger_ = finder_.valid() ? Step{finder_.leaf_, finder_.span_} : Step{};
  finger_version_ = version();
  return row;
}

bool IndexTree::Cursor::PlaceIsKnown() const { return version_ == tree_->version(); }

bool IndexTree::Cursor::StandOn(const IndexPage& page, EntrySpan span, Order order, ByteView bound) {
  if (order != Order::Any) {
    const int compared = page.Compare(span, bound);
    if (order == Order::Below ? compared >= 0 : order == Order::Above ? compared <= 0 : compared < 0) {
      ThrowDamaged(page.place(), "The entries of the index are not in ascending order");
    }
  }
  page.Get(span, entry_);
  leaf_ = page.place().page;
  span_ = span;
  version_ = tree_->version();
  valid_ = true;
  return true;
}

bool IndexTree::Cursor::Enter(PageNumber leaf, bool forwards, Order order, ByteView bound) {
  for (PageNumber budget = tree_->pager_.page_count(); leaf != 0; --budget) {
    const Loaded loaded = tree_->Read(leaf);
    const IndexPage& page = loaded.page;
    if (!page.IsLeaf()) ThrowDamaged(page.place(), "An index leaf is linked to an index node");
    if (!page.IsEmpty()) return StandOn(page, forwards ? page.First() : page.Last(), order, bound);
    if (budget == 0) ThrowDamaged(page.place(), "The leaves of the index are linked in a circle");
    leaf = forwards ? page.next() : page.previous();
  }
  valid_ = false;
  return false;
}

bool IndexTree::Cursor::Seek(ByteView target) {
  valid_ = false;
  const Loaded loaded = tree_->LeafFor(target);
  const EntrySpan span = loaded.page.LowerBound(target);
  if (!loaded.page.IsEnd(span)) return StandOn(loaded.page, span, Order::NotBelow, target);
  return Enter(loaded.page.next(), true, Order::NotBelow, target);
}

bool IndexTree::Cursor::First() {
  valid_ = false;
  return Enter(tree_->EndLeaf(true).page.place().page, true, Order::Any, {});
}

bool IndexTree::Cursor::Last() {
  valid_ = false;
  return Enter(tree_->EndLeaf(false).page.place().page, false, Order::Any, {});
}

bool IndexTree::Cursor::LowerBound(ByteView key) { return Seek(key); }

bool IndexTree::Cursor::LowerBound(ByteView key, RowRef row) {
  target_.assign(key.begin(), key.end());
  AppendRow(target_, row);
  return Seek(target_);
}

bool IndexTree::Cursor::Next() {
  if (!valid_) return false;
  if (!PlaceIsKnown()) {
    target_ = entry_;
    if (!Seek(target_)) return false;
    if (entry_ != target_) return true;  // the entry that the cursor stood on is gone
  }
  const Loaded loaded = tree_->Read(leaf_);
  const EntrySpan span = loaded.page.After(span_);
  if (!loaded.page.IsEnd(span)) return StandOn(loaded.page, span, Order::Above, entry_);
  return Enter(loaded.page.next(), true, Order::Above, entry_);
}

bool IndexTree::Cursor::Previous() {
  if (!valid_) return false;
  if (!PlaceIsKnown()) {
    target_ = entry_;
    if (!Seek(target_)) return Last();
  }
  const Loaded loaded = tree_->Read(leaf_);
  if (span_ != loaded.page.First()) {
    return StandOn(loaded.page, loaded.page.Before(span_), Order::Below, entry_);
  }
  return Enter(loaded.page.previous(), false, Order::Below, entry_);
}

}  // namespace corvix::jet
