// The mark of a database that is being changed. It stands in the header page, in bytes that the format leaves
// zero and no other program reads, from before the first page is overwritten until the changes are complete:
//
//   0    8   "CVXTORN1"
//   8    8   number of the journal that takes the changes back (its salt)
//   16   8   checksum of bytes 0..15: what a failing device wrote half of is no mark
//
// So a database that a crash left half written is known as such wherever it is copied, linked or moved to
// without its journal; and a journal knows the one state of the one file that it belongs to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "storage/base/bytes.h"
#include "storage/base/file.h"

namespace corvix::jet::change_mark {

inline constexpr std::size_t kSize = 24;
/// What stands at the place of the mark.
using Place = std::array<std::byte, kSize>;

Place Read(storage::File& database);
void Write(storage::File& database, const Place& place);
/// The mark that names a journal.
Place Naming(std::uint64_t journal);
/// The journal that the mark names; none where there is no mark.
std::optional<std::uint64_t> JournalOf(const Place& place);
/// Lays `place` over the part of it that bytes of the database, from `offset` on, contain.
void Cover(const Place& place, std::uint64_t offset, storage::ByteSpan bytes);

}  // namespace corvix::jet::change_mark
