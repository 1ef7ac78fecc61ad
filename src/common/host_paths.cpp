#include "common/host_paths.h"

#include <algorithm>
#include <system_error>

#include "common/text.h"

namespace corvix::common {

namespace fs = std::filesystem;

fs::path FindIgnoringCase(const fs::path& directory, std::string_view name) {
  fs::path exact = directory / fs::path(std::string(name));
  std::error_code error;
  if (fs::exists(fs::symlink_status(exact, error))) return exact;
  // The smallest matching name, so that the choice does not depend on the order of the directory.
  std::string best;
  const fs::path listed = directory.empty() ? fs::path(".") : directory;
  for (fs::directory_iterator entry(listed, error), end; !error && entry != end; entry.increment(error)) {
    std::string candidate = entry->path().filename().string();
    if (EqualIgnoringCase(candidate, name) && (best.empty() || candidate < best)) best = std::move(candidate);
  }
  return best.empty() ? exact : directory / best;
}

fs::path HostPath(std::string_view text) {
  std::string portable(Trim(text));
  std::ranges::replace(portable, '\\', '/');
  const fs::path wanted(portable);
  fs::path result = wanted.root_path();
  for (const fs::path& component : wanted.relative_path()) {
    if (component.empty()) continue;
    const std::string name = component.string();
    result = name == "." || name == ".." ? result / name : FindIgnoringCase(result, name);
  }
  return result;
}

bool SamePlace(const fs::path& one, const fs::path& other) {
  std::error_code error;
  if (fs::exists(one, error) || fs::exists(other, error)) return fs::equivalent(one, other, error) && !error;
  return EqualIgnoringCase(one.lexically_normal().string(), other.lexically_normal().string());
}

std::string DisplayPath(const fs::path& path) {
  std::string text = path.string();
  std::ranges::replace(text, '/', '\\');
  return text;
}

}  // namespace corvix::common
