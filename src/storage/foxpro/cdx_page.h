// One page of an index, decoded: the entries of a leaf with their keys in full, or those of an interior page
// with their children. Decoding checks that the page is sound in itself and throws 3049 when it is not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/foxpro/cdx_format.h"

namespace corvix::foxpro {

/// A page of an index file, for messages.
struct PagePlace {
  const std::string& file;
  std::uint32_t page = 0;  ///< byte offset
  std::string Text() const { return file + ", page at " + std::to_string(page); }
};

class CdxPage {
 public:
  /// `pad` is the byte that the trailing count of a leaf entry stands for.
  CdxPage(storage::ByteView bytes, std::size_t key_length, std::byte pad, PagePlace place);

  bool IsLeaf() const { return (attributes_ & cdx::kLeafPage) != 0; }
  bool IsRoot() const { return (attributes_ & cdx::kRootPage) != 0; }
  std::uint32_t left() const { return left_; }
  std::uint32_t right() const { return right_; }

  std::size_t size() const { return records_.size(); }
  storage::ByteView Key(std::size_t entry) const {
    return storage::ByteView(keys_).subspan(entry * key_length_, key_length_);
  }
  std::uint32_t Record(std::size_t entry) const { return records_[entry]; }
  /// Interior pages only.
  std::uint32_t Child(std::size_t entry) const { return children_[entry]; }

  /// First entry that is not below (key, record); size() when all are.
  std::size_t LowerBound(storage::ByteView key, std::uint32_t record) const;

  /// Leaf: the free bytes that the page states, and those that it has.
  std::size_t stated_free() const { return stated_free_; }
  std::size_t actual_free() const { return actual_free_; }

 private:
  void DecodeInterior(storage::ByteView bytes, std::size_t count, PagePlace place);
  void DecodeLeaf(storage::ByteView bytes, std::size_t count, std::byte pad, PagePlace place);

  std::size_t key_length_;
  std::uint16_t attributes_;
  std::uint32_t left_;
  std::uint32_t right_;
  std::size_t stated_free_ = 0;
  std::size_t actual_free_ = 0;
  std::vector<std::byte> keys_;
  std::vector<std::uint32_t> records_;
  std::vector<std::uint32_t> children_;
};

/// Below zero, zero or above zero: the order of index entries, keys by byte value, then record numbers.
int CompareEntries(storage::ByteView key_a, std::uint32_t record_a, storage::ByteView key_b,
                   std::uint32_t record_b);

/// The text of every error about a damaged index.
[[noreturn]] void ThrowDamagedIndex(const std::string& what, const std::string& place);

}  // namespace corvix::foxpro
