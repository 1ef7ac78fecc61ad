// The file-open dialog behind an interface: the toolkit's, or a test's script.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace corvix::ui {

class FileChooser {
 public:
  struct Request {
    std::string_view title;
    std::string_view filter;                         ///< pairs of description and pattern, separated by "|"
    std::optional<std::filesystem::path> directory;  ///< to start in; none: where the dialog was last
  };

  virtual ~FileChooser() = default;
  /// The file that the user opens; none after a cancel.
  virtual std::optional<std::filesystem::path> Open(const Request& request) = 0;
};

}  // namespace corvix::ui
