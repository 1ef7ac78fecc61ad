// Finds the folder of shared sample files, which a checkout may or may not have beside it. Tests that need it
// skip where it is missing; everything essential is also tested on files that our own writers make.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace corvix::test {

/// The file or folder at `relative` inside the shared folder (environment variable CORVIX_SHARED, else a
/// folder `shared` beside the checkout); none when it is not there.
inline std::optional<std::filesystem::path> SharedFile(std::string_view relative) {
  namespace fs = std::filesystem;
  const char* set = std::getenv("CORVIX_SHARED");
  const fs::path root = set ? fs::path(set) : fs::path(CORVIX_SOURCE_DIR).parent_path() / "shared";
  fs::path wanted = root / relative;
  if (!fs::exists(wanted)) return std::nullopt;
  return wanted;
}

}  // namespace corvix::test
