// How damage of a file is reported: error 3049 with a text that says what is wrong and a place that says
// where, file and page and, where one is meant, row.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

/// A place in a database file. Cheap to copy: the file name is the pager's and must outlive the place.
struct Place {
  const std::filesystem::path* file = nullptr;
  PageNumber page = 0;
  std::optional<std::size_t> row;

  /// "FOLVANE.MDB, page 7, row 3".
  std::string ToString() const;
};

/// Throws error 3049. `text` tells what was expected and what was found.
[[noreturn]] void ThrowDamaged(const Place& place, const std::string& text);

}  // namespace corvix::jet
