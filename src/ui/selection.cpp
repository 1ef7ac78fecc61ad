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

std::optional<std::filesystem::path> ExistingDirectory(std::string_view box_text) {
  const std::filesystem::path path = common::HostPath(box_text);
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) return std::nullopt;
  return path;
}

}  // namespace corvix::ui
