// Walks the whole tree of a tag and compares it with the invariants of cdx_tree.h. The record set does so
// before it trusts a tree for seeks; the structure checker shows what is found.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "storage/foxpro/cdx_tree.h"

namespace corvix::foxpro {

struct TreeFacts {
  std::uint32_t levels = 0;
  std::uint32_t pages = 0;
  std::uint64_t entries = 0;
};

/// What a walk meets. The functions may be left empty.
struct TreeVisitor {
  /// An invariant that does not hold; `page` is a byte offset.
  std::function<void(std::uint32_t page, const std::string& what)> problem;
  /// Something odd that does no harm to walking and seeking.
  std::function<void(std::uint32_t page, const std::string& what)> oddity;
  /// Every entry of every leaf, in the order of the tree.
  std::function<void(storage::ByteView key, std::uint32_t record)> entry;
  /// Every page of the tree, once.
  std::function<void(std::uint32_t page)> page;
};

/// Never throws for damage: what cannot be read is a problem, and the walk goes on behind it.
TreeFacts CheckTree(TagTree& tree, const TreeVisitor& visitor);

}  // namespace corvix::foxpro
