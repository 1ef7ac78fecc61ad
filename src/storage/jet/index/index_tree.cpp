// Changing an index tree.
#include "storage/jet/index/index_tree.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "common/error.h"

namespace corvix::jet {

using storage::ByteView;

namespace {

/// Rows of one key mostly arrive in ascending order. When the new entry of a leaf is the last of several with
/// its key, its successor's number: dividing there leaves the run's page full. Else 0.
std::size_t EndOfRun(const EntryList& all) {
  const auto key = [&](std::size_t i) { return all[i].first(all[i].size() - kEntryRowLength); };
  const std::size_t extra = all.extra();
  if (extra == 0 || extra + 1 == all.size()) return 0;
  const bool continues = std::ranges::equal(key(extra - 1), key(extra));
  return continues && !std::ranges::equal(key(extra), key(extra + 1)) ? extra + 1 : 0;
}

/// Where to divide the entries so that both parts fit into pages and take about the same room; `left_out`
/// entries from there on go to neither part.
std::size_t SplitPoint(const EntryList& all, std::size_t left_out, const Place& place) {
  const std::size_t count = all.size();
  const std::size_t total = all.Length(0, count);
  const std::size_t behind_run = left_out == 0 ? EndOfRun(all) : 0;
  std::size_t best = 0;
  std::size_t best_difference = std::numeric_limits<std::size_t>::max();
  std::size_t lower_length = 0;
  for (std::size_t middle = 1; middle + left_out < count; ++middle) {
    lower_length += all[middle - 1].size();
    const std::size_t upper_length = total - lower_length - (left_out > 0 ? all[middle].size() : 0);
    const std::size_t lower = all.PackedLength(0, middle, lower_length);
    const std::size_t upper = all.PackedLength(middle + left_out, count, upper_length);
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

/// True when an entry belongs between two entries of the page, before the one at `place`.
bool IsPlaceOf(const IndexPage& page, EntrySpan place, ByteView entry) {
  return !page.IsEnd(place) && place != page.First() && page.Compare(place, entry) > 0 &&
         page.Compare(page.Before(place), entry) < 0;
}

/// The entry of a node that names a child and its last entry.
Key SeparatorOf(ByteView entry, PageNumber child) {
  Key separator(entry.begin(), entry.end());
  storage::AppendBig(separator, child);
  return separator;
}

}  // namespace

IndexTree::IndexTree(Pager& pager, PageNumber root, PageNumber table, IndexPages* pages)
    : pager_(pager), root_(root), table_(table), pages_(pages) {}

IndexTree::Change::Change(ByteView key, RowRef row) {
  entry.reserve(key.size() + kEntryRowLength);
  entry.assign(key.begin(), key.end());
  AppendRow(entry, row);
}

bool IndexTree::Insert(ByteView key, RowRef row) {
  if (key.size() > kMaxKey) {
    throw common::Error(common::kCannotBuildKey, "An index key of " + std::to_string(key.size()) +
                                                     " bytes is longer than an index can hold (" +
                                                     std::to_string(kMaxKey) + "); shorten the text");
  }
  Change change(key, row);
  if (AppendToLastLeaf(change) || InsertAtFinger(change)) return true;

  Descend(change);
  const Step step = change.path.back();
  const Loaded loaded = Read(step.page);
  if (!loaded.page.IsEnd(step.entry) && loaded.page.Compare(step.entry, change.entry) == 0) return false;
  const PageEdit edit = pager_.Edit(step.page);
  IndexPageEdit leaf(edit);
  ++version_;
  EntryList all;
  if (!leaf.Insert(step.entry, change.entry, all)) {
    SplitLeaf(change, all);
  } else if (leaf.next() == 0) {
    RememberLastLeaf(step.page);
  }
  return true;
}

/// Entries that arrive in ascending order need no descent.
bool IndexTree::AppendToLastLeaf(const Change& change) {
  if (last_leaf_ == 0 || last_leaf_undo_ != pager_.undo_count()) return false;
  {
    const Loaded loaded = Read(last_leaf_);
    const IndexPage& page = loaded.page;
    if (page.IsEmpty() || page.next() != 0 || page.Compare(page.Last(), change.entry) >= 0) return false;
  }
  const PageEdit edit = pager_.Edit(last_leaf_);
  IndexPageEdit leaf(edit);
  EntryList all;
  if (!leaf.Insert(leaf.End(), change.entry, all)) return false;
  ++version_;
  return true;
}

/// An entry between two entries of a leaf belongs into that leaf; so one whose key was just sought needs no
/// second descent, and mostly no second search of the leaf: no other entry has its key.
bool IndexTree::InsertAtFinger(const Change& change) {
  if (finger_.page == 0 || finger_version_ != version()) return false;
  EntrySpan place = finger_.entry;
  {
    const Loaded loaded = Read(finger_.page);
    const IndexPage& page = loaded.page;
    if (!IsPlaceOf(page, place, change.entry)) {
      place = page.LowerBound(change.entry);
      if (!IsPlaceOf(page, place, change.entry)) return false;
    }
  }
  const PageEdit edit = pager_.Edit(finger_.page);
  EntryList all;
  if (!IndexPageEdit(edit).Insert(place, change.entry, all)) return false;
  ++version_;
  return true;
}

void IndexTree::RememberLastLeaf(PageNumber page) {
  last_leaf_ = page;
  last_leaf_undo_ = pager_.undo_count();
}

bool IndexTree::Erase(ByteView key, RowRef row) {
  Change change(key, row);
  Descend(change);
  const Step step = change.path.back();
  const Loaded loaded = Read(step.page);
  if (loaded.page.IsEnd(step.entry) || loaded.page.Compare(step.entry, change.entry) != 0) return false;
  const PageEdit edit = pager_.Edit(step.page);
  IndexPageEdit leaf(edit);
  ++version_;
  const bool was_last = step.entry.end == leaf.used();
  leaf.Erase(step.entry);
  if (leaf.IsEmpty()) {
    if (change.depth() > 0) RemovePage(change, change.depth());
  } else if (was_last) {
    leaf.Get(leaf.Last(), change.entry);
    SetBound(change, change.depth());
  }
  return true;
}

/// Fills the path from the root to the leaf of the entry and its place there.
void IndexTree::Descend(Change& change) {
  PageNumber page = root_;
  while (change.path.size() < kMaxDepth) {
    Loaded loaded = Read(page);
    if (CompleteNode(loaded.page)) loaded = Read(page);
    const EntrySpan entry = loaded.page.LowerBound(change.entry);
    change.path.push_back({page, entry});
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

/// Divides the leaf at the end of the path, which cannot take the entry; `all` are its entries and the new
/// one.
void IndexTree::SplitLeaf(Change& change, const EntryList& all) {
  if (change.depth() == 0) PushDownRoot(change);
  const PageEdit old_page = pager_.Edit(change.path.back().page);
  const PageEdit fresh_page = NewPage(PageType::IndexLeaf);
  IndexPageEdit old(old_page);
  IndexPageEdit fresh(fresh_page);
  const std::size_t count = all.size();
  const Step& parent = change.path[change.depth() - 1];
  const bool is_tail = Read(parent.page).page.IsEnd(parent.entry);
  last_leaf_ = 0;

  if (all.extra() == count - 1 && old.next() == 0 && is_tail) {  // keeps T6
    fresh.SetEntries(all, count - 1, count);
    fresh.SetPrevious(old_page.number());
    old.SetNext(fresh_page.number());
    RememberLastLeaf(fresh_page.number());
    AddToParent(change, change.depth(), SeparatorOf(all[count - 2], old_page.number()), fresh_page.number());
    return;
  }
  const bool first_of_all = all.extra() == 0 && old.previous() == 0;
  const std::size_t middle = first_of_all ? 1 : SplitPoint(all, 0, old.place());
  fresh.SetEntries(all, 0, middle);
  old.SetEntries(all, middle, count);
  LinkLeftOf(fresh_page, old_page);
  AddToParent(change, change.depth(), SeparatorOf(all[middle - 1], fresh_page.number()), 0);
}

/// Inserts a separator into the node above `depth`, before the child that the path went to. With `new_tail`
/// that child was the tail, and the new one follows it.
void IndexTree::AddToParent(Change& change, std::size_t depth, Key separator, PageNumber new_tail) {
  EntryList all;
  for (;; --depth) {
    const Step& step = change.path[depth - 1];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (new_tail != 0) node.SetTail(new_tail);
    new_tail = 0;
    if (node.Insert(step.entry, separator, all)) return;
    if (depth == 1) {
      PushDownRoot(change);
      depth = 2;
    }
    separator = SplitNode(change, depth - 1, all);
  }
}

/// Divides a node of the path; `all` are its entries and the new one. The lower half moves to a new page, its
/// tail being the child of the entry in the middle, which is the result: the separator of both.
Key IndexTree::SplitNode(const Change& change, std::size_t depth, const EntryList& all) {
  const PageEdit old_page = pager_.Edit(change.path[depth].page);
  const PageEdit fresh_page = NewPage(PageType::IndexNode);
  IndexPageEdit old(old_page);
  IndexPageEdit fresh(fresh_page);
  const std::size_t count = all.size();
  std::size_t middle = 0;
  if (count >= 3 && all.extra() == count - 1 && old.next() == 0) {  // keeps T6
    middle = count - 2;
  } else if (count >= 3 && all.extra() == 0 && old.previous() == 0) {
    middle = 1;
  } else {
    middle = SplitPoint(all, 1, old.place());
  }
  const ByteView up = all[middle];
  const std::size_t length = up.size() - kEntryChildLength;
  fresh.SetEntries(all, 0, middle);
  fresh.SetTail(storage::ReadBig<std::uint32_t>(up, length));
  old.SetEntries(all, middle + 1, count);
  LinkLeftOf(fresh_page, old_page);
  PartChildren(fresh.tail(), ChildAt(old, old.First()));
  return SeparatorOf(up.first(length), fresh_page.number());
}

/// Nodes that come under different parents are neighbours no more; keeps T4.
void IndexTree::PartChildren(PageNumber left, PageNumber right) {
  if (Read(left).page.IsLeaf()) return;
  const PageEdit left_page = pager_.Edit(left);
  const PageEdit right_page = pager_.Edit(right);
  IndexPageEdit(left_page).SetNext(0);
  IndexPageEdit(right_page).SetPrevious(0);
}

/// The root's content moves to a new page, of which the root becomes the parent.
void IndexTree::PushDownRoot(Change& change) {
  const PageEdit root = pager_.Edit(root_);
  const PageEdit copy = NewPage(PageType::IndexNode);
  std::ranges::copy(root.bytes(), copy.bytes().begin());
  IndexPageEdit::Format(root.bytes(), PageType::IndexNode, table_);
  IndexPageEdit(root).SetTail(copy.number());
  change.path.front().page = copy.number();
  change.path.insert(change.path.begin(), {root_, {}});
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

/// The entry of the change is the last one below the page at `depth` of the path now; keeps T2.
void IndexTree::SetBound(Change& change, std::size_t depth) {
  while (depth-- > 0) {
    Step& step = change.path[depth];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (node.IsEnd(step.entry)) continue;
    Key separator = SeparatorOf(change.entry, node.Child(step.entry));
    node.Erase(step.entry);
    step.entry = node.LowerBound(change.entry);
    AddToParent(change, depth + 1, std::move(separator), 0);
    return;
  }
}

/// Takes an empty leaf of the path out of the tree, and nodes that are left without a child with it.
void IndexTree::RemovePage(Change& change, std::size_t depth) {
  last_leaf_ = 0;
  while (depth > 0) {
    Unlink(change.path[depth].page);
    pages_->Release(change.path[depth].page);
    const Step& step = change.path[--depth];
    const PageEdit page = pager_.Edit(step.page);
    IndexPageEdit node(page);
    if (!node.IsEnd(step.entry)) {
      node.Erase(step.entry);
    } else if (!node.IsEmpty()) {  // the tail child is gone, the last listed one takes its place
      const EntrySpan last = node.Last();
      node.SetTail(node.Child(last));
      node.Get(last, change.entry);
      node.Erase(last);
      SetBound(change, depth);
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
