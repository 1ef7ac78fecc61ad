// A fast 64-bit checksum against accidents: torn writes, stale bytes, exchanged files. Not against malice.
#pragma once

#include <cstdint>

#include "storage/base/bytes.h"

namespace corvix::jet {

/// Depends on every byte, on their order and number, and on `seed`.
std::uint64_t Checksum(storage::ByteView bytes, std::uint64_t seed);

}  // namespace corvix::jet
