// Directory and file names as the system's texts hold them: "\" is the only separator, blanks at either end
// mean nothing, a directory in normal form ends in exactly one "\". The slash routines may change the
// caller's text as well as return a value; each says which. They follow the error convention
// (report_error.h).
#pragma once

#include <string>
#include <string_view>

namespace corvix::common {

/// The path trimmed and ending in one "\", or empty. Rewrites the caller's text only when a "\" was added.
std::string CkRSlash(std::string& path);
/// The path trimmed, without one trailing "\"; the caller's text becomes the same.
std::string RemoveRSlash(std::string& path);
/// As RemoveRSlash, the result trimmed once more.
std::string StripRChar(std::string& path);

/// Cuts a full name into upper-case parts. The extension begins after the FIRST "." of the whole name, and is
/// left as the caller passed it when there is none.
void ParseFileName(std::string_view full_name, std::string& drive, std::string& dir, std::string& name,
                   std::string& ext);
/// The name part of ParseFileName.
std::string FileBaseName(std::string_view full_name);
/// The extension part of ParseFileName, empty when the name has no ".".
std::string FileExtension(std::string_view full_name);

}  // namespace corvix::common
