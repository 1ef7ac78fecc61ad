// Reading and writing one value of an INI file, as the platform's private-profile operations do. A file name
// without a directory means a file in the Windows directory; names of files and directories are matched
// without regard to case.
#pragma once

#include <string>
#include <string_view>

#include "settings/settings_place.h"

namespace corvix::settings {

/// The value of a key; the default, without blanks at its end, when the file, the section or the key is
/// missing or the file may not be read. A present but empty value is empty. Device errors (57, 68, 71) pass
/// to the caller.
std::string IniReadString(const SettingsPlace& place, std::string_view file, std::string_view section,
                          std::string_view key, std::string_view default_value);

/// Stores a value; file, section and key are created when absent. The file is replaced as a whole: at any
/// instant it is the old or the new one, also across a crash. A failure changes nothing and is not reported.
void IniWriteString(const SettingsPlace& place, std::string_view file, std::string_view section,
                    std::string_view key, std::string_view value);

}  // namespace corvix::settings
