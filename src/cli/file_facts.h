// Size and checksum of the files of a conversion, so that a report proves which files it is about.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"

namespace corvix::cli {

/// CRC-32 as in ZIP and Ethernet (reflected polynomial EDB88320). `crc` is that of the bytes before, 0 at the
/// start.
std::uint32_t Crc32(storage::ByteView bytes, std::uint32_t crc = 0);

struct FileFacts {
  std::filesystem::path path;
  std::uint64_t size = 0;
  std::uint32_t crc32 = 0;
};

/// The database first, then the source tables with their index and memo files; what does not exist is left
/// out. Errors of the file system.
std::vector<FileFacts> FactsOf(storage::FileSystem& files, const std::filesystem::path& database,
                               const std::filesystem::path& source);

}  // namespace corvix::cli
