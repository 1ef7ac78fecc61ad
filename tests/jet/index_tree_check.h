// Judges an index tree by its bytes, with a decoder of its own: what a page holds is read bit by bit.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "storage/jet/index_key.h"
#include "storage/jet/pager.h"

namespace corvix::jet::test {

struct TreeFacts {
  std::vector<Key> entries;         ///< leaf entries in order
  std::set<PageNumber> pages;       ///< root included
  std::size_t depth = 0;            ///< 1: the root is a leaf
  std::size_t loose_bounds = 0;     ///< node entries above the last entry of their child
  std::size_t prefixed = 0;         ///< pages with a common prefix
  double fill = 0;                  ///< used part of the leaves, 0 to 1
  std::vector<std::string> faults;  ///< broken rules; empty for a sound tree
};

TreeFacts ExamineTree(Pager& pager, PageNumber root, PageNumber table);

/// The key with its row address behind it.
Key EntryOf(storage::ByteView key, RowRef row);

}  // namespace corvix::jet::test
