// A copy of a file that is whole or not there. It is written under a temporary name (NAME.part), synced, read
// again and compared byte by byte, and only then gets its name. What bears the temporary name and is not an
// unfinished copy of a database is never touched, nor is what a link leads to.
#pragma once

#include <filesystem>
#include <memory>

#include "storage/base/file.h"

namespace corvix::cli {

/// Of which files a copy takes over what.
struct CopyModels {
  std::filesystem::path rights;  ///< permissions, owner and group
  std::filesystem::path times;
};

class WholeCopy {
 public:
  /// Writes NAME.part. Errors: 58 something bears that name, 61 not enough space, 57 the copy differs, and
  /// those of the file system.
  WholeCopy(storage::FileSystem& files, storage::File& from, std::filesystem::path path,
            const CopyModels& models);
  /// Removes what has not got its name.
  ~WholeCopy();
  WholeCopy(const WholeCopy&) = delete;
  WholeCopy& operator=(const WholeCopy&) = delete;

  /// Gives the copy its name, in the place of a file that bears it. The copy stays locked as long as this
  /// object lives.
  void Publish();

 private:
  void Discard();

  storage::FileSystem& files_;
  std::filesystem::path path_;
  std::filesystem::path temporary_;         // empty when there is none any more
  std::unique_ptr<storage::File> copying_;  // locked, so that others see that somebody is at work
};

std::filesystem::path TemporaryName(const std::filesystem::path& path);

/// Removes a file that a copy left when it was killed. Anything else stays: a link, a file of another kind, a
/// copy that is being written.
void RemoveUnfinished(storage::FileSystem& files, const std::filesystem::path& temporary);

}  // namespace corvix::cli
