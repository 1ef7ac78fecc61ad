#include "storage/base/bytes.h"

#include <fmt/format.h>

namespace corvix::storage {

void ThrowOutOfBounds(std::size_t offset, std::size_t length, std::size_t size) {
  throw common::Error(common::kDamagedDatabase,
                      fmt::format("The file is damaged: {} bytes at {} reach beyond the {} that are there",
                                  length, offset, size));
}

}  // namespace corvix::storage
