#include "storage/foxpro/block_cache.h"

#include <algorithm>

namespace corvix::foxpro {

BlockCache::BlockCache(storage::File& file, std::uint64_t start, std::uint32_t block_size, std::size_t budget)
    : file_(file),
      start_(start),
      block_size_(block_size),
      blocks_(std::max<std::size_t>(1, budget / block_size)) {}

storage::ByteView BlockCache::Block(std::uint64_t index) {
  if (const auto* kept = blocks_.Find(index)) return *kept;
  std::vector<std::byte> block = blocks_.Recycle();
  block.resize(block_size_);
  block.resize(file_.ReadAt(start_ + index * block_size_, block));
  return blocks_.Insert(index, std::move(block));
}

}  // namespace corvix::foxpro
