#include "cli/whole_copy.h"

#include <algorithm>
#include <fmt/format.h>
#include <span>
#include <utility>
#include <vector>

#include "common/error.h"
#include "storage/jet/pages/header_page.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;
using common::Error;
using storage::File;
using storage::FileSystem;
using storage::LockKind;
using storage::OpenMode;

constexpr std::size_t kBlock = std::size_t{1} << 20;

void CopyBytes(File& from, File& to) {
  std::vector<std::byte> block(kBlock);
  for (std::uint64_t offset = 0;;) {
    const std::size_t count = from.ReadAt(offset, block);
    if (count == 0) return;
    to.WriteAt(offset, std::span(block).first(count));
    offset += count;
  }
}

bool IsEqual(File& one, File& other) {
  if (one.Size() != other.Size()) return false;
  std::vector<std::byte> block(kBlock), second(kBlock);
  for (std::uint64_t offset = 0;;) {
    const std::size_t count = one.ReadAt(offset, block);
    if (other.ReadAt(offset, second) != count) return false;
    if (count == 0) return true;
    if (!std::ranges::equal(std::span(block).first(count), std::span(second).first(count))) return false;
    offset += count;
  }
}

/// A lock that shows who is at work. Where the file system has none, nobody can be seen.
bool TryLock(File& file) {
  try {
    return file.TryLock(LockKind::Exclusive, 0, 0);
  } catch (const Error& error) {
    if (error.number() != common::kUnsupported) throw;
    return true;
  }
}

/// What a copy that was killed may have reached: nothing, a page that never got to the disk, or the head.
bool IsStartOfDatabase(File& file, const fs::path& path) {
  std::vector<std::byte> page(jet::kPageSize);
  page.resize(file.ReadAt(0, page));
  if (std::ranges::all_of(page, [](std::byte b) { return b == std::byte{0}; })) return true;
  try {
    jet::ReadHeaderPage(page, path);
    return true;
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

fs::path TemporaryName(const fs::path& path) { return path.string() + ".part"; }

void RemoveUnfinished(FileSystem& files, const fs::path& temporary) {
  if (!files.Exists(temporary) || files.IsLink(temporary) || files.IsDirectory(temporary)) return;
  try {
    const auto file = files.Open(temporary, OpenMode::ReadWrite);
    if (TryLock(*file) && IsStartOfDatabase(*file, temporary)) files.Remove(temporary);
  } catch (const Error& error) {
    if (common::IsDeviceError(error.number())) throw;  // otherwise it is not ours
  }
}

WholeCopy::WholeCopy(FileSystem& files, File& from, fs::path path, const CopyModels& models)
    : files_(files), path_(std::move(path)) {
  const std::uint64_t free = files.FreeSpace(path_.parent_path());
  if (free < from.Size()) {
    throw Error(common::kDiskFull,
                fmt::format("The copy needs {} bytes, the disk has {} free; make room and try again",
                            from.Size(), free),
                path_.string());
  }
  copying_ = files.CreateLike(TemporaryName(path_), models.rights);
  temporary_ = TemporaryName(path_);
  try {
    TryLock(*copying_);
    CopyBytes(from, *copying_);
    copying_->Sync();
    if (!IsEqual(from, *copying_)) {
      throw Error(common::kDeviceIo, "The copy differs from the database; the disk may be failing",
                  path_.string());
    }
    files.CopyTimes(temporary_, models.times);
  } catch (...) {
    Discard();
    throw;
  }
}

WholeCopy::~WholeCopy() { Discard(); }

void WholeCopy::Discard() {
  if (temporary_.empty()) return;
  try {
    files_.Remove(temporary_);
  } catch (...) {  // the next copy clears it
    return;
  }
}

void WholeCopy::Publish() {
  files_.Rename(temporary_, path_);
  temporary_.clear();
  files_.SyncDirectory(path_.parent_path());
}

}  // namespace corvix::cli
