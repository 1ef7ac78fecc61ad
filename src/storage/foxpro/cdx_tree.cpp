#include "storage/foxpro/cdx_tree.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "common/text.h"

namespace corvix::foxpro {
namespace {

using storage::AsText;
using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;

constexpr std::uint32_t kBlockSize = 8192;
constexpr std::size_t kFileBudget = std::size_t{2} << 20;
constexpr std::size_t kDecodedPages = 128;
constexpr int kMaxDepth = 32;
constexpr std::byte kBlank{' '};

std::string_view UntilNul(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string PoolText(ByteView header, std::size_t offset_field, std::size_t length_field) {
  const std::string_view pool = AsText(header.subspan(cdx::kPool, cdx::kPoolSize));
  const std::size_t offset = ReadLittle<std::uint16_t>(header, offset_field);
  const std::size_t length = ReadLittle<std::uint16_t>(header, length_field);
  if (offset >= pool.size()) return {};
  return std::string(UntilNul(pool.substr(offset, length)));
}

}  // namespace

CdxFile::CdxFile(std::unique_ptr<storage::File> file, std::string place)
    : file_(std::move(file)),
      place_(std::move(place)),
      size_(file_->Size()),
      cache_(*file_, 0, kBlockSize, kFileBudget) {
  if (size_ < cdx::kHeaderSize + cdx::kPageSize) {
    ThrowDamagedIndex(fmt::format("the file has {} bytes, fewer than an empty index", size_), place_);
  }
  directory_ = ReadHeader(0, "(tags)");
  if ((directory_.options & cdx::kCompound) == 0) ThrowDamagedIndex("it has no directory of tags", place_);
  TagTree tree(*this, directory_, kBlank);
  TagCursor cursor(tree);
  for (bool more = cursor.First(); more; more = cursor.Next()) {
    if (tags_.size() >= PageCount())
      ThrowDamagedIndex("the directory names more tags than fit the file", place_);
    std::string_view name = UntilNul(AsText(cursor.Key()));
    name = common::TrimRight(name);
    tags_.push_back(ReadHeader(cursor.Record(), std::string(name)));
  }
}

const Tag* CdxFile::FindTag(std::string_view name) const {
  const auto found =
      std::ranges::find_if(tags_, [&](const Tag& tag) { return common::EqualIgnoringCase(tag.name, name); });
  return found == tags_.end() ? nullptr : &*found;
}

ByteView CdxFile::ReadPage(std::uint32_t offset) {
  if (offset % cdx::kPageSize != 0 || offset + std::uint64_t{cdx::kPageSize} > size_) {
    ThrowDamagedIndex("it points to a page that is not in the file", PagePlace{place_, offset}.Text());
  }
  const ByteView block = cache_.Block(offset / kBlockSize);
  return storage::Slice(block, offset % kBlockSize, cdx::kPageSize);
}

Tag CdxFile::ReadHeader(std::uint32_t offset, std::string name) {
  std::array<std::byte, cdx::kHeaderSize> header{};
  std::ranges::copy(ReadPage(offset), header.begin());
  std::ranges::copy(ReadPage(static_cast<std::uint32_t>(offset + cdx::kPageSize)),
                    header.begin() + cdx::kPageSize);
  Tag tag;
  tag.name = std::move(name);
  tag.header = offset;
  tag.root = ReadLittle<std::uint32_t>(header, cdx::kRoot);
  tag.key_length = ReadLittle<std::uint16_t>(header, cdx::kKeyLength);
  tag.options = ReadByte(header, cdx::kOptions);
  tag.descending = ReadLittle<std::uint16_t>(header, cdx::kDescending) != 0;
  tag.collation =
      common::TrimRight(UntilNul(AsText(ByteView(header).subspan(cdx::kCollation, cdx::kCollationSize))));
  if (common::EqualIgnoringCase(tag.collation, "MACHINE")) tag.collation.clear();
  tag.key = PoolText(header, cdx::kKeyOffset, cdx::kKeyTextLength);
  tag.condition = PoolText(header, cdx::kForOffset, cdx::kForLength);
  if (tag.key_length < 1 || tag.key_length > cdx::kMaxKeyLength) {
    ThrowDamagedIndex(fmt::format("tag {} has keys of {} bytes", tag.name, tag.key_length),
                      PagePlace{place_, offset}.Text());
  }
  return tag;
}

TagTree::TagTree(CdxFile& file, const Tag& tag, std::byte pad)
    : file_(file), tag_(tag), pad_(pad), pages_(kDecodedPages) {}

std::shared_ptr<const CdxPage> TagTree::Page(std::uint32_t offset) {
  if (const auto* kept = pages_.Find(offset)) return *kept;
  if (offset < cdx::kHeaderSize) {
    ThrowDamagedIndex("it points into its own header", PagePlace{file_.place(), offset}.Text());
  }
  auto page = std::make_shared<const CdxPage>(file_.ReadPage(offset), tag_.key_length, pad_,
                                              PagePlace{file_.place(), offset});
  pages_.Recycle();
  return pages_.Insert(offset, std::move(page));
}

bool TagCursor::Leave() {
  page_ = nullptr;
  return false;
}

/// To the first or last leaf, whether it has entries or not.
void TagCursor::Descend(bool to_last) {
  steps_ = 0;
  offset_ = tree_.tag().root;
  page_ = tree_.Page(offset_);
  for (int depth = 0; !page_->IsLeaf(); ++depth) {
    const PagePlace place{tree_.file().place(), offset_};
    if (page_->size() == 0) ThrowDamagedIndex("an interior page is empty", place.Text());
    if (depth == kMaxDepth) ThrowDamagedIndex("its levels do not end", place.Text());
    offset_ = page_->Child(to_last ? page_->size() - 1 : 0);
    page_ = tree_.Page(offset_);
  }
}

void TagCursor::GoToNeighbour(bool right) {
  const std::uint32_t neighbour = right ? page_->right() : page_->left();
  if (neighbour == cdx::kNoPage) {
    page_ = nullptr;
    return;
  }
  auto next = tree_.Page(neighbour);
  const std::uint32_t back = right ? next->left() : next->right();
  if (!next->IsLeaf() || back != offset_ || ++steps_ > tree_.file().PageCount()) {
    ThrowDamagedIndex(fmt::format("the page at {} names a neighbour that does not name it", offset_),
                      PagePlace{tree_.file().place(), neighbour}.Text());
  }
  page_ = std::move(next);
  offset_ = neighbour;
}

/// From a leaf, over leaves without entries, to the nearest entry in that direction.
bool TagCursor::SkipEmptyPages(bool right) {
  while (page_ != nullptr && page_->size() == 0) GoToNeighbour(right);
  if (page_ == nullptr) return false;
  entry_ = right ? 0 : page_->size() - 1;
  return true;
}

bool TagCursor::Leftmost() {
  Descend(false);
  return SkipEmptyPages(true);
}

bool TagCursor::Rightmost() {
  Descend(true);
  return SkipEmptyPages(false);
}

bool TagCursor::StepRight() {
  if (++entry_ < page_->size()) return true;
  GoToNeighbour(true);
  return SkipEmptyPages(true);
}

bool TagCursor::StepLeft() {
  if (entry_ > 0) {
    --entry_;
    return true;
  }
  GoToNeighbour(false);
  return SkipEmptyPages(false);
}

bool TagCursor::First() { return tree_.tag().descending ? Rightmost() : Leftmost(); }

bool TagCursor::Next() {
  if (!IsOnEntry()) return false;
  return tree_.tag().descending ? StepLeft() : StepRight();
}

/// To the lowest entry that is not below (key, record), in file order.
bool TagCursor::LowerBound(ByteView key, std::uint32_t record) {
  steps_ = 0;
  offset_ = tree_.tag().root;
  page_ = tree_.Page(offset_);
  for (int depth = 0; !page_->IsLeaf(); ++depth) {
    if (depth == kMaxDepth) {
      ThrowDamagedIndex("its levels do not end", PagePlace{tree_.file().place(), offset_}.Text());
    }
    const std::size_t child = page_->LowerBound(key, record);
    if (child == page_->size()) return Leave();  // invariant 3: above everything
    offset_ = page_->Child(child);
    page_ = tree_.Page(offset_);
  }
  entry_ = page_->LowerBound(key, record);
  if (entry_ < page_->size()) return true;
  GoToNeighbour(true);
  return SkipEmptyPages(true);
}

bool TagCursor::Seek(ByteView key, std::uint32_t record) {
  if (!tree_.tag().descending) return LowerBound(key, record);
  if (!LowerBound(key, record)) return Rightmost();
  const bool is_it = CompareEntries(Key(), Record(), key, record) == 0;
  return is_it || StepLeft();
}

bool TagCursor::FindEqual(ByteView key) {
  const bool found = Seek(key, tree_.tag().descending ? 0xFFFFFFFF : 0);
  if (found && std::ranges::equal(Key(), key)) return true;
  return Leave();
}

void TagCursor::MoveTo(EntryPosition position) {
  steps_ = 0;
  page_ = tree_.Page(position.page);
  offset_ = position.page;
  entry_ = position.entry;
}

}  // namespace corvix::foxpro
