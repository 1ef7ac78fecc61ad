#include "storage/jet/pages/journal.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

#include "storage/jet/pages/journal_format.h"

namespace corvix::jet {

namespace format = journal_format;
using storage::ByteSpan;
using storage::ByteView;
using storage::WriteLittle;

namespace {

// Entries are written in pieces of this size.
constexpr std::size_t kBufferSize = std::size_t{256} << 10;

std::uint64_t RandomSalt() {
  std::random_device device;
  return std::uint64_t{device()} << 32 | device();
}

}  // namespace

std::uint64_t format::DatabaseSum(storage::File& file, std::uint64_t length, std::uint32_t stride) {
  constexpr std::uint64_t kPagesAtOnce = 256;
  const std::uint64_t pages = length / kPageSize;
  const std::uint64_t at_once = stride == 1 ? kPagesAtOnce : 1;
  std::vector<std::byte> bytes(at_once * kPageSize);
  std::uint64_t sum = 0;
  for (std::uint64_t first = 0; first < pages; first += stride == 1 ? at_once : stride) {
    const std::size_t count = std::min(at_once, pages - first);
    const ByteSpan part = ByteSpan(bytes).first(count * kPageSize);
    file.ReadAt(first * kPageSize, part);
    for (std::size_t i = 0; i < count; ++i)
      sum += Checksum(part.subspan(i * kPageSize, kPageSize), first + i);
  }
  return sum;
}

Journal::Journal(storage::FileSystem& files, std::filesystem::path path, std::string database_name,
                 storage::File& database)
    : files_(files), path_(std::move(path)), database_name_(std::move(database_name)), database_(database) {}

Journal::~Journal() {
  if (state_ == State::Hot || file_ == nullptr) return;
  try {
    file_.reset();
    files_.Remove(path_);
    files_.SyncDirectory(path_.parent_path());
  } catch (...) {
    // An empty journal that stays does no harm.
  }
}

void Journal::Begin(std::uint64_t file_length) {
  if (file_ == nullptr) {
    durable_name_ = files_.Exists(path_);
    file_ = files_.Open(path_, storage::OpenMode::CreateOrOpen);
  }
  if (stride_ != format::StrideFor(file_length) || length_ != file_length) {
    const std::uint32_t stride = format::StrideFor(file_length);
    sum_ = format::DatabaseSum(database_, file_length, stride);
    stride_ = stride;  // last: a sum that could not be read is not taken for known when Begin is repeated
  }
  length_ = file_length;
  salt_ = RandomSalt();
  entries_ = flushed_ = 0;
  changed_.clear();

  buffer_.assign(format::kHeadSize, std::byte{0});
  const std::string_view name =
      std::string_view(database_name_).substr(0, format::kHeadChecksum - format::kName);
  std::ranges::copy(storage::AsBytes({format::kMagic.data(), format::kMagic.size()}), buffer_.begin());
  WriteLittle<std::uint32_t>(buffer_, format::kPageSizeField, kPageSize);
  WriteLittle<std::uint32_t>(buffer_, format::kStride, stride_);
  WriteLittle<std::uint64_t>(buffer_, format::kSalt, salt_);
  WriteLittle<std::uint64_t>(buffer_, format::kLength, length_);
  WriteLittle<std::uint64_t>(buffer_, format::kSum, sum_);
  WriteLittle<std::uint16_t>(buffer_, format::kNameLength, static_cast<std::uint16_t>(name.size()));
  std::ranges::copy(storage::AsBytes(name), buffer_.begin() + format::kName);
  WriteLittle<std::uint64_t>(buffer_, format::kHeadChecksum,
                             Checksum(ByteView(buffer_).first(format::kHeadChecksum), 0));
  state_ = State::Filling;
}

void Journal::Save(PageNumber page, ByteView image) {
  if (buffer_.size() >= kBufferSize) Flush();
  const std::size_t at = buffer_.size();
  buffer_.resize(at + format::kEntrySize);
  const ByteSpan entry = ByteSpan(buffer_).subspan(at);
  WriteLittle<std::uint32_t>(entry, format::kEntryPage, page);
  WriteLittle<std::uint64_t>(entry, format::kEntryChecksum,
                             format::EntryChecksum(image, salt_, page, entries_));
  std::ranges::copy(image, entry.subspan(format::kEntryImage).begin());
  ++entries_;
  if (page % stride_ == 0) changed_[page].before = Checksum(image, page);
}

void Journal::Announce(PageNumber page, ByteView content) {
  if (page % stride_ != 0) return;
  PageSums& sums = changed_[page];
  sums.after = Checksum(content, page);
  sums.written = true;
}

void Journal::Flush() {
  if (buffer_.empty()) return;
  file_->WriteAt(flushed_, buffer_);
  flushed_ += buffer_.size();
  buffer_.clear();
}

void Journal::Sync() {
  Flush();
  if (sync_failed_) RewriteAll();
  sync_failed_ = true;
  file_->Sync();
  if (!durable_name_) files_.SyncDirectory(path_.parent_path());
  sync_failed_ = false;
  durable_name_ = true;
  state_ = State::Hot;
}

/// After a failed sync the system may believe that bytes are on the device which are not: they are written
/// once more before the next one.
void Journal::RewriteAll() {
  std::vector<std::byte> bytes(kBufferSize);
  for (std::uint64_t at = 0; at < flushed_;) {
    const std::size_t count = file_->ReadAt(at, bytes);
    if (count == 0) break;
    file_->WriteAt(at, ByteView(bytes).first(count));
    at += count;
  }
}

void Journal::Reset() {
  if (state_ != State::Idle) AdvanceSum();
  file_->Truncate(0);
  file_->Sync();  // keeps J3
  sync_failed_ = false;
  state_ = State::Idle;
}

/// The database sum of the new checkpoint, from that of the old one and what was written.
void Journal::AdvanceSum() {
  const std::uint64_t new_length = database_.Size();
  for (const auto& [page, sums] : changed_) {
    if (sums.written) sum_ += sums.after - sums.before;
  }
  changed_.clear();
  length_ = new_length;
}

}  // namespace corvix::jet
