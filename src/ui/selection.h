// What a chosen file puts into the boxes: its directory and its name, in upper case, cut at the first "." of
// the whole path. Where a directory has a dot, or the disk tells letter case apart, the boxes may then lead
// elsewhere; the selection with the file's own spelling leads to it.
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

/// Splits the full path of a chosen file. The two parts still join to it.
Selection SplitChosenFile(const std::filesystem::path& file);

/// Directory and name as they are spelled on the disk.
Selection AsSpelled(const std::filesystem::path& file);

/// Whether the directory of the selection is the one that holds the file.
bool LeadsToDirectory(const Selection& selection, const std::filesystem::path& file);

/// The same, and its file name is the file's.
bool LeadsToFile(const Selection& selection, const std::filesystem::path& file);

/// The directory that a box names, when it exists.
std::optional<std::filesystem::path> ExistingDirectory(std::string_view box_text);

}  // namespace corvix::ui
