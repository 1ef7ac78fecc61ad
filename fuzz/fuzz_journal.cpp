// The journal beside a database that a crash left half overwritten is fuzzed: as it is, and with all
// checksums put right, so that what it says is believed.
#include <algorithm>
#include <cstdlib>

#include "common/error.h"
#include "fuzz_files.h"
#include "storage/jet/jet_database.h"
#include "storage/jet/pages/change_mark.h"
#include "storage/jet/pages/journal_format.h"

namespace {

using namespace corvix;
namespace format = jet::journal_format;
using Bytes = std::vector<std::byte>;

void Use(const Bytes& database, std::span<const std::byte> journal) {
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "FOLVANE.MDB", fuzz::AsInput(database));
  fuzz::PutFile(files, "FOLVANE.MDB-journal", fuzz::AsInput(journal));
  for (const auto access : {core::Access::ReadOnly, core::Access::ReadWrite}) {
    try {
      fuzz::UseRecords(*jet::OpenJetDatabase(files, "FOLVANE.MDB", access)->OpenTable("COMPS"), "CENTRALKEY");
    } catch (const common::Error&) {
    }
    if (access == core::Access::ReadOnly && files.Contents("FOLVANE.MDB") != database) std::abort();
  }
}

/// Makes the journal the one that the database names, and puts right the checksums of heads and entries and
/// the sum of the database that it leads to.
void MendChecksums(Bytes& journal, Bytes database) {
  if (journal.size() < format::kHeadsSize) return;
  const auto salt = storage::ReadLittle<std::uint64_t>(database, jet::header::kChangeMark + 8);
  storage::WriteLittle<std::uint64_t>(journal, format::kSalt, salt);
  std::copy_n(journal.begin() + format::kMarkPlace, jet::change_mark::kSize,
              database.begin() + jet::header::kChangeMark);
  for (std::uint64_t i = 0; format::EntryOffset(i + 1) <= journal.size(); ++i) {
    const auto entry = storage::ByteSpan(journal).subspan(format::EntryOffset(i), format::kEntrySize);
    const auto page = storage::ReadLittle<std::uint32_t>(entry, format::kEntryPage);
    const auto image = entry.subspan(format::kEntryImage);
    storage::WriteLittle<std::uint64_t>(entry, format::kEntryChecksum,
                                        format::EntryChecksum(image, salt, page, i));
    const std::uint64_t at = std::uint64_t{page} * jet::kPageSize;
    if (at + jet::kPageSize <= database.size()) {
      std::ranges::copy(image, database.begin() + static_cast<std::ptrdiff_t>(at));
    }
  }
  const auto length = storage::ReadLittle<std::uint64_t>(journal, format::kLength);
  const auto stride = storage::ReadLittle<std::uint32_t>(journal, format::kStride);
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "FOLVANE.MDB", fuzz::AsInput(database));
  if (length <= database.size()) {
    const std::uint64_t sum = format::DatabaseSum(*files.Open("FOLVANE.MDB", storage::OpenMode::Read), length,
                                                  std::max(stride, 1u));
    storage::WriteLittle<std::uint64_t>(journal, format::kSum, sum);
  }
  storage::WriteLittle<std::uint64_t>(
      journal, format::kHeadChecksum,
      jet::Checksum(storage::ByteView(journal).first(format::kHeadChecksum), 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes& crashed = fuzz::CrashedOffice().database;
  const auto input = std::as_bytes(std::span(data, size));
  Use(crashed, input);
  Bytes mended(input.begin(), input.end());
  MendChecksums(mended, crashed);
  Use(crashed, mended);
  return 0;
}
