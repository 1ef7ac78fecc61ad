// The undo journal on disk. All numbers are little-endian.
//
//   Head, 512 bytes, twice:
//   0    8   "CVXUNDO2"
//   8    4   page size, 4096
//   12   4   stride k of the database sum
//   16   8   salt, a random number: the mark of the database names the journal by it, and it marks the
//   entries 24   8   length of the database in bytes at its checkpoint 32   8   database sum: sum of the
//   checksums of pages 0, k, 2k, ... at that checkpoint, seeded by page
//            number; the mark of the database does not count
//   40   8   salt of the journal that stood in this file before, 0 = none: its changes are complete
//   48   24  what stands in the database at the place of the mark while nothing changes
//   72   4   state: 1 = the changes are not complete, 2 = they are and the journal is of no use
//   504  8   checksum of bytes 0..503
//
//   Entries, 4112 bytes each, from 1024 on:
//   0    4   page number
//   4    4   0
//   8    8   checksum of the image, seeded by salt, page and position of the entry
//   16   4096 image of the page, as the database file held it at the checkpoint
//
// The entries end where a checksum is wrong: what lies behind was written and never synced, or belongs to an
// older salt. A head counts when its checksum is right; the first one that is decides.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "storage/base/file.h"
#include "storage/jet/pages/checksum.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet::journal_format {

inline constexpr std::array<char, 8> kMagic{'C', 'V', 'X', 'U', 'N', 'D', 'O', '2'};
inline constexpr std::size_t kPageSizeField = 8;
inline constexpr std::size_t kStride = 12;
inline constexpr std::size_t kSalt = 16;
inline constexpr std::size_t kLength = 24;
inline constexpr std::size_t kSum = 32;
inline constexpr std::size_t kPreviousSalt = 40;
inline constexpr std::size_t kMarkPlace = 48;
inline constexpr std::size_t kState = 72;
inline constexpr std::size_t kHeadChecksum = 504;
inline constexpr std::size_t kHeadSize = 512;
inline constexpr std::size_t kHeadsSize = 2 * kHeadSize;

inline constexpr std::uint32_t kInUse = 1;  // states
inline constexpr std::uint32_t kDone = 2;

inline constexpr std::size_t kEntryPage = 0;
inline constexpr std::size_t kEntryChecksum = 8;
inline constexpr std::size_t kEntryImage = 16;
inline constexpr std::size_t kEntrySize = kEntryImage + kPageSize;

inline std::uint64_t EntryOffset(std::uint64_t position) { return kHeadsSize + position * kEntrySize; }

inline std::uint64_t EntryChecksum(storage::ByteView image, std::uint64_t salt, PageNumber page,
                                   std::uint64_t position) {
  return Checksum(image, salt ^ (std::uint64_t{page} << 32 | position));
}

/// Every page counts up to 256 MiB; of larger files so many pages are read.
inline constexpr std::uint64_t kPagesInSum = 65'536;

inline std::uint32_t StrideFor(std::uint64_t length) {
  const std::uint64_t pages = length / kPageSize;
  return static_cast<std::uint32_t>(std::max<std::uint64_t>((pages + kPagesInSum - 1) / kPagesInSum, 1));
}

/// The database sum of a file of that length; `file` gives the bytes.
std::uint64_t DatabaseSum(storage::File& file, std::uint64_t length, std::uint32_t stride);

}  // namespace corvix::jet::journal_format
