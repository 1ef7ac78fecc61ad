// Access files to test with: the shared ones, how to open one, and what the checker finds in it.
#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "storage/base/memory_file.h"
#include "storage/base/posix_file.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/pages/pager.h"
#include "support/shared_files.h"

namespace corvix::jet {

inline std::ostream& operator<<(std::ostream& out, const Finding& finding) {
  return out << "page " << finding.page << ": " << finding.text;
}

}  // namespace corvix::jet

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

inline jet::CheckReport CheckFile(storage::FileSystem& files, const std::filesystem::path& path) {
  return jet::CheckDatabase(*OpenPager(files, path));
}

inline std::vector<std::string> Texts(const std::vector<jet::Finding>& findings) {
  std::vector<std::string> texts;
  for (const jet::Finding& finding : findings) texts.push_back(finding.text);
  return texts;
}

}  // namespace corvix::test
