// Maps the system's backslash texts to paths of the host. Each component is matched exactly if such a name
// exists, else without regard to case; a component that matches nothing is kept as written.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace corvix::common {

/// The host path for a backslash text; "/" is accepted as a separator too. Never fails: what does not exist
/// keeps its spelling. The empty text gives the empty path.
std::filesystem::path HostPath(std::string_view text);

/// The entry of `directory` whose name equals `name` without regard to case (an exact match wins), or the
/// plain concatenation when there is none.
std::filesystem::path FindIgnoringCase(const std::filesystem::path& directory, std::string_view name);

/// Whether two paths name one file or directory: the same one on the disk or, where neither exists, names
/// that differ in letter case at most.
bool SamePlace(const std::filesystem::path& one, const std::filesystem::path& other);

/// A host path as the system shows it, with "\" as separator.
std::string DisplayPath(const std::filesystem::path& path);

}  // namespace corvix::common
