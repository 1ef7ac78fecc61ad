// Writes an invented office as files: CENTRAL, COMPS and PHOTO with memo and indexes, and a FOLVANE.MDB that
// already holds a part of the keys.
#pragma once

#include <filesystem>

#include "sample/office.h"
#include "storage/base/file.h"

namespace corvix::sample {

/// Replaces files of these names in the directory, which must exist. Memory grows only with the index keys of
/// one tag at a time. Errors as the file system and the engines raise them; 5 for options out of range.
void WriteOffice(storage::FileSystem& files, const std::filesystem::path& directory,
                 const OfficeOptions& options);

/// The parts, for those who want the one without the other.
void WriteSourceTables(storage::FileSystem& files, const std::filesystem::path& directory,
                       const OfficeOptions& options);
void WriteTarget(storage::FileSystem& files, const std::filesystem::path& directory,
                 const OfficeOptions& options);

}  // namespace corvix::sample
