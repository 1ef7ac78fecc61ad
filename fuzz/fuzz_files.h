// What the fuzz targets share: files in memory, sound ones to stand beside the fuzzed one, and ways to use a
// record set to the full. Errors are the expected answer to damage; everything else is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "core/record_set.h"
#include "storage/base/memory_file.h"

namespace corvix::fuzz {

using Input = std::span<const std::uint8_t>;

Input AsInput(std::span<const std::byte> bytes);

/// Replaces the contents of a file, which is made when it does not exist.
void PutFile(storage::MemoryFileSystem& files, std::string_view name, Input bytes);

/// CENTRAL, COMPS and PHOTO with indexes and memos, and FOLVANE.MDB: a small invented office.
const storage::MemoryFileSystem& SoundOffice();
/// A file of the sound office.
Input SoundFile(std::string_view name);

/// FOLVANE.MDB of the sound office as a power cut in the middle of a conversion leaves it, half overwritten,
/// and the hot journal that takes it back.
struct Crash {
  std::vector<std::byte> database;
  std::vector<std::byte> journal;
};
const Crash& CrashedOffice();

/// Opens, uses and checks the table COMPS, `fuzzed` in the place of its file of that name, the others sound.
void UseTableWith(std::string_view name, Input fuzzed);

/// Walks all records in file order and in the order of the index, reads every field, seeks keys. Bounded.
void UseRecords(core::RecordSet& records, std::string_view index);

}  // namespace corvix::fuzz
