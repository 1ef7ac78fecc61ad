#include "ui/selection.h"

#include "common/host_paths.h"
#include "common/path_names.h"

namespace corvix::ui {

Selection SplitChosenFile(const std::filesystem::path& file) {
  std::string drive;
  std::string directory;
  std::string name;
  std::string extension;
  common::ParseFileName(common::DisplayPath(file), drive, directory, name, extension);
  return {drive + directory, name + "." + extension};
}

Selection AsSpelled(const std::filesystem::path& file) {
  std::string directory = common::DisplayPath(file.parent_path());
  return {common::CkRSlash(directory), file.filename().string()};
}

bool LeadsToDirectory(const Selection& selection, const std::filesystem::path& file) {
  return common::SamePlace(common::HostPath(selection.directory), file.parent_path());
}

bool LeadsToFile(const Selection& selection, const std::filesystem::path& file) {
  return LeadsToDirectory(selection, file) &&
         common::SamePlace(common::HostPath(selection.directory + selection.file_name), file);
}

std::optional<std::filesystem::path> ExistingDirectory(std::string_view box_text) {
  const std::filesystem::path path = common::HostPath(box_text);
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) return std::nullopt;
  return path;
}

}  // namespace corvix::ui
