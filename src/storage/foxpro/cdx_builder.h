// Builds a compound index file in one go: sorted keys are packed into full pages from the bottom up, one tag
// after the other in the order of their names.
//
//   CdxBuilder builder(*file, 1);
//   builder.AddTag(tag, pad, keys);
//   builder.Finish();  // the directory and its header
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/key_sorter.h"

namespace corvix::foxpro {

class CdxBuilder {
 public:
  /// `file` is empty and outlives the builder; `tag_count` tags will follow.
  CdxBuilder(storage::File& file, std::size_t tag_count);

  /// Tags come in the order of their names. `tag` gives all but header and root; Pad of its keys is `pad`.
  /// The keys are sorted here.
  void AddTag(Tag tag, std::byte pad, KeySorter& keys);
  void Finish();

 private:
  struct Child {
    std::vector<std::byte> key;
    std::uint32_t record = 0;
    std::uint32_t page = 0;
  };

  std::uint32_t BuildTree(KeySorter& keys, bool unique, std::byte pad);
  std::vector<Child> PackLeaves(KeySorter& keys, bool unique, std::byte pad);
  std::vector<Child> PackInterior(const std::vector<Child>& children, std::size_t key_length);
  void Emit(storage::ByteSpan page, std::uint16_t attributes, std::uint32_t left, bool is_last);
  void WriteHeader(const Tag& tag);
  void Flush();

  storage::File& file_;
  std::uint32_t next_ = 0;          // offset of the next page
  std::uint32_t buffer_start_ = 0;  // offset of the first byte in buffer_
  std::vector<std::byte> buffer_;
  std::vector<Tag> tags_;
};

}  // namespace corvix::foxpro
