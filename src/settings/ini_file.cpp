#include "settings/ini_file.h"

#include <filesystem>
#include <optional>
#include <span>
#include <system_error>
#include <unistd.h>

#include "common/error.h"
#include "common/host_paths.h"
#include "common/text.h"
#include "settings/ini_encoding.h"
#include "settings/ini_text.h"
#include "storage/base/bytes.h"

namespace corvix::settings {
namespace {

namespace fs = std::filesystem;
using common::Error;

/// The host path of a file; none for a bare name when there is no Windows directory.
std::optional<fs::path> HostFile(const SettingsPlace& place, std::string_view file) {
  const bool bare = file.find_first_of("\\/") == std::string_view::npos;
  if (!bare) return common::HostPath(file);
  const std::string_view name = common::Trim(file);
  if (place.windows_directory.empty() || name.empty()) return std::nullopt;
  return common::FindIgnoringCase(place.windows_directory, name);
}

/// The bytes of a file; none when it does not exist.
std::optional<std::string> ReadFile(storage::FileSystem& files, const fs::path& path) {
  if (!files.Exists(path) || files.IsDirectory(path)) return std::nullopt;
  const auto file = files.Open(path, storage::OpenMode::Read);
  std::string bytes(file->Size(), '\0');
  bytes.resize(file->ReadAt(0, std::as_writable_bytes(std::span(bytes))));
  return bytes;
}

bool IsDeviceError(const Error& error) {
  return error.number() == common::kDeviceIo || error.number() == common::kDeviceUnavailable ||
         error.number() == common::kDiskNotReady;
}

/// Puts `bytes` in the place of the file in one step. What the path links to is replaced, not the link.
void ReplaceFile(storage::FileSystem& files, const fs::path& path, std::string_view bytes) {
  std::error_code missing;
  const fs::path resolved = fs::canonical(path, missing);
  const fs::path target = missing ? path : resolved;
  // The number keeps two programs from writing into one temporary file. Whatever bears the name already is
  // not ours.
  const fs::path temporary =
      target.parent_path() / ("." + target.filename().string() + "." + std::to_string(::getpid()) + ".tmp");
  const auto file = files.CreateLike(temporary, target);
  try {
    file->WriteAt(0, storage::AsBytes(bytes));
    file->Sync();
    files.Rename(temporary, target);
  } catch (const Error&) {
    files.Remove(temporary);
    throw;
  }
  files.SyncDirectory(target.parent_path());
}

/// The Windows directory of the platform always exists; ours comes into being with its first file.
void CreateWindowsDirectoryFor(const SettingsPlace& place, const fs::path& file) {
  const fs::path inside = place.windows_directory / file.filename();
  if (file.parent_path() != inside.parent_path() || place.files.IsDirectory(place.windows_directory)) return;
  std::error_code error;
  fs::create_directories(place.windows_directory, error);
  if (error) {
    throw Error(common::kPathNotFound, "The directory for the settings cannot be created: " + error.message(),
                place.windows_directory.string());
  }
}

}  // namespace

std::string IniReadString(const SettingsPlace& place, std::string_view file, std::string_view section,
                          std::string_view key, std::string_view default_value) {
  std::string result(common::TrimRight(default_value));
  const auto path = HostFile(place, file);
  if (!path || common::Trim(section).empty() || common::Trim(key).empty()) return result;
  try {
    const auto bytes = ReadFile(place.files, *path);
    if (!bytes) return result;
    if (auto value = FindIniValue(DecodeIni(*bytes).text, section, key)) result = *std::move(value);
  } catch (const Error& error) {
    if (IsDeviceError(error)) throw;
  }
  return result;
}

void IniWriteString(const SettingsPlace& place, std::string_view file, std::string_view section,
                    std::string_view key, std::string_view value) {
  const auto path = HostFile(place, file);
  if (!path || common::Trim(section).empty() || common::Trim(key).empty()) return;
  try {
    CreateWindowsDirectoryFor(place, *path);
    const auto bytes = ReadFile(place.files, *path);
    // Replacing a file needs no permission on it, so a read-only one is asked for.
    if (bytes && !place.files.IsWritable(*path)) return;
    IniContents contents = DecodeIni(bytes.value_or(std::string{}));
    std::string changed = WithIniValue(contents.text, section, key, value);
    if (bytes && changed == contents.text) return;
    contents.text = std::move(changed);
    ReplaceFile(place.files, *path, EncodeIni(contents));
  } catch (const Error&) {
    return;  // the platform's operation reports a failure by a result that the system does not look at
  }
}

}  // namespace corvix::settings
