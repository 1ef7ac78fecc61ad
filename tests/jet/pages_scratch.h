// What the tests of the physical layer share: a file of any size, and one that is ready for usage maps.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <set>

#include "common/error.h"
#include "storage/base/bytes.h"
#include "storage/base/posix_file.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"
#include "support/errors.h"
#include "support/temporary_directory.h"

namespace corvix::jet {

using PageBytes = std::array<std::byte, kPageSize>;

/// A file on the disk, where pages that were never written take no room.
class ScratchFile {
 public:
  Pager Open(std::size_t cache_pages, bool read_only = false,
             std::unique_ptr<PageJournal> journal = nullptr) {
    return {disk_.Open(path_, storage::OpenMode::CreateOrOpen),
            path_,
            {cache_pages * kPageSize, read_only},
            std::move(journal)};
  }
  std::uint64_t Size() { return disk_.Open(path_, storage::OpenMode::Read)->Size(); }
  void Resize(std::uint64_t size) { disk_.Open(path_, storage::OpenMode::CreateOrOpen)->Truncate(size); }

 private:
  corvix::test::TemporaryDirectory directory_;
  storage::PosixFileSystem disk_;
  const std::filesystem::path path_ = directory_.path() / "SCRATCH.MDB";
};

using corvix::test::NumberOf;

/// A new file with a global map and a page for usage maps (page 6).
struct ScratchMaps {
  static constexpr PageNumber kMaps = 6;

  RowRef NewMap() { return UsageMap::Create(pager, kMaps); }

  ScratchFile file;
  Pager pager = file.Open(64);
  PageAllocator allocator{(MakePages(pager), pager)};

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
