// The program's version, from the build.
#pragma once

#include <string>

namespace corvix::ui {

inline constexpr int kMajor = CORVIX_VERSION_MAJOR;
inline constexpr int kMinor = CORVIX_VERSION_MINOR;
inline constexpr int kRevision = CORVIX_VERSION_REVISION;

/// "Version " and the three numbers with dots between them.
inline std::string VersionText() {
  return "Version " + std::to_string(kMajor) + "." + std::to_string(kMinor) + "." + std::to_string(kRevision);
}

/// Title of every box that names no other.
inline constexpr const char* kProgramTitle = "Corvix";

}  // namespace corvix::ui
