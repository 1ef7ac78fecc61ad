// What a conversion needs of a directory of source tables beyond sound files: that all three tables are
// there, each with its index file and the tag CENTRALKEY in it.
#pragma once

#include <filesystem>
#include <vector>

#include "storage/base/file.h"
#include "storage/foxpro/foxpro_check.h"

namespace corvix::cli {

/// What is missing, in words that tell which file to copy; nothing for a directory that holds none of the
/// tables. What foxpro::CheckTable says of a table by itself is not repeated.
std::vector<foxpro::Finding> CheckSource(storage::FileSystem& files, const std::filesystem::path& directory);

}  // namespace corvix::cli
