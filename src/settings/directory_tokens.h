// The directory tokens with which the file names in tags begin. Directories are backslash texts.
#pragma once

#include <string>
#include <string_view>

#include "settings/settings_place.h"

namespace corvix::settings {

/// The Windows directory with "\" at its end, or empty when there is none.
std::string GetWinDir(const SettingsPlace& place);
/// The keys DATADIR, APPDIR and USERDIR in section DIRECTORIES of TOLVEN.INI in the Windows directory, as
/// they stand there; empty when absent. Read afresh on every call.
std::string GetDataDir(const SettingsPlace& place);
std::string GetAppDir(const SettingsPlace& place);
std::string GetUserDir(const SettingsPlace& place);

/// `path` with its token "<WINDIR>", "<DATADIR>", "<APPDIR>" or "<USERDIR>", in any case, replaced by the
/// directory: the first of the four that occurs anywhere decides, and what follows the first ">" is appended.
/// A path without ">" is unchanged; one with ">" and no token gives the empty text.
std::string TagExpandDir(const SettingsPlace& place, std::string_view path);

}  // namespace corvix::settings
