// Where the settings files are: the directory that takes the place of the Windows directory, and the file
// system to reach it through. A host makes one and hands it down; tests point it elsewhere.
#pragma once

#include <filesystem>

#include "storage/base/file.h"

namespace corvix::settings {

struct SettingsPlace {
  storage::FileSystem& files;
  /// Host path of the Windows directory; empty when there is none. It is created when a file is first written
  /// to it.
  std::filesystem::path windows_directory;
};

/// $XDG_CONFIG_HOME/corvix, else ~/.config/corvix; empty when the environment names neither directory.
std::filesystem::path DefaultWindowsDirectory();

}  // namespace corvix::settings
