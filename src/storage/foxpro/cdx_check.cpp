#include "storage/foxpro/cdx_check.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

#include "common/error.h"

namespace corvix::foxpro {
namespace {

constexpr std::size_t kMaxLevels = 32;

class TreeWalk {
 public:
  TreeWalk(TagTree& tree, const TreeVisitor& visitor)
      : tree_(tree), visitor_(visitor), visited_(tree.file().PageCount()) {}

  TreeFacts Run() {
    Visit(tree_.tag().root, 0);
    for (const Neighbour& last : levels_) {
      if (last.right != cdx::kNoPage) {
        Problem(last.page, fmt::format("the last page of its level names {} as right neighbour", last.right));
      }
    }
    facts_.levels = static_cast<std::uint32_t>(levels_.size());
    return facts_;
  }

 private:
  struct Neighbour {
    std::uint32_t page = 0;
    std::uint32_t right = 0;
  };
  struct Entry {
    std::vector<std::byte> key;
    std::uint32_t record = 0;
  };

  void Problem(std::uint32_t page, const std::string& what) const {
    if (visitor_.problem) visitor_.problem(page, what);
  }

  void Visit(std::uint32_t offset, std::size_t depth) {
    if (depth == kMaxLevels) return Problem(offset, "its levels do not end");
    const std::size_t number = offset / cdx::kPageSize;
    if (number < visited_.size()) {
      if (visited_[number]) return Problem(offset, "the page is reached twice");
      visited_[number] = true;
    }
    std::shared_ptr<const CdxPage> page;
    try {
      page = tree_.Page(offset);
    } catch (const common::Error& error) {
      if (error.number() != common::kDamagedDatabase) throw;
      return Problem(offset, error.text());
    }
    ++facts_.pages;
    if (visitor_.page) visitor_.page(offset);
    CheckPlace(offset, depth, *page);
    if (page->IsLeaf()) {
      VisitEntries(offset, depth, *page);
    } else {
      VisitChildren(offset, depth, *page);
    }
  }

  /// Root mark and neighbours (invariant 1).
  void CheckPlace(std::uint32_t offset, std::size_t depth, const CdxPage& page) {
    if (page.IsRoot() != (depth == 0)) Problem(offset, "the mark of the root page is wrong");
    if (depth == levels_.size()) {
      if (page.left() != cdx::kNoPage) {
        Problem(offset, fmt::format("the first page of its level names {} as left neighbour", page.left()));
      }
      levels_.push_back({offset, page.right()});
      return;
    }
    Neighbour& before = levels_[depth];
    if (before.right != offset || page.left() != before.page) {
      Problem(offset,
              fmt::format("the page and {} to its left do not name each other as neighbours", before.page));
    }
    before = {offset, page.right()};
  }

  void VisitChildren(std::uint32_t offset, std::size_t depth, const CdxPage& page) {
    if (page.size() == 0) Problem(offset, "an interior page is empty");
    for (std::size_t i = 0; i < page.size(); ++i) {
      const std::uint64_t entries_before = facts_.entries;
      Visit(page.Child(i), depth + 1);
      if (facts_.entries == entries_before) continue;
      if (CompareEntries(page.Key(i), page.Record(i), last_->key, last_->record) != 0) {  // invariant 3
        Problem(offset, fmt::format("entry {} is not the last entry of its child {}", i, page.Child(i)));
      }
    }
  }

  void VisitEntries(std::uint32_t offset, std::size_t depth, const CdxPage& page) {
    if (leaf_depth_.value_or(depth) != depth) Problem(offset, "leaves are at different depths");
    leaf_depth_ = depth;
    if (page.size() == 0 && depth > 0) Problem(offset, "a leaf is empty");
    if (page.size() > 0 && page.stated_free() != page.actual_free() && visitor_.oddity) {
      visitor_.oddity(offset, fmt::format("the page states {} free bytes and has {}", page.stated_free(),
                                          page.actual_free()));
    }
    for (std::size_t i = 0; i < page.size(); ++i) {
      const storage::ByteView key = page.Key(i);
      const std::uint32_t record = page.Record(i);
      if (last_ && CompareEntries(last_->key, last_->record, key, record) >= 0) {  // invariant 2
        Problem(offset, fmt::format("entry {} (record {}) does not come after the one before it", i, record));
      }
      if (!last_) last_ = Entry();
      last_->key.assign(key.begin(), key.end());
      last_->record = record;
      ++facts_.entries;
      if (visitor_.entry) visitor_.entry(key, record);
    }
  }

  TagTree& tree_;
  const TreeVisitor& visitor_;
  std::vector<bool> visited_;
  std::vector<Neighbour> levels_;  // the page visited last on each level
  std::optional<std::size_t> leaf_depth_;
  std::optional<Entry> last_;
  TreeFacts facts_;
};

}  // namespace

TreeFacts CheckTree(TagTree& tree, const TreeVisitor& visitor) { return TreeWalk(tree, visitor).Run(); }

}  // namespace corvix::foxpro
