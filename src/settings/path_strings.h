// The three shared path strings of a conversion, derived from the texts of the main window's four boxes at
// start-up and at the start of every run.
#pragma once

#include <string>
#include <string_view>

namespace corvix::settings {

struct PathStrings {
  std::string CompPath;   ///< source directory, trimmed and ending in one "\", or empty
  std::string CompFile;   ///< full name of the source comps table
  std::string CompsFile;  ///< full name of the target database
};

/// Derives the strings. Directories are brought into normal form; file names are taken exactly as typed.
void SetGlobalNames(PathStrings& paths, std::string_view txtCompPath, std::string_view txtcompfilename,
                    std::string_view txtCompsPath, std::string_view txtcompsfilename);

}  // namespace corvix::settings
