// A temporary directory in the place of the Windows directory, with helpers for whole files.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "settings/settings_place.h"
#include "storage/base/posix_file.h"
#include "support/temporary_directory.h"

namespace corvix::settings::test {

class SettingsDirectory {
 public:
  void Write(std::string_view name, std::string_view bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
  }
  std::string Read(std::string_view name) const {
    std::ifstream in(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::filesystem::path path(std::string_view name) const { return directory_.path() / name; }
  std::size_t FileCount() const {
    const std::filesystem::directory_iterator files(directory_.path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

 private:
  corvix::test::TemporaryDirectory directory_;
  storage::PosixFileSystem files_;

 public:
  SettingsPlace place{files_, directory_.path()};
};

}  // namespace corvix::settings::test
