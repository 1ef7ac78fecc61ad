// The files that make up a table, found in a directory without regard to case.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "storage/base/code_page.h"
#include "storage/base/file.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/memo_file.h"

namespace corvix::foxpro {

struct TableFiles {
  std::filesystem::path directory;
  std::string name;  ///< of the table, in capitals
  std::filesystem::path table;
  std::optional<std::filesystem::path> index;  ///< .CDX
  std::optional<std::filesystem::path> fpt;
  std::optional<std::filesystem::path> dbt;

  /// Name of a file of this table as it is written in messages: NAME.EXT.
  std::string FileName(std::string_view extension) const { return name + std::string(extension); }
};

/// Error 3011 when the directory has no such table. `table` may have the extension .DBF.
TableFiles FindTableFiles(storage::FileSystem& files, const std::filesystem::path& directory,
                          std::string_view table);

/// True when a field of the table points into a memo file.
bool NeedsMemoFile(const DbfHeader& header);

/// The memo file of a table, none when no field needs one. Error 3176 when it is missing.
std::optional<MemoFile> OpenMemoFile(storage::FileSystem& files, const TableFiles& paths,
                                     const DbfHeader& header);

}  // namespace corvix::foxpro
