// Brings the keys of a tag into the order of its tree: by key bytes, then by record number. What does not fit
// a fixed budget of memory is sorted in parts that wait in a temporary file and are merged at the end.
//
//   KeySorter keys(35);
//   keys.Add(key, record);  // for every record
//   keys.Sort();
//   while (keys.Next()) Use(keys.Key(), keys.Record());
#pragma once

#include <cstdint>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/scratch_file.h"

namespace corvix::foxpro {

class KeySorter {
 public:
  static constexpr std::size_t kBudget = std::size_t{16} << 20;

  explicit KeySorter(std::size_t key_length, std::size_t budget = kBudget);

  std::size_t key_length() const { return key_length_; }
  std::uint32_t GreatestRecord() const { return greatest_record_; }

  void Add(storage::ByteView key, std::uint32_t record);
  /// Nothing is added any more.
  void Sort();
  /// To the next entry, at first to the lowest; false behind the last one.
  bool Next();
  // On an entry; the key is valid until the next call of Next.
  storage::ByteView Key() const { return entry_.first(key_length_); }
  std::uint32_t Record() const { return storage::ReadBig<std::uint32_t>(entry_, key_length_); }

 private:
  // An entry is the key with the record number behind it, most significant byte first, so that comparing
  // bytes compares entries.
  std::size_t entry_size() const { return key_length_ + sizeof(std::uint32_t); }

  /// A sorted part in the temporary file, read buffer by buffer.
  struct Part {
    std::uint64_t offset = 0;  // of what is not yet in the buffer
    std::uint64_t end = 0;
    std::vector<std::byte> buffer;
    std::size_t at = 0;  // of the next entry in the buffer
  };

  storage::ByteView EntryAt(std::uint32_t position) const {
    return storage::ByteView(entries_).subspan(position * entry_size(), entry_size());
  }
  void SortEntries();
  void PutAside();
  /// False when the part has no entry left.
  bool Advance(Part& part);
  bool IsBehind(std::size_t a, std::size_t b) const;

  std::size_t key_length_;
  std::size_t budget_;
  std::uint32_t greatest_record_ = 0;
  std::vector<std::byte> entries_;
  std::vector<std::uint32_t> order_;  // positions in entries_, sorted by SortEntries
  std::size_t next_ = 0;              // in order_
  storage::ScratchFile file_{0};
  std::vector<Part> parts_;
  std::vector<std::size_t> heap_;  // parts that have entries, the one with the lowest at the front
  std::vector<std::byte> lowest_;
  storage::ByteView entry_;
};

}  // namespace corvix::foxpro
