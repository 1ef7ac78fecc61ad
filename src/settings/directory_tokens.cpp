#include "settings/directory_tokens.h"

#include "common/host_paths.h"
#include "common/path_names.h"
#include "common/text.h"
#include "settings/ini_file.h"

namespace corvix::settings {
namespace {

std::string DirectorySetting(const SettingsPlace& place, std::string_view key) {
  return IniReadString(place, GetWinDir(place) + "TOLVEN.INI", "DIRECTORIES", key, "");
}

}  // namespace

std::string GetWinDir(const SettingsPlace& place) {
  std::string directory = common::DisplayPath(place.windows_directory);
  if (!directory.empty() && !directory.ends_with('\\')) directory += '\\';
  return directory;
}

std::string GetDataDir(const SettingsPlace& place) { return DirectorySetting(place, "DATADIR"); }
std::string GetAppDir(const SettingsPlace& place) { return DirectorySetting(place, "APPDIR"); }
std::string GetUserDir(const SettingsPlace& place) { return DirectorySetting(place, "USERDIR"); }

std::string TagExpandDir(const SettingsPlace& place, std::string_view path) {
  constexpr struct {
    std::string_view token;
    std::string (*directory)(const SettingsPlace&);
  } kTokens[] = {
      {"<WINDIR>", GetWinDir}, {"<DATADIR>", GetDataDir}, {"<APPDIR>", GetAppDir}, {"<USERDIR>", GetUserDir}};
  if (path.find('>') == std::string_view::npos) return std::string(path);
  const std::string upper = common::UpperCase(path);
  for (const auto& [token, directory] : kTokens) {
    if (upper.find(token) == std::string::npos) continue;
    std::string found = directory(place);
    return common::CkRSlash(found).append(common::TagSplit(path, "R", ">"));
  }
  return {};
}

}  // namespace corvix::settings
