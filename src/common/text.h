// Text helpers with the meaning that the system's rules give them. All text is UTF-8; a UTF-16 surrogate that
// stands alone in a file is kept as its three-byte form, so that nothing that a file holds is lost. Lengths
// and widths of database fields count UTF-16 code units, as both file formats do.
#pragma once

#include <string>
#include <string_view>

namespace corvix::common {

/// Without the blanks (U+0020 only) at both ends. Tabs and line ends stay.
std::string_view Trim(std::string_view text);
std::string_view TrimLeft(std::string_view text);
std::string_view TrimRight(std::string_view text);

/// Upper case letter by letter, without changes of length in characters (the sharp s stays).
std::string UpperCase(std::string_view text);

/// Equal without regard to case, by the upper-case forms. ASCII takes a path without allocation.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

/// Number of UTF-16 code units of the text.
std::size_t Utf16Length(std::string_view text);

/// True when every byte is below 0x80.
bool IsAscii(std::string_view text);

/// The text in UTF-16 code units, and back. Lone surrogates survive both ways; bytes that are no UTF-8 become
/// U+FFFD.
std::u16string ToUtf16(std::string_view text);
std::string ToUtf8(std::u16string_view text);
/// Appends one code point (surrogates included) in UTF-8 form.
void AppendUtf8(std::string& out, char32_t code_point);

/// `text` cut or padded with blanks on the right to exactly `width` UTF-16 code units.
std::string FitWidth(std::string_view text, std::size_t width);

/// The part of `text` before ("L") or after ("R") the first `delimiter`; only the first letter of `side`
/// counts, in either case. Empty when the delimiter does not occur or the side is another letter.
std::string_view TagSplit(std::string_view text, std::string_view side, std::string_view delimiter);

}  // namespace corvix::common
