#include "storage/jet/pages/file_watch.h"

#include <utility>

#include "common/error.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

FileWatch::FileWatch(storage::FileSystem& files, std::filesystem::path path, storage::File& file)
    : files_(files), path_(std::move(path)), file_(file), identity_(files.Identity(path_)) {
  Remember();
}

void FileWatch::Remember() {
  size_ = file_.Size();
  header_ = Header();
  time_ = files_.ChangedAt(path_);
  is_known_ = true;
}

FileWatch::Sight FileWatch::Look() const {
  const auto identity = files_.Identity(path_);
  if (!identity) files_.Exists(path_);  // a device that does not answer raises its own error
  if (identity != identity_) return Sight::Replaced;
  if (!is_known_) return Sight::Same;
  if (file_.Size() != size_ || Header() != header_) return Sight::Replaced;
  return files_.ChangedAt(path_) == time_ ? Sight::Same : Sight::Touched;
}

std::vector<std::byte> FileWatch::Header() const {
  std::vector<std::byte> page(kPageSize);
  page.resize(file_.ReadAt(0, page));
  return page;
}

void ThrowReplaced(const std::filesystem::path& path) {
  throw common::Error(
      common::kDamagedDatabase,
      "The database was replaced or changed by another program while it was in use; nothing was written into "
      "what is there now, and rows stored since the last checkpoint are lost; convert again",
      path.string());
}

}  // namespace corvix::jet
