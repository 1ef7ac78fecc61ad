// Copies of a database that can be relied on: dated backups beside it, and putting one back.
//
// What is copied is checked first, and a file that bears a dated name is complete (whole_copy.h): whatever
// fails on the way (full disk, power cut, a kill) leaves the database as it was. Copies keep permissions,
// owner, group and times. What an interrupted run left in a journal is counted in: a copy holds the last
// checkpoint.
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
/// in use, before anything is written 3343 and 3049 when it is damaged, 61 not enough space, 57 the copy
/// differs, and those of the file system.
std::filesystem::path BackUp(storage::FileSystem& files, const std::filesystem::path& database,
                             std::string_view stamp);

struct Restored {
  std::filesystem::path database;
  std::optional<std::filesystem::path>
      replaced;  ///< copy of the database that was there, NAME-replaced-STAMP.EXT
};

/// Puts `copy` in the place of `database` at one stroke, with the rights of the one that is there; there may
/// be none yet. Errors, before anything is changed: 3343 and 3049 for a copy that is no sound database, 3011
/// for one without table COMPS, 5 when both are one file, 76 no such directory, 3051 when either is in use,
/// 58 when something else bears the name NAME.part, and as above.
Restored Restore(storage::FileSystem& files, const std::filesystem::path& copy,
                 const std::filesystem::path& database, std::string_view stamp);

}  // namespace corvix::cli
