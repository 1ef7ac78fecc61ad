// The bytes of an INI file as text. Files are Windows-1252 text unless a byte order mark says UTF-8 or
// UTF-16. A file keeps its encoding when it is changed, except where a new value has characters that
// Windows-1252 lacks: then the whole file becomes UTF-8 with a mark, so that nothing is lost.
#pragma once

#include <string>
#include <string_view>

namespace corvix::settings {

enum class IniEncoding { Windows1252, Utf8, Utf16Little, Utf16Big };

struct IniContents {
  std::string text;  ///< UTF-8, without a mark
  IniEncoding encoding = IniEncoding::Windows1252;
};

IniContents DecodeIni(std::string_view bytes);
std::string EncodeIni(const IniContents& contents);

}  // namespace corvix::settings
