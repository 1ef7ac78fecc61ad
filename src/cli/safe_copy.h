// Copies of a database that can be relied on: dated backups beside it, and putting one back.
//
// A copy is written under a temporary name, synced, read again and compared byte by byte, and only then gets
// its name. So a file that bears a dated name is complete, and whatever fails on the way (full disk, power
// cut) leaves the database as it was. What an interrupted run left in a journal is counted in: a copy holds
// the last checkpoint.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "storage/base/file.h"

namespace corvix::cli {

/// Local time as YYYYMMDD-HHMMSS.
std::string TimeStamp();

/// Copies the database to NAME-STAMP.EXT in its directory and returns that path. Errors: 53 no database, 3051
/// in use, 61 not enough space, 57 the copy differs, and those of the file system.
std::filesystem::path BackUp(storage::FileSystem& files, const std::filesystem::path& database,
                             std::string_view stamp);

struct Restored {
  std::filesystem::path database;
  std::optional<std::filesystem::path>
      replaced;  ///< copy of the database that was there, NAME-replaced-STAMP.EXT
};

/// Puts `copy` in the place of `database` at one stroke; there may be none yet. Errors, before anything is
/// changed: 3343 and 3049 for a copy that is no sound database, 5 when both are one file, 76 no such
/// directory, 3051 when either is in use, and as above.
Restored Restore(storage::FileSystem& files, const std::filesystem::path& copy,
                 const std::filesystem::path& database, std::string_view stamp);

}  // namespace corvix::cli
