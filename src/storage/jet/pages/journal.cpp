#include "storage/jet/pages/journal.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

#include "common/error.h"
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

Journal::Journal(storage::FileSystem& files, std::filesystem::path database_path, storage::File& database)
    : files_(files),
      database_path_(std::move(database_path)),
      path_(JournalPath(files, database_path_)),
      database_(database),
      watch_(files, database_path_, database) {}

Journal::~Journal() {
  if (file_ == nullptr) return;
  try {
    if (state_ == State::Hot) {
      if (replaced_) GiveUpJournal(files_, path_, salt_, database_);
      return;
    }
    if (state_ == State::Done) return;
    if (!replaced_) database_.Sync();  // the mark is gone for good: keeps J6
    file_.reset();
    files_.Remove(path_);
    files_.SyncDirectory(path_.parent_path());
  } catch (...) {
    // A journal that is done or empty does no harm; one that is hot is for the next opening.
  }
}

void Journal::Begin(std::uint64_t file_length) {
  if (stride_ != format::StrideFor(file_length) || length_ != file_length) {
    const std::uint32_t stride = format::StrideFor(file_length);
    sum_ = format::DatabaseSum(database_, file_length, stride);
    stride_ = stride;  // last: a sum that could not be read is not taken for known when Begin is repeated
  }
  length_ = file_length;
  salt_ = RandomSalt();
  unmarked_ = change_mark::Read(database_);
  entries_ = flushed_ = 0;
  changed_.clear();
  buffer_ = Heads(format::kInUse);
  state_ = State::Filling;
}

std::vector<std::byte> Journal::Heads(std::uint32_t state) const {
  std::vector<std::byte> heads(format::kHeadsSize);
  const ByteSpan head = ByteSpan(heads).first(format::kHeadSize);
  std::ranges::copy(storage::AsBytes({format::kMagic.data(), format::kMagic.size()}), head.begin());
  WriteLittle<std::uint32_t>(head, format::kPageSizeField, kPageSize);
  WriteLittle<std::uint32_t>(head, format::kStride, stride_);
  WriteLittle<std::uint64_t>(head, format::kSalt, salt_);
  WriteLittle<std::uint64_t>(head, format::kLength, length_);
  WriteLittle<std::uint64_t>(head, format::kSum, sum_);
  WriteLittle<std::uint64_t>(head, format::kPreviousSalt, done_salt_);
  std::ranges::copy(unmarked_, head.begin() + format::kMarkPlace);
  WriteLittle<std::uint32_t>(head, format::kState, state);
  WriteLittle<std::uint64_t>(head, format::kHeadChecksum,
                             Checksum(ByteView(head).first(format::kHeadChecksum), 0));
  std::ranges::copy(head, heads.begin() + format::kHeadSize);
  return heads;
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

/// Makes the file, which is nobody else's: what a crash left was settled when the database was opened. Only an
/// attempt that failed can have left one.
void Journal::Create() {
  if (file_ != nullptr) return;
  try {
    file_ = files_.CreateLike(path_, database_path_);
  } catch (const common::Error& error) {
    if (error.number() != common::kFileExists) throw;
    if (!RemoveVoidJournal(files_, path_)) ThrowNoJournal(path_);
    file_ = files_.CreateLike(path_, database_path_);
  }
}

void Journal::Flush() {
  if (buffer_.empty()) return;
  Create();
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
  watch_.ExpectWrites();
  if (marked_) return;
  change_mark::Write(database_, change_mark::Naming(salt_));
  database_.Sync();
  marked_ = true;
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
  if (state_ == State::Hot) {
    AdvanceSum();
    file_->WriteAt(0, Heads(format::kDone));
    file_->Sync();
    state_ = State::Done;
    done_salt_ = salt_;
  }
  if (state_ == State::Done) {
    file_->Truncate(format::kHeadsSize);
    change_mark::Write(database_, unmarked_);
    marked_ = false;
  }
  buffer_.clear();
  sync_failed_ = false;
  state_ = State::Idle;
  watch_.Remember();
}

bool Journal::IsTouched() {
  const FileWatch::Sight sight = watch_.Look();
  // While the journal is hot the mark, a part of the header, tells that this is the file.
  const bool has_sum = state_ != State::Hot && stride_ != 0;
  replaced_ =
      sight == FileWatch::Sight::Replaced || (sight == FileWatch::Sight::Touched && has_sum &&
                                              format::DatabaseSum(database_, length_, stride_) != sum_);
  if (replaced_) ThrowReplaced(database_path_);
  return sight == FileWatch::Sight::Touched;
}

void Journal::Written() { watch_.Remember(); }

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
