#include "settings/path_strings.h"

#include "common/path_names.h"

namespace corvix::settings {
namespace {

std::string NormalForm(std::string_view directory) {
  std::string copy(directory);
  return common::CkRSlash(copy);
}

}  // namespace

void SetGlobalNames(PathStrings& paths, std::string_view txtCompPath, std::string_view txtcompfilename,
                    std::string_view txtCompsPath, std::string_view txtcompsfilename) {
  paths.CompFile = NormalForm(txtCompPath).append(txtcompfilename);
  paths.CompsFile = NormalForm(txtCompsPath).append(txtcompsfilename);
  paths.CompPath = NormalForm(txtCompPath);
}

}  // namespace corvix::settings
