// Judges an index tree by its bytes, with a decoder of its own: what a page holds is read bit by bit.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "storage/jet/index/index_key.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet::test {

struct TreeFacts {
  std::vector<Key> entries;         ///< leaf entries in order
  std::set<PageNumber> pages;       ///< root included
  std::size_t depth = 0;            ///< 1: the root is a leaf
  std::size_t loose_bounds = 0;     ///< node entries above the last entry of their child
  double fill = 0;                  ///< used part of the leaves, 0 to 1
  std::vector<std::string> faults;  ///< broken rules; empty for a sound tree
};

inline constexpr PageNumber kNoPage = 0xFFFFFFFF;

struct TreeWalk {
  Pager& pager;
  PageNumber table;
  TreeFacts facts;
  std::size_t leaf_bytes = 0;
  std::size_t leaves = 0;
  std::map<PageNumber, std::vector<PageNumber>> rows;  // linked pages by parent; leaves under 0

  void Fault(PageNumber page, const std::string& text) {
    facts.faults.push_back("page " + std::to_string(page) + ": " + text);
  }

  std::vector<Key> Entries(PageNumber number, storage::ByteView page) {
    const std::size_t prefix = storage::ReadLittle<std::uint16_t>(page, 24);
    std::vector<Key> entries;
    std::size_t begin = 0;
    for (std::size_t bit = 1; bit < 453 * 8; ++bit) {
      if ((std::to_integer<unsigned>(page[27 + bit / 8]) >> bit % 8 & 1) == 0) continue;
      if (bit > 3616) {
        Fault(number, "entry ends behind the page");
        break;
      }
      Key entry;
      if (!entries.empty()) entry.assign(entries[0].begin(), entries[0].begin() + static_cast<long>(prefix));
      entry.insert(entry.end(), page.begin() + 480 + static_cast<long>(begin),
                   page.begin() + 480 + static_cast<long>(bit));
      if (entries.empty() && entry.size() < prefix) Fault(number, "prefix longer than the first entry");
      entries.push_back(entry);
      begin = bit;
    }
    if (storage::ReadLittle<std::uint16_t>(page, 2) != 3616 - begin) Fault(number, "free field");
    return entries;
  }

  /// Entries below `page` must be above `low` and not above `high`.
  void Visit(PageNumber number, PageNumber parent, std::size_t depth, std::optional<Key> low,
             std::optional<Key> high) {
    if (!facts.pages.insert(number).second) return Fault(number, "met twice");
    const PageView view = pager.Read(number);
    const storage::ByteView page = view.bytes();
    const bool leaf = page[0] == std::byte{4};
    if (!leaf && page[0] != std::byte{3}) return Fault(number, "no index page");
    if (storage::ReadLittle<std::uint32_t>(page, 4) != table) Fault(number, "owner");
    if (std::to_integer<int>(page[26]) > (leaf ? 0 : 1)) Fault(number, "level byte");
    rows[leaf ? 0 : parent].push_back(number);
    std::vector<Key> entries = Entries(number, page);
    const PageNumber tail = storage::ReadLittle<std::uint32_t>(page, 20);
    if (leaf) {
      if (facts.depth != 0 && facts.depth != depth + 1) Fault(number, "leaves of two depths");
      facts.depth = depth + 1;
      if (entries.empty() && depth > 0) Fault(number, "empty leaf");
      if (tail != 0) Fault(number, "tail of a leaf");
      ++leaves;
      leaf_bytes += 3616 - storage::ReadLittle<std::uint16_t>(page, 2);
      for (Key& entry : entries) {
        if (entry.size() < 5) Fault(number, "short entry");
        if (low && entry <= *low) Fault(number, "entry not above the one before or the bound");
        if (high && entry > *high) Fault(number, "entry above the bound of its page");
        low = entry;
        facts.entries.push_back(std::move(entry));
      }
      return;
    }
    for (Key& entry : entries) {
      if (entry.size() < 9) return Fault(number, "short node entry");
      const PageNumber child = storage::ReadBig<std::uint32_t>(entry, entry.size() - 4);
      if (child == tail) Fault(number, "tail child is listed");
      entry.resize(entry.size() - 4);
      if (low && entry <= *low) Fault(number, "node entries out of order");
      if (high && entry > *high) Fault(number, "node entry above the bound of its page");
      Visit(child, number, depth + 1, low, entry);
      if (!facts.entries.empty() && facts.entries.back() != entry) ++facts.loose_bounds;
      low = entry;
    }
    if (tail == 0) return Fault(number, "no tail child");
    Visit(tail, number, depth + 1, low, high);
  }
};

inline TreeFacts ExamineTree(Pager& pager, PageNumber root, PageNumber table) {
  TreeWalk walk{.pager = pager, .table = table, .facts = {}, .rows = {}};
  walk.Visit(root, kNoPage, 0, std::nullopt, std::nullopt);
  // Leaves stand in one row, nodes in one for each parent.
  for (const auto& [row, pages] : walk.rows) {
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const PageView view = pager.Read(pages[i]);
      const auto link = [&](std::size_t offset) {
        return storage::ReadLittle<std::uint32_t>(view.bytes(), offset);
      };
      if (link(12) != (i > 0 ? pages[i - 1] : 0)) walk.Fault(pages[i], "previous link");
      if (link(16) != (i + 1 < pages.size() ? pages[i + 1] : 0)) walk.Fault(pages[i], "next link");
    }
  }
  walk.facts.fill = static_cast<double>(walk.leaf_bytes) / (3616.0 * static_cast<double>(walk.leaves));
  return walk.facts;
}

/// The key with its row address behind it.
inline Key EntryOf(storage::ByteView key, RowRef row) {
  Key entry(key.begin(), key.end());
  AppendRow(entry, row);
  return entry;
}

}  // namespace corvix::jet::test
