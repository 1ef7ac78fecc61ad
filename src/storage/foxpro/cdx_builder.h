// Builds a compound index file in one go: keys are sorted and packed into full pages from the bottom up, one
// tag after the other in the order of their names.
//
//   CdxBuilder builder(*file);
//   builder.AddTag(tag, entries);   // entries are sorted here
//   builder.Finish();               // the directory and its header
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/foxpro/cdx_tree.h"

namespace corvix::foxpro {

/// Keys of one length with their record numbers.
class KeyList {
 public:
  explicit KeyList(std::size_t key_length) : key_length_(key_length) {}

  std::size_t key_length() const { return key_length_; }
  std::size_t size() const { return order_.size(); }
  void Add(storage::ByteView key, std::uint32_t record);
  /// By key bytes, then record number.
  void Sort();
  /// After Sort: leaves the first record of every key.
  void KeepFirstOfEqual();
  storage::ByteView Key(std::size_t i) const {
    return storage::ByteView(keys_).subspan(order_[i] * key_length_, key_length_);
  }
  std::uint32_t Record(std::size_t i) const { return records_[order_[i]]; }
  std::uint32_t GreatestRecord() const;

 private:
  std::size_t key_length_;
  std::vector<std::byte> keys_;
  std::vector<std::uint32_t> records_;
  std::vector<std::size_t> order_;
};

class CdxBuilder {
 public:
  /// `file` is empty and outlives the builder; `tag_count` tags will follow.
  CdxBuilder(storage::File& file, std::size_t tag_count);

  /// Tags come in the order of their names. `tag` gives all but header and root; Pad of its keys is `pad`.
  void AddTag(Tag tag, std::byte pad, KeyList entries);
  void Finish();

 private:
  struct Child {
    std::vector<std::byte> key;
    std::uint32_t record = 0;
    std::uint32_t page = 0;
  };

  std::uint32_t BuildTree(const KeyList& entries, std::byte pad);
  std::vector<Child> PackLeaves(const KeyList& entries, std::byte pad);
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
