// A compound index file: the directory of its tags, and each tag as a B+ tree that can be walked and
// searched.
//
// Invariants of a sound tree, which walking and searching rely on:
//   1. All leaves are at one depth; the pages of each level are chained from left to right.
//   2. Entries ascend by key bytes, then by record number, also in tags of descending order.
//   3. An interior entry repeats the greatest key and record number of its child.
// cdx_check.h verifies them. On a tree without them nothing here loops or reads outside the file: every page
// is checked when it is read, a step to a neighbour must be confirmed by the neighbour's own pointer, and the
// number of steps is bounded by the size of the file. Errors: 3049, place is the path and the page.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/file.h"
#include "storage/foxpro/block_cache.h"
#include "storage/foxpro/cdx_page.h"

namespace corvix::foxpro {

struct Tag {
  std::string name;
  std::uint32_t header = 0;  ///< offset of the tag's header
  std::uint32_t root = 0;
  std::uint16_t key_length = 0;
  std::uint8_t options = 0;
  bool descending = false;
  std::string collation;  ///< empty: by byte value
  std::string key;        ///< expression, as typed
  std::string condition;  ///< FOR condition, empty for none

  bool IsUnique() const { return (options & cdx::kUnique) != 0; }
  bool IsNullable() const { return (options & cdx::kNullable) != 0; }
};

class CdxFile {
 public:
  CdxFile(std::unique_ptr<storage::File> file, std::string place);

  const std::string& place() const { return place_; }
  std::span<const Tag> tags() const { return tags_; }
  /// The directory itself, as if it were a tag.
  const Tag& directory() const { return directory_; }
  /// Without regard to case; null when there is none.
  const Tag* FindTag(std::string_view name) const;

  std::uint64_t size() const { return size_; }
  std::uint32_t PageCount() const { return static_cast<std::uint32_t>(size_ / cdx::kPageSize); }
  /// The bytes of the page at a byte offset. Valid until the next call.
  storage::ByteView ReadPage(std::uint32_t offset);

 private:
  Tag ReadHeader(std::uint32_t offset, std::string name);

  std::unique_ptr<storage::File> file_;
  std::string place_;
  std::uint64_t size_;
  BlockCache cache_;
  Tag directory_;
  std::vector<Tag> tags_;
};

/// The pages of one tag, decoded on demand; those used lately are kept.
class TagTree {
 public:
  /// `pad`: what trailing counts stand for. File and tag outlive the tree.
  TagTree(CdxFile& file, const Tag& tag, std::byte pad);

  const Tag& tag() const { return tag_; }
  CdxFile& file() const { return file_; }
  std::shared_ptr<const CdxPage> Page(std::uint32_t offset);

 private:
  CdxFile& file_;
  const Tag& tag_;
  std::byte pad_;
  ClockCache<std::shared_ptr<const CdxPage>> pages_;
};

/// Where an entry lies in its tree.
struct EntryPosition {
  std::uint32_t page = 0;
  std::uint32_t entry = 0;
};

/// A place in the order of a tag. All movements go in the tag's own direction: in a descending tag First is
/// the greatest entry and Next goes down. Movements return false when there is no such entry; the cursor is
/// then on none.
class TagCursor {
 public:
  explicit TagCursor(TagTree& tree) : tree_(tree) {}

  bool First();
  bool Next();
  /// To the first entry in the tag's direction that does not come before (key, record).
  bool Seek(storage::ByteView key, std::uint32_t record);
  /// To the first entry with exactly this key.
  bool FindEqual(storage::ByteView key);
  void MoveTo(EntryPosition position);

  bool IsOnEntry() const { return page_ != nullptr; }
  // Only on an entry:
  storage::ByteView Key() const { return page_->Key(entry_); }
  std::uint32_t Record() const { return page_->Record(entry_); }
  EntryPosition position() const { return {offset_, static_cast<std::uint32_t>(entry_)}; }

 private:
  bool Leftmost();
  bool Rightmost();
  bool StepRight();
  bool StepLeft();
  bool LowerBound(storage::ByteView key, std::uint32_t record);
  void Descend(bool to_last);
  void GoToNeighbour(bool right);
  bool SkipEmptyPages(bool right);
  bool Leave();

  TagTree& tree_;
  std::shared_ptr<const CdxPage> page_;  // a leaf; null when the cursor is on no entry
  std::uint32_t offset_ = 0;             // of page_
  std::size_t entry_ = 0;
  std::uint32_t steps_ = 0;  // to neighbours since the cursor was last put somewhere
};

}  // namespace corvix::foxpro
