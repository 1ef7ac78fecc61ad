// A tag of an open table, used as order and for lookups. It fits its table (table_index.h): the stored keys
// decide, walking follows the tree, and a lookup compares the sought text with keys.
//
// The keys of a collated tag are weights, which a text cannot be compared with. Before the first lookup in
// one a table of the keys of all entries is made, 24 bytes an entry: worked out from the records, and
// compared without regard to case, as those sequences weigh letters.
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
#include "storage/foxpro/table_index.h"
#include "storage/foxpro/tag_keys.h"

namespace corvix::foxpro {

class TagOrder {
 public:
  /// Table and page outlive the object.
  TagOrder(ChosenTag chosen, DbfFile& table, const storage::CodePage& page);
  TagOrder(const TagOrder&) = delete;
  TagOrder& operator=(const TagOrder&) = delete;

  const Tag& tag() const { return tree_.tag(); }
  /// Why the index was built from the records; empty for the file's own.
  const std::string& rebuilt() const { return chosen_.rebuilt; }

  bool First() { return cursor_.First(); }
  bool Next() { return cursor_.Next(); }
  /// Number of the entry's record as the index says; it may be outside the table.
  std::uint32_t Record() const { return cursor_.Record(); }

  /// To the first entry whose key equals the text. 3250: the tag cannot form a key of it.
  bool Find(std::string_view text);
  /// After Find: to the next entry with the same key.
  bool NextEqual();
  /// After Find: whether a record of the table itself has the sought key, whatever the index says.
  bool HasSoughtKey(std::uint32_t record);
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

  bool is_collated() const { return keys_.form().collated; }
  void PrepareHashes();
  bool FindByHash(std::string_view text);
  bool NextHashed();
  bool ScanFor(std::uint32_t record);

  ChosenTag chosen_;
  DbfFile& table_;
  const storage::CodePage& page_;
  TagKeys keys_;
  TagTree tree_;
  TagCursor cursor_;

  std::vector<std::byte> sought_;
  std::string sought_text_;  // of a collated tag
  std::optional<std::vector<HashedEntry>> hashed_;
  std::size_t next_hashed_ = 0;
  std::uint64_t sought_hash_ = 0;
};

}  // namespace corvix::foxpro
