// Checks one index tree: its pages, their order and links, and that it holds exactly the entries that the
// rows of its table ask for.
//
// The two sets of entries are compared without keeping either: each side adds up hashes of its entries, 128
// bits wide, in whatever order they come. Only when the sums differ are entries looked up one by one, to name
// some.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "storage/jet/check/check_context.h"
#include "storage/jet/check/check_rows.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/index/index_key.h"
#include "storage/jet/rows/row_codec.h"

namespace corvix::jet::check {

/// Sum of a set of entries.
struct EntrySum {
  std::array<std::uint64_t, 2> hash{};
  std::size_t count = 0;

  void Add(storage::ByteView entry);
  bool operator==(const EntrySum&) const = default;
};

class IndexChecker {
 public:
  /// All of these must outlive the checker.
  IndexChecker(Context& context, const TableDefinition& table, std::size_t index, const RowChecker& rows);

  /// Adds the entry that a row should have.
  void AddRow(RowRef slot, const RowView& row);
  /// Walks the tree and compares it with the rows that were added.
  void CheckTree();

  /// Instead of the walk: claims the pages of the map.
  void ClaimPages();

  /// True when the tree is sound and holds exactly the entries of the rows.
  bool IsSound() const { return sound_; }
  const std::string& what() const { return what_; }

 private:
  class Page;  // an index page, read and checked
  struct Level {
    PageNumber last = 0;  // page met last
    PageNumber next = 0;  // the one that it names as its successor
  };

  std::optional<Page> ReadPage(PageNumber number);
  void Walk(PageNumber number, std::size_t depth);
  void WalkLeaf(const Page& page, std::size_t depth);
  void WalkNode(const Page& page, std::size_t depth);
  void SeeEntry(storage::ByteView entry, PageNumber page);
  void SeeRepeatedKey(storage::ByteView entry, PageNumber page);
  void CheckMap();
  void Compare();
  void NameMissingEntries();
  void NameExtraEntries();
  /// False when the index leaves the row out.
  bool BuildEntry(RowRef slot, const RowView& row, Key& entry);
  core::Value ValueOf(const RowView& row, const Column& column);
  bool IsAllNull(const RowView& row) const;
  bool HasNull(const RowView& row) const;
  template <typename... Args>
  void Problem(PageNumber page, fmt::format_string<Args...> format, Args&&... args);

  Context& context_;
  const TableDefinition& table_;
  const RealIndex& index_;
  const RowChecker& rows_;
  std::string what_;
  std::vector<const Column*> columns_;
  bool needs_values_ = false;  // no column may be null
  bool keys_computable_ = true;
  bool sound_ = true;

  EntrySum expected_;
  EntrySum stored_;
  std::vector<PageNumber> pages_;  // of the tree
  PageOwners::Owner owner_ = PageOwners::kNone;
  Key floor_;  // no further entry may be below or equal; empty at first
  Key last_;   // last leaf entry
  std::size_t distinct_ = 0;
  std::optional<std::size_t> leaf_depth_;
  Level leaves_;
  std::vector<Level> nodes_;  // by depth
  Key scratch_;
  std::vector<std::byte> long_value_;
};

}  // namespace corvix::jet::check
