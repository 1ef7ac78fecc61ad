// What the tests of the physical layer share: a file that holds only the pages that were written, and a small
// database around one table.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/error.h"
#include "storage/base/file.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"
#include "support/errors.h"

namespace corvix::jet {

using PageBytes = std::array<std::byte, kPageSize>;

/// A file of whole pages; pages never written read as zeros.
class SparseFile : public storage::File {
 public:
  struct State {
    std::map<std::uint64_t, PageBytes> pages;
    std::uint64_t size = 0;
  };
  explicit SparseFile(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::uint64_t Size() const override { return state_->size; }
  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> out) override {
    const auto found = state_->pages.find(offset / kPageSize);
    if (found == state_->pages.end()) {
      std::ranges::fill(out, std::byte{0});
    } else {
      std::ranges::copy(found->second, out.begin());
    }
    return out.size();
  }
  void WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
    for (std::size_t at = 0; at < bytes.size(); at += kPageSize) {
      const std::uint64_t page = (offset + at) / kPageSize;
      const auto part = bytes.subspan(at, kPageSize);
      if (std::ranges::all_of(part, [](std::byte byte) { return byte == std::byte{0}; })) {
        state_->pages.erase(page);
      } else {
        std::ranges::copy(part, state_->pages[page].begin());
      }
    }
    state_->size = std::max(state_->size, offset + bytes.size());
  }
  void Truncate(std::uint64_t size) override { state_->size = size; }
  void Sync() override {}
  bool TryLock(storage::LockKind, std::uint64_t, std::uint64_t) override { return true; }
  void Unlock(std::uint64_t, std::uint64_t) override {}

 private:
  std::shared_ptr<State> state_;
};

using corvix::test::NumberOf;

/// A new file with a global map and a page for usage maps (page 6); page 2 stands for the table's definition.
struct ScratchFile {
  static constexpr PageNumber kTable = 2;
  static constexpr PageNumber kMaps = 6;

  explicit ScratchFile(std::size_t cache_pages = 64)
      : state(std::make_shared<SparseFile::State>()),
        pager(std::make_unique<SparseFile>(state), "SCRATCH.MDB", {cache_pages * kPageSize, false}),
        allocator((MakePages(pager), pager)) {}

  RowRef NewMap() { return UsageMap::Create(pager, kMaps); }

  std::shared_ptr<SparseFile::State> state;
  Pager pager;
  PageAllocator allocator;

 private:
  static void MakePages(Pager& pager) {
    while (pager.page_count() <= kMaps) pager.Append();
    DataPageEdit::Format(pager.Edit(kMaps).bytes(), 0);
    PageAllocator::Format(pager);
  }
};

/// The pages of a map, read from its bytes alone.
inline std::set<PageNumber> PagesOfMap(Pager& pager, RowRef cell) {
  std::set<PageNumber> pages;
  const auto add = [&](storage::ByteView bits, std::uint64_t first) {
    for (std::size_t bit = 0; bit < 8 * bits.size(); ++bit) {
      if ((std::to_integer<int>(bits[bit / 8]) >> (bit % 8) & 1) != 0)
        pages.insert(static_cast<PageNumber>(first + bit));
    }
  };
  const PageView view = pager.Read(cell.page);
  const storage::ByteView bytes = DataPage(view).CellBytes(cell.row);
  if (bytes[0] == std::byte{0}) {
    add(bytes.subspan(5), storage::ReadLittle<std::uint32_t>(bytes, 1));
  } else {
    for (std::size_t i = 0; 5 + 4 * i <= bytes.size(); ++i) {
      const auto page = storage::ReadLittle<std::uint32_t>(bytes, 1 + 4 * i);
      if (page != 0) add(pager.Read(page).bytes().subspan(4), i * 32736);
    }
  }
  return pages;
}

}  // namespace corvix::jet
