// Changing an index tree.
#include "storage/jet/index/index_tree.h"

#include <algorithm>
#include <limits>
#include <string>

#include "common/error.h"

namespace corvix::jet {

using storage::ByteView;

IndexTree::IndexTree(Pager& pager, PageNumber root, PageNumber table, IndexPages* pages)
    : pager_(pager), root_(root), table_(table), pages_(pages) {}

bool IndexTree::Insert(ByteView key, RowRef row) {
  if (key.size() > kMaxKey) {
    throw common::Error(common::kCannotBuildKey, "An index key of " + std::to_string(key.size()) +
                                                     " bytes is longer than an index can hold (" +
                                                     std::to_string(kMaxKey) + "); shorten the text");
  }
  entry_.assign(key.begin(), key.end());
  AppendRow(entry_, row);
  if (InsertAtFinger() || AppendToLastLeaf()) return true;

  Descend(entry_);
  const Step step = path_[depth_];
  const Loaded loaded = Read(step.page);
  if (!loaded.page.IsEnd(step.entry) && loaded.page.Compare(step.entry, entry_) == 0) return false;
  const PageEdit edit = pager_.Edit(step.page);
  IndexPageEdit leaf(edit);
  ++version_;
  if (!leaf.Insert(step.entry, entry_, list_)) {
    SplitLeaf();
  } else if (leaf.next() == 0) {
    RememberLastLeaf(step.page);
  }
  return true;
}

/// An entry between two entries of a leaf belongs into that leaf; so one whose key was just sought needs no
/// second descent.
bool IndexTree::InsertAtFinger() {
  if (finger_ == 0 || finger_version_ != version()) return false;
  EntrySpan place;
  {
    const Loaded loaded = Read(finger_);
    const IndexPage& page = loaded.page;
    place = page.LowerBound(entry_);
    if (page.IsEnd(place) || place == page.First() || page.Compare(place, entry_) == 0) return false;
  }
  const PageEdit edit = pager_.Edit(finger_);
  if (!IndexPageEdit(edit).Insert(place, entry_, list_)) return false;
  ++version_;
  return true;
}

/// Entries that arrive in ascending order need no descent.
bool IndexTree::AppendToLastLeaf() {
  if (last_leaf_ == 0 || last_leaf_undo_ != pager_.undo_count()) return false;
  {
    const Loaded loaded = Read(last_leaf_);
    const IndexPage& page = loaded.page;
    if (page.IsEmpty() || page.next() != 0 || page.Compare(page.Last(), entry_) >= 0) return false;
  }
  const PageEdit edit = pager_.Edit(last_leaf_);
  IndexPageEdit leaf(edit);
  if (!leaf.Insert(leaf.End(), entry_, list_)) return false;
  ++version_;
  return true;
}

void IndexTree::RememberLastLeaf(PageNumber page) {
  last_leaf_ = page;
  last_leaf_undo_ = pager_.undo_count();
}

bool IndexTree::Erase(ByteView key, RowRef row) {
  entry_.assign(key.begin(), key.end());
  AppendRow(entry_, row);
  Descend(entry_);
  const Step step = path_[depth_];
  const Loaded loaded = Read(step.page);
  if (loaded.page.IsEnd(step.entry) || loaded.page.Compare(step.entry, entry_) != 0) return false;
  const PageEdit edit = pager_.Edit(step.page);
  IndexPageEdit leaf(edit);
  ++version_;
  const bool was_last = step.entry.end == leaf.used();
  leaf.Erase(step.entry);
  if (leaf.IsEmpty()) {
    if (depth_ > 0) RemovePage(depth_);
  } else if (was_last) {
    leaf.Get(leaf.Last(), entry_);
    SetBound(depth_);
  }
  return true;
}

/// Fills path_ from the root to the leaf of `target` and its place there.
void IndexTree::Descend(ByteView target) {
  PageNumber page = root_;
  for (depth_ = 0; depth_ < kMaxDepth; ++depth_) {
    Loaded loaded = Read(page);
    if (CompleteNode(loaded.page)) loaded = Read(page);
    const EntrySpan entry = loaded.page.LowerBound(target);
    path_[depth_] = {page, entry};
    if (loaded.page.IsLeaf()) return;
    page = ChildAt(loaded.page, entry);
  }
  ThrowTooDeep(page);
}

/// A node of a writer that lists its last child gets a tail child instead, as changes rely on one. False when
/// there was nothing to do.
bool IndexTree::CompleteNode(const IndexPage& page) {
  if (page.IsLeaf() || page.IsEmpty()) return false;
  const PageNumber last_child = page.Child(page.Last());
  if (page.tail() != 0 && page.tail() != last_child) return false;
  const PageEdit edit = pager_.Edit(page.place().page);
  IndexPageEdit node(edit);
  node.SetTail(last_child);
  node.Erase(node.Last());
  ++version_;
  return true;
}

PageEdit IndexTree::NewPage(PageType type) {
  if (pages_ == nullptr) throw common::Error(common::kReadOnly);
  PageEdit page = pager_.Edit(pages_->Allocate());
  IndexPageEdit::Format(page.bytes(), type, table_);
  return page;
}

/// Divides the leaf at the end of path_, which cannot take entry_; list_ holds the entries of both.
void IndexTree::SplitLeaf() {
  if (depth_ == 0) PushDownRoot();
  const PageEdit old_page = pager_.Edit(path_[depth_].page);
  const PageEdit fresh_page = NewPage(PageType::IndexLeaf);
  IndexPageEdit old(old_page);
  IndexPageEdit fresh(fresh_page);
  const std::size_t count = list_.size();
  const Step& parent = path_[depth_ - 1];
  const bool is_tail = Read(parent.page).page.IsEnd(parent.entry);
  last_leaf_ = 0;

  if (list_.extra() == count - 1 && old.next() == 0 && is_tail) {  // keeps T6
    fresh.SetEntries(list_, count - 1, count);
    fresh.SetPrevious(old_page.number());
    old.SetNext(fresh_page.number());
    SetSeparator(list_[count - 2], old_page.number());
    RememberLastLeaf(fresh_page.number());
    AddToParent(depth_, fresh_page.number());
    return;
  }
  const bool first_of_all = list_.extra() == 0 && old.previous() == 0;
  const std::size_t middle = first_of_all ? 1 : SplitPoint(0, old.place());
  fresh.SetEntries(list_, 0, middle);
  old.SetEntries(list_, middle, count);
  LinkLeftOf(fresh_page, old_page);
  SetSeparator(list_[middle - 1], fresh_page.number());
  AddToParent(depth_, 0);
}

/// Inserts separator_ into the node above `depth`, before the child that the path went to. With `new_tail`
/// that child was the tail, and the new one follows it.
void IndexTree::AddToParent(std::size_t depth, PageNumber new_tail) {
  for (;; --depth) {
    const Step& step = path_[depth - 1];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (new_tail != 0) node.SetTail(new_tail);
    new_tail = 0;
    if (node.Insert(step.entry, separator_, list_)) return;
    if (depth == 1) {
      PushDownRoot();
      depth = 2;
    }
    SplitNode(depth - 1);
  }
}

/// Divides a node of the path; list_ holds its entries and the new one. The lower half moves to a new page,
/// the entry in the middle to separator_, its child becoming the tail of the lower half.
void IndexTree::SplitNode(std::size_t depth) {
  const PageEdit old_page = pager_.Edit(path_[depth].page);
  const PageEdit fresh_page = NewPage(PageType::IndexNode);
  IndexPageEdit old(old_page);
  IndexPageEdit fresh(fresh_page);
  const std::size_t count = list_.size();
  std::size_t middle = 0;
  if (count >= 3 && list_.extra() == count - 1 && old.next() == 0) {  // keeps T6
    middle = count - 2;
  } else if (count >= 3 && list_.extra() == 0 && old.previous() == 0) {
    middle = 1;
  } else {
    middle = SplitPoint(1, old.place());
  }
  const ByteView up = list_[middle];
  const std::size_t length = up.size() - kEntryChildLength;
  fresh.SetEntries(list_, 0, middle);
  fresh.SetTail(storage::ReadBig<std::uint32_t>(up, length));
  old.SetEntries(list_, middle + 1, count);
  LinkLeftOf(fresh_page, old_page);
  SetSeparator(up.first(length), fresh_page.number());
  PartChildren(fresh.tail(), ChildAt(old, old.First()));
}

/// Nodes that come under different parents are neighbours no more; keeps T4.
void IndexTree::PartChildren(PageNumber left, PageNumber right) {
  if (Read(left).page.IsLeaf()) return;
  const PageEdit left_page = pager_.Edit(left);
  const PageEdit right_page = pager_.Edit(right);
  IndexPageEdit(left_page).SetNext(0);
  IndexPageEdit(right_page).SetPrevious(0);
}

/// Where to divide list_ so that both parts fit into pages and take about the same room; `left_out` entries
/// from there on go to neither part.
std::size_t IndexTree::SplitPoint(std::size_t left_out, const Place& place) const {
  const std::size_t count = list_.size();
  const std::size_t total = list_.Length(0, count);
  const std::size_t behind_run = left_out == 0 ? EndOfRun() : 0;
  std::size_t best = 0;
  std::size_t best_difference = std::numeric_limits<std::size_t>::max();
  std::size_t lower_length = 0;
  for (std::size_t middle = 1; middle + left_out < count; ++middle) {
    lower_length += list_[middle - 1].size();
    const std::size_t upper_length = total - lower_length - (left_out > 0 ? list_[middle].size() : 0);
    const std::size_t lower = list_.PackedLength(0, middle, lower_length);
    const std::size_t upper = list_.PackedLength(middle + left_out, count, upper_length);
    if (std::max(lower, upper) > index_page::kCapacity) continue;
    if (middle == behind_run && lower > upper) return middle;
    const std::size_t difference = lower > upper ? lower - upper : upper - lower;
    if (difference < best_difference) {
      best = middle;
      best_difference = difference;
    }
  }
  if (best == 0) ThrowDamaged(place, "The index page holds entries too long to be divided");
  return best;
}

/// Rows of one key mostly arrive in ascending order. When the new entry of list_ is the last of several with
/// its key, its successor's number: dividing there leaves the run's page full. Else 0.
std::size_t IndexTree::EndOfRun() const {
  const auto key = [&](std::size_t i) { return list_[i].first(list_[i].size() - kEntryRowLength); };
  const std::size_t extra = list_.extra();
  if (extra == 0 || extra + 1 == list_.size()) return 0;
  const bool continues = std::ranges::equal(key(extra - 1), key(extra));
  return continues && !std::ranges::equal(key(extra), key(extra + 1)) ? extra + 1 : 0;
}

void IndexTree::SetSeparator(ByteView entry, PageNumber child) {
  separator_.assign(entry.begin(), entry.end());
  for (const unsigned shift : {24u, 16u, 8u, 0u}) {
    separator_.push_back(static_cast<std::byte>(child >> shift & 0xFF));
  }
}

/// The root's content moves to a new page, of which the root becomes the parent.
void IndexTree::PushDownRoot() {
  const PageEdit root = pager_.Edit(root_);
  const PageEdit copy = NewPage(PageType::IndexNode);
  std::ranges::copy(root.bytes(), copy.bytes().begin());
  IndexPageEdit::Format(root.bytes(), PageType::IndexNode, table_);
  IndexPageEdit(root).SetTail(copy.number());
  std::copy_backward(path_.begin(), path_.begin() + static_cast<std::ptrdiff_t>(depth_ + 1),
                     path_.begin() + static_cast<std::ptrdiff_t>(depth_ + 2));
  path_[0] = {root_, {}};
  path_[1].page = copy.number();
  ++depth_;
  last_leaf_ = 0;
}

/// Links a new page in on the left of an old one.
void IndexTree::LinkLeftOf(const PageEdit& fresh, const PageEdit& old) {
  IndexPageEdit old_page(old);
  IndexPageEdit fresh_page(fresh);
  const PageNumber left = old_page.previous();
  fresh_page.SetPrevious(left);
  fresh_page.SetNext(old.number());
  old_page.SetPrevious(fresh.number());
  if (const auto neighbour = EditNeighbour(left, old_page.IsLeaf(), true, old.number())) {
    IndexPageEdit(*neighbour).SetNext(fresh.number());
  }
}

/// The neighbour that a page names, for changing its link back; none where there is none. Nodes of other
/// writers are not always linked over their parents' bounds; such a link is left alone.
std::optional<PageEdit> IndexTree::EditNeighbour(PageNumber page, bool leaf, bool left, PageNumber of) {
  if (page == 0) return std::nullopt;
  {
    const Loaded loaded = Read(page);
    const bool mutual = (left ? loaded.page.next() : loaded.page.previous()) == of;
    if (loaded.page.IsLeaf() != leaf || (leaf && !mutual)) {
      ThrowDamaged(loaded.page.place(), "The links between the index pages disagree");
    }
    if (!mutual) return std::nullopt;
  }
  return pager_.Edit(page);
}

void IndexTree::Unlink(PageNumber page) {
  const Loaded loaded = Read(page);
  const bool leaf = loaded.page.IsLeaf();
  const PageNumber left = loaded.page.previous();
  const PageNumber right = loaded.page.next();
  if (const auto neighbour = EditNeighbour(left, leaf, true, page)) IndexPageEdit(*neighbour).SetNext(right);
  if (const auto neighbour = EditNeighbour(right, leaf, false, page))
    IndexPageEdit(*neighbour).SetPrevious(left);
}

/// entry_ is the last entry below the page at `depth` of the path now; keeps T2.
void IndexTree::SetBound(std::size_t depth) {
  while (depth-- > 0) {
    Step& step = path_[depth];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (node.IsEnd(step.entry)) continue;
    SetSeparator(entry_, node.Child(step.entry));
    node.Erase(step.entry);
    step.entry = node.LowerBound(entry_);
    AddToParent(depth + 1, 0);
    return;
  }
}

/// Takes an empty leaf of the path out of the tree, and nodes that are left without a child with it.
void IndexTree::RemovePage(std::size_t depth) {
  last_leaf_ = 0;
  while (depth > 0) {
    Unlink(path_[depth].page);
    pages_->Release(path_[depth].page);
    const Step& step = path_[--depth];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (!node.IsEnd(step.entry)) {
      node.Erase(step.entry);
    } else if (!node.IsEmpty()) {  // the tail child is gone, the last listed one takes its place
      const EntrySpan last = node.Last();
      node.SetTail(node.Child(last));
      node.Get(last, entry_);
      node.Erase(last);
      SetBound(depth);
    } else if (depth > 0) {
      continue;
    } else {
      IndexPageEdit::Format(page.bytes(), PageType::IndexLeaf, table_);
    }
    break;
  }
  CollapseRoot();
}

/// A root that is a node with one child takes over the child's content.
void IndexTree::CollapseRoot() {
  for (std::size_t depth = 0; depth < kMaxDepth; ++depth) {
    PageNumber child = 0;
    {
      const Loaded root = Read(root_);
      if (root.page.IsLeaf() || !root.page.IsEmpty()) return;
      child = ChildAt(root.page, root.page.End());
    }
    const Loaded only = Read(child);
    if (child == root_ || only.page.previous() != 0 || only.page.next() != 0) return;
    const PageEdit root = pager_.Edit(root_);
    std::ranges::copy(only.view.bytes(), root.bytes().begin());
    pages_->Release(child);
  }
}

}  // namespace corvix::jet
