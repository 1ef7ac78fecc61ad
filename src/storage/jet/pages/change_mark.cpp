#include "storage/jet/pages/change_mark.h"

#include <algorithm>
#include <string_view>

#include "storage/jet/pages/checksum.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet::change_mark {

namespace {

constexpr std::string_view kMagic = "CVXTORN1";
constexpr std::size_t kJournal = 8;
constexpr std::size_t kChecksum = 16;

}  // namespace

Place Read(storage::File& database) {
  Place place{};
  database.ReadAt(header::kChangeMark, place);
  return place;
}

void Write(storage::File& database, const Place& place) { database.WriteAt(header::kChangeMark, place); }

Place Naming(std::uint64_t journal) {
  Place place{};
  std::ranges::copy(storage::AsBytes(kMagic), place.begin());
  storage::WriteLittle<std::uint64_t>(place, kJournal, journal);
  storage::WriteLittle<std::uint64_t>(place, kChecksum,
                                      Checksum(storage::ByteView(place).first(kChecksum), 0));
  return place;
}

std::optional<std::uint64_t> JournalOf(const Place& place) {
  const storage::ByteView bytes(place);
  if (storage::AsText(bytes.first(kMagic.size())) != kMagic ||
      storage::ReadLittle<std::uint64_t>(bytes, kChecksum) != Checksum(bytes.first(kChecksum), 0)) {
    return std::nullopt;
  }
  return storage::ReadLittle<std::uint64_t>(bytes, kJournal);
}

void Cover(const Place& place, std::uint64_t offset, storage::ByteSpan bytes) {
  const std::uint64_t begin = std::max<std::uint64_t>(offset, header::kChangeMark);
  const std::uint64_t end = std::min<std::uint64_t>(offset + bytes.size(), header::kChangeMark + kSize);
  for (std::uint64_t at = begin; at < end; ++at) bytes[at - offset] = place[at - header::kChangeMark];
}

}  // namespace corvix::jet::change_mark
