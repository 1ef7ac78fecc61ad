// Bindings: the text in a control's tag that names the INI file, section, key and default value behind it,
// written FILE[SECTION]KEY|DEFAULT; and the routines that load controls from their bindings and save them.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "settings/bound_control.h"
#include "settings/settings_place.h"

namespace corvix::settings {

/// The parts of a binding. The file part may begin with a directory token (directory_tokens.h); the default
/// may be empty and may contain "|".
struct TagBinding {
  std::string file;
  std::string section;
  std::string key;
  std::string default_value;
};
TagBinding SplitBinding(std::string_view tag);

/// False exactly for "0", blanks around it aside; an empty value counts as true.
bool TagIsTrue(std::string_view text);
/// "1" or "0".
std::string_view TagBoolStr(bool flag);

/// The value into the control: its text when the name contains "TXT" in any case, else its caption.
void TagReadTag(const SettingsPlace& place, BoundControl& control);
/// On or off by TagIsTrue.
void TagReadOptionTag(const SettingsPlace& place, BoundControl& control);
/// The state of the leading number in the value, 0 when there is none. Error 380 for a number that is no
/// state, 6 for one outside 16 bits.
void TagReadBkBoxTag(const SettingsPlace& place, BoundControl& control);

void TagWriteTag(const SettingsPlace& place, BoundControl& control);
void TagWriteOptionTag(const SettingsPlace& place, BoundControl& control);
void TagWriteBkBoxTag(const SettingsPlace& place, BoundControl& control);

/// Every setting of the system.
struct Setting {
  std::string_view control;  ///< members of a control array with their index
  std::string_view tag;
  bool saved;
};
inline constexpr std::array<Setting, 10> kSettings{{
    {"txtCompPath", "<WINDIR>MARVEK.INI[DIRECTORIES]DATADIR|", false},
    {"txtCompsPath", "<WINDIR>ZELTA.INI[DIRECTORIES]DATADIR|", false},
    {"txtcompfilename", "<WINDIR>CORVIX.INI[DIRECTORIES]DATAFILE|COMPS.DBF", true},
    {"txtcompsfilename", "<WINDIR>ZELTA.INI[DIRECTORIES]DATAFILE|FOLVANE.MDB", false},
    {"optdup(0)", "<WINDIR>CORVIX.INI[PREFERENCES]DUPLICATE0|0", true},
    {"optdup(1)", "<WINDIR>CORVIX.INI[PREFERENCES]DUPLICATE1|0", true},
    {"optdup(2)", "<WINDIR>CORVIX.INI[PREFERENCES]DUPLICATE2|1", true},
    {"ckbconvertphotos", "<WINDIR>CORVIX.INI[PREFERENCES]CONVERTPHOTOS|1", true},
    {"LblVersion", "<WINDIR>MARVEK.INI[PROGRAM ALIAS]VERSION|", false},
    {"lblProgramAlias", "<WINDIR>zelta.INI[PROGRAM ALIAS]Quorvex Vistrel|Quorvex Vistrel", false},
}};

/// The tag of a control of kSettings; a control that is not there is a mistake of the program (error 5).
std::string_view TagOf(std::string_view control);

/// The controls of the main window that are bound.
struct MainWindowControls {
  BoundControl& txtCompPath;
  BoundControl& txtCompsPath;
  BoundControl& txtcompfilename;
  BoundControl& txtcompsfilename;
  std::array<BoundControl*, 3> optdup;
  BoundControl& ckbconvertphotos;
};

/// Loads them at start-up. A check box value that is no state counts as the binding's default.
void ReadTags(const SettingsPlace& place, const MainWindowControls& controls);
/// Saves the five that are saved when the window unloads.
void WriteTags(const SettingsPlace& place, const MainWindowControls& controls);

}  // namespace corvix::settings
