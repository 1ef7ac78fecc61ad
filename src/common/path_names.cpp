#include "common/path_names.h"

#include "common/text.h"
#include "common/trap.h"

namespace corvix::common {
namespace {

constexpr char kSeparator = '\\';

}  // namespace

std::string CkRSlash(std::string& path) {
  std::string result;
  Procedure("CkRSlash", [&](const Trap& trap) {
    trap([&] {
      const std::string trimmed(Trim(path));
      if (trimmed.empty()) return;
      if (!trimmed.ends_with(kSeparator)) path = trimmed + kSeparator;
      result = Trim(path);
    });
  });
  return result;
}

std::string RemoveRSlash(std::string& path) {
  std::string result;
  Procedure("RemoveRSlash", [&](const Trap& trap) {
    trap([&] {
      path = std::string(Trim(path));
      if (path.ends_with(kSeparator)) path.pop_back();
      result = path;
    });
  });
  return result;
}

std::string StripRChar(std::string& path) {
  std::string result;
  Procedure("StripRChar", [&](const Trap& trap) {
    trap([&] {
      path = std::string(Trim(path));
      if (path.ends_with(kSeparator)) path.pop_back();
      result = Trim(path);
    });
  });
  return result;
}

void ParseFileName(std::string_view full_name, std::string& drive, std::string& dir, std::string& name,
                   std::string& ext) {
  Procedure("ParseFileName", [&](const Trap& trap) {
    trap([&] {
      std::string work = UpperCase(Trim(full_name));
      if (work.empty()) {
        drive.clear();
        dir.clear();
        name.clear();
        ext.clear();
        return;
      }
      drive.clear();
      if (work.find(':') == 1) {
        drive = work.substr(0, 2);
        work.erase(0, 2);
      }
      if (const auto bracket = work.find(']'); bracket != std::string::npos) work.erase(0, bracket + 1);
      if (const auto point = work.find('.'); point != std::string::npos) {
        ext = work.substr(point + 1);
        work.resize(point);
      }
      const auto separator = work.rfind(kSeparator);
      dir = separator == std::string::npos ? std::string{} : work.substr(0, separator + 1);
      name = separator == std::string::npos ? work : work.substr(separator + 1);
    });
  });
}

std::string FileBaseName(std::string_view full_name) {
  std::string drive, dir, name, ext;
  ParseFileName(full_name, drive, dir, name, ext);
  return name;
}

std::string FileExtension(std::string_view full_name) {
  std::string drive, dir, name, ext;
  ParseFileName(full_name, drive, dir, name, ext);
  return ext;
}

}  // namespace corvix::common
