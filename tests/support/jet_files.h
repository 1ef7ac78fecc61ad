// Access files to test with: the shared ones, and how to open one.
#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <vector>

#include "storage/base/memory_file.h"
#include "storage/base/posix_file.h"
#include "storage/jet/pages/pager.h"
#include "support/shared_files.h"

namespace corvix::test {

/// All Access files of the shared folder, real ones and generated ones; none without the folder.
inline std::vector<std::filesystem::path> SharedJetFiles() {
  std::vector<std::filesystem::path> files;
  if (const auto root = SharedFile("fixtures/mdb")) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(*root)) {
      const auto extension = entry.path().extension();
      if (extension == ".mdb" || extension == ".MDB") files.push_back(entry.path());
    }
  }
  std::ranges::sort(files);
  return files;
}

inline std::unique_ptr<jet::Pager> OpenPager(storage::FileSystem& files, const std::filesystem::path& path,
                                             bool read_only = true) {
  const auto mode = read_only ? storage::OpenMode::Read : storage::OpenMode::ReadWrite;
  return std::make_unique<jet::Pager>(files.Open(path, mode), path,
                                      jet::Pager::Options{jet::Pager::kDefaultBudget, read_only});
}

}  // namespace corvix::test
