#include "storage/jet/pages/cell_space.h"

namespace corvix::jet {

namespace {

// A page that refuses a cell and has less room than this leaves the free-space map.
constexpr std::size_t kNearlyFull = 1024;
// A page comes back to the free-space map with this much room.
constexpr std::size_t kUsefulRoom = 512;
// Pages of the free-space map that are tried before the file grows.
constexpr int kTries = 4;

}  // namespace

CellSpace::CellSpace(Pager& pager, PageAllocator& allocator, RowRef owned_map, RowRef free_map,
                     std::uint32_t owner)
    : pager_(pager), allocator_(allocator), owned_(pager, owned_map, &allocator), owner_(owner) {
  if (!free_map.IsNone()) free_space_.emplace(pager, free_map, &allocator);
}

bool CellSpace::TakesCell(PageNumber page, std::size_t length) const {
  const PageView view = pager_.Read(page);
  return DataPage::IsOwnedBy(view.bytes(), owner_) && DataPage(view).HasRoomFor(length);
}

std::optional<PageNumber> CellSpace::Search(std::size_t length) {
  if (!free_space_) return std::nullopt;
  auto page = free_space_->Last();
  for (int tries = 0; page && tries < kTries; ++tries) {
    if (owned_.Contains(*page) && TakesCell(*page, length)) return page;
    const PageView view = pager_.Read(*page);
    if (!DataPage::IsOwnedBy(view.bytes(), owner_) || !DataPage(view).HasRoomFor(kNearlyFull)) {
      free_space_->Remove(*page);
    }
    page = *page == 0 ? std::nullopt : free_space_->PreviousFrom(*page - 1);
  }
  return std::nullopt;
}

PageEdit CellSpace::PageFor(std::size_t length) {
  if (current_ == 0 || undo_count_ != pager_.undo_count() || !TakesCell(current_, length)) {
    undo_count_ = pager_.undo_count();
    const auto found = Search(length);
    if (found) {
      current_ = *found;
    } else {
      current_ = NewPage().number();
      if (free_space_) free_space_->Add(current_);
    }
  }
  return pager_.Edit(current_);
}

PageEdit CellSpace::NewPage() {
  PageEdit page = allocator_.Allocate();
  DataPageEdit::Format(page.bytes(), owner_);
  owned_.Add(page.number());
  return page;
}

void CellSpace::RoomGained(PageNumber page) {
  if (!free_space_ || !owned_.Contains(page)) return;
  if (DataPage(pager_.Read(page)).HasRoomFor(kUsefulRoom)) free_space_->Add(page);
}

void CellSpace::Release(PageNumber page) {
  owned_.Remove(page);
  if (free_space_) free_space_->Remove(page);
  if (current_ == page) current_ = 0;
  allocator_.Release(page);
}

}  // namespace corvix::jet
