// The text of an INI file: sections of key=value lines, read and changed one value at a time.
//
//   [DIRECTORIES]            a section; blanks before the bracket and just inside the brackets mean nothing
//   ; a comment              a line that begins with ";"
//   DATADIR = C:\DATA        the first "=" ends the key; blanks around key and value mean nothing
//   NAME = "  padded "       a pair of equal quotes around the value is taken off
//
// Names are compared without regard to case. The first section of a name and the first key in it count.
// Lines end in CR LF or LF; what stands in front of the first section belongs to none. A change keeps every
// other line as it is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvix::settings {

/// The value of a key, empty when it is present but empty; none when the section or the key is missing.
std::optional<std::string> FindIniValue(std::string_view text, std::string_view section,
                                        std::string_view key);

/// The text with a key set to a value. An existing line keeps its place and spelling; a new key goes behind
/// the last line of its section, a new section to the end. Line breaks in the arguments become blanks, blanks
/// in front of the value are dropped.
std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value);

}  // namespace corvix::settings
