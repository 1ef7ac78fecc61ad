// Reads a file in blocks of one size and keeps those used lately, so that memory does not grow with the file.
// Read-only: the file is taken not to change while it is open.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/foxpro/clock_cache.h"

namespace corvix::foxpro {

class BlockCache {
 public:
  /// Block 0 begins at `start`. `file` outlives the cache; at most about `budget` bytes are kept.
  BlockCache(storage::File& file, std::uint64_t start, std::uint32_t block_size, std::size_t budget);

  /// The bytes of a block, fewer at the end of the file. Valid until the next call.
  storage::ByteView Block(std::uint64_t index);

 private:
  storage::File& file_;
  std::uint64_t start_;
  std::uint32_t block_size_;
  ClockCache<std::vector<std::byte>> blocks_;
};

}  // namespace corvix::foxpro
