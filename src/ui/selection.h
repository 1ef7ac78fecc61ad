// What a chosen file puts into the boxes: its directory, and its name, in upper case.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace corvix::ui {

struct Selection {
  std::string directory;  ///< drive and directory, ending in "\"
  std::string file_name;  ///< base name, ".", extension
};

/// Splits the full path of a chosen file. The split cuts at the first "." of the whole path; the two parts
/// still join to it.
Selection SplitChosenFile(const std::filesystem::path& file);

/// The directory that a box names, when it exists.
std::optional<std::filesystem::path> ExistingDirectory(std::string_view box_text);

}  // namespace corvix::ui
