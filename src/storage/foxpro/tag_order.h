// A tag of an open table, used as order and for lookups. The stored keys decide: walking follows the tree,
// and a lookup compares the sought text with keys.
//
// Trees that cannot be trusted for binary search still give every answer. Before the first lookup the tree is
// walked once (CheckTree); when it is not sound, or its keys are weights of a collating sequence, a table of
// all keys is made instead, 24 bytes an entry. Under a collating sequence the keys are computed from the
// records, and compared without regard to case, as those sequences weigh letters.
//
// The order does not know which records are hidden; its user skips them. Errors: 3049 for a damaged tree.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/code_page.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/index_key.h"
#include "storage/foxpro/key_expression.h"

namespace corvix::foxpro {

class TagOrder {
 public:
  /// All arguments outlive the object.
  TagOrder(CdxFile& index, const Tag& tag, DbfFile& table, const storage::CodePage& page);
  TagOrder(const TagOrder&) = delete;
  TagOrder& operator=(const TagOrder&) = delete;

  const Tag& tag() const { return tree_.tag(); }

  bool First() { return cursor_.First(); }
  bool Next() { return cursor_.Next(); }
  /// Number of the entry's record as the index says; it may be outside the table.
  std::uint32_t Record() const { return cursor_.Record(); }

  /// To the first entry whose key equals the text. 3250: the tag cannot form a key of it.
  bool Find(std::string_view text);
  /// After Find: to the next entry with the same key.
  bool NextEqual();
  /// To the entry that follows the one of a record, or, for a record that is not in the tag, the place where
  /// it would stand.
  bool NextAfter(std::uint32_t record);

 private:
  /// An entry of the table of all keys, sorted by hash; entries of one hash stay in walking order.
  struct HashedEntry {
    std::uint64_t hash;
    EntryPosition position;
    std::uint32_t record;
  };

  /// Whether the tree can be searched by bytes; walks it once to see.
  bool IsSound();
  void PrepareHashes();
  bool FindByHash(std::string_view text);
  bool NextHashed();
  bool Matches(const HashedEntry& entry);
  /// Text of the record's key as a collated tag compares it; none for a number outside the table.
  std::optional<std::string> ComparableKey(std::uint32_t record);
  bool ScanFor(std::uint32_t record);

  DbfFile& table_;
  const storage::CodePage& page_;
  std::string expression_problem_;  // why there is no expression; set while expression_ is made
  std::optional<KeyExpression> expression_;
  KeyForm form_;
  TagTree tree_;
  TagCursor cursor_;

  std::optional<bool> sound_;
  std::vector<std::byte> sought_;
  std::string sought_text_;
  std::optional<std::vector<HashedEntry>> hashed_;
  std::size_t next_hashed_ = 0;
  std::uint64_t sought_hash_ = 0;
};

}  // namespace corvix::foxpro
