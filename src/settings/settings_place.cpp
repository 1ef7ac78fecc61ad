#include "settings/settings_place.h"

#include <cstdlib>

namespace corvix::settings {

std::filesystem::path DefaultWindowsDirectory() {
  namespace fs = std::filesystem;
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return fs::path(value ? value : "");
  };
  // A relative directory in the environment would change its meaning with the working directory.
  if (const fs::path config = variable("XDG_CONFIG_HOME"); config.is_absolute()) return config / "corvix";
  if (const fs::path home = variable("HOME"); home.is_absolute()) return home / ".config" / "corvix";
  return {};
}

}  // namespace corvix::settings
