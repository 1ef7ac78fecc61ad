#include "storage/jet/pages/pager.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <vector>

#include "common/error.h"
#include "storage/jet/pages/file_watch.h"
#include "storage/jet/pages/rc4.h"

namespace corvix::jet {

using storage::ByteSpan;
using storage::ByteView;

namespace detail {

/// What may happen to a frame. Kept up to date by Impl::Classify after each change of what decides it.
enum class Role : std::uint8_t {
  Held,       // pinned, or changed under the open savepoint: stays
  Changed,    // may be written
  Evictable,  // equals the file; stands in the eviction queue
};

struct Frame {
  explicit Frame(Pager::Impl& owner) : pager(owner) {}

  Pager::Impl& pager;
  PageNumber number = 0;
  std::uint32_t pins = 0;
  bool dirty = false;
  bool under_savepoint = false;
  bool orphan = false;  // its page was undone while pinned; goes with the last pin
  Role role = Role::Held;
  std::size_t position = 0;  // among all frames
  Frame* older = nullptr;    // neighbours in the eviction queue
  Frame* newer = nullptr;
  std::array<std::byte, kPageSize> bytes;
};

}  // namespace detail

using detail::Frame;
using detail::Role;

class Pager::Impl {
 public:
  Impl(std::unique_ptr<storage::File> file, std::filesystem::path path, Options options,
       std::unique_ptr<PageJournal> journal)
      : file_(std::move(file)),
        path_(std::move(path)),
        read_only_(options.read_only),
        capacity_(std::max<std::size_t>(options.cache_bytes / kPageSize, 8)),
        journal_(std::move(journal)) {
    const std::uint64_t length = file_->Size();
    if (length > kMaxFileSize) {
      throw common::Error(common::kUnrecognizedFormat,
                          "The file is larger than the 2 GiB that its format allows", path_.string());
    }
    checkpoint_pages_ = page_count_ = static_cast<PageNumber>(length / kPageSize);
    index_.resize(page_count_);
  }

  Frame* Fetch(PageNumber page) {
    if (page >= page_count_) {
      ThrowDamaged({&path_, page, {}},
                   fmt::format("The file refers to this page, but it has {} pages only", page_count_));
    }
    if (Frame* frame = index_[page]) return frame;
    Frame* const frame = NewFrame(page);
    try {
      Load(*frame);
    } catch (...) {
      Drop(frame);
      throw;
    }
    index_[page] = frame;
    Classify(*frame);
    return frame;
  }

  void MarkChanged(Frame& frame) {
    if (read_only_)
      throw common::Error(common::kReadOnly, "The database is open for reading only", path_.string());
    if (journal_ && frame.number == 0) throw std::logic_error("Page 0 belongs to the journal");  // keeps P8
    if (!frame.dirty) SaveImage(frame);                                                          // keeps P3
    if (savepoint_open_ && !frame.under_savepoint) {
      UndoImage& image = undo_.emplace_back();
      image.page = frame.number;
      image.was_dirty = frame.dirty;
      image.bytes = frame.bytes;
      frame.under_savepoint = true;
    }
    frame.dirty = true;
    Classify(frame);
  }

  Frame* Append() {
    if (read_only_)
      throw common::Error(common::kReadOnly, "The database is open for reading only", path_.string());
    if ((std::uint64_t{page_count_} + 1) * kPageSize > kMaxFileSize) {
      throw common::Error(common::kDiskFull, "The database has reached the 2 GiB that its format allows",
                          path_.string());
    }
    BeginChanges();
    const PageNumber page = page_count_;
    if (index_.size() == index_.capacity()) index_.reserve(2 * index_.size() + 16);
    Frame* const frame = NewFrame(page);
    frame->bytes.fill(std::byte{0});
    frame->dirty = true;
    frame->under_savepoint = savepoint_open_;
    index_.push_back(frame);
    ++page_count_;
    Classify(*frame);
    return frame;
  }

  void Pin(Frame& frame) {
    if (frame.pins++ == 0) Classify(frame);
  }

  void Unpin(Frame& frame) noexcept {
    if (--frame.pins > 0) return;
    if (frame.orphan) {
      Drop(&frame);
    } else {
      Classify(frame);
    }
  }

  void Checkpoint() {
    if (savepoint_open_) throw std::logic_error("Checkpoint inside a savepoint");
    if (changed_) {
      WriteFrames([](const Frame& frame) { return frame.dirty; });
      checkpoint_pages_ = page_count_;
      saved_.clear();
      changed_ = false;
      reset_pending_ = journal_ != nullptr;
    }
    ResetJournal();
  }

  bool OpenSavepoint() {
    if (savepoint_open_) return false;
    savepoint_open_ = true;
    savepoint_pages_ = page_count_;
    return true;
  }

  void ReleaseSavepoint() {
    savepoint_open_ = false;
    for (const UndoImage& image : undo_) EndSavepointOf(*index_[image.page]);
    for (PageNumber page = savepoint_pages_; page < page_count_; ++page) EndSavepointOf(*index_[page]);
    ForgetImages();
  }

  void UndoSavepoint() noexcept {
    savepoint_open_ = false;
    for (const UndoImage& image : undo_) {
      Frame& frame = *index_[image.page];
      frame.bytes = image.bytes;
      frame.dirty = image.was_dirty;
      EndSavepointOf(frame);
    }
    for (PageNumber page = savepoint_pages_; page < page_count_; ++page) {
      Frame* const frame = index_[page];
      frame->dirty = frame->under_savepoint = false;
      if (frame->pins > 0) {
        frame->orphan = true;
      } else {
        Drop(frame);
      }
    }
    page_count_ = savepoint_pages_;
    index_.resize(page_count_);
    ++undo_count_;
    ForgetImages();
  }

  void RequireOwnFile() {
    if (!journal_ || !journal_->IsTouched()) return;
    Frame current(*this);
    for (const auto& frame : frames_) {
      if (frame->dirty || frame->orphan || frame->number == 0) continue;
      current.number = frame->number;
      Load(current);
      if (current.bytes != frame->bytes) ThrowReplaced(path_);
    }
    journal_->Written();
  }

  std::unique_ptr<storage::File> file_;
  const std::filesystem::path path_;
  const bool read_only_;
  PageNumber page_count_ = 0;
  std::uint32_t key_ = 0;
  bool changed_ = false;        // since the last checkpoint
  bool reset_pending_ = false;  // the journal still holds the checkpoint before
  std::uint64_t undo_count_ = 0;

 private:
  struct UndoImage {
    UndoImage() {}  // leaves the bytes as they are: they are set at once
    PageNumber page = 0;
    bool was_dirty = false;
    std::array<std::byte, kPageSize> bytes;
  };

  // --- frames -----------------------------------------------------------------------------------------

  /// A frame for the page, taken from the eviction queue when the budget is used up. Not yet in the index.
  Frame* NewFrame(PageNumber page) {
    while (frames_.size() >= capacity_) {
      // Writing before the queue runs empty keeps frames that are read often from being evicted for lack of
      // others, and makes the writes long.
      if (changed_frames_ * 4 >= capacity_ * 3 || oldest_ == nullptr) {
        if (changed_frames_ > 0) WriteFrames([](const Frame& frame) { return frame.role == Role::Changed; });
      }
      Frame* const victim = oldest_;
      if (victim == nullptr) break;  // keeps P4
      index_[victim->number] = nullptr;
      if (frames_.size() == capacity_) {
        LeaveRole(*victim);
        victim->role = Role::Held;
        victim->number = page;
        return victim;
      }
      Drop(victim);
    }
    frames_.push_back(std::make_unique<Frame>(*this));
    frames_.back()->number = page;
    frames_.back()->position = frames_.size() - 1;
    return frames_.back().get();
  }

  void Drop(Frame* frame) noexcept {
    LeaveRole(*frame);
    const std::size_t position = frame->position;
    if (position + 1 < frames_.size()) {
      std::swap(frames_[position], frames_.back());
      frames_[position]->position = position;
    }
    frames_.pop_back();
  }

  void LeaveRole(Frame& frame) noexcept {
    if (frame.role == Role::Changed) --changed_frames_;
    if (frame.role != Role::Evictable) return;
    (frame.older ? frame.older->newer : oldest_) = frame.newer;
    (frame.newer ? frame.newer->older : newest_) = frame.older;
    frame.older = frame.newer = nullptr;
  }

  void Classify(Frame& frame) noexcept {
    const Role role = frame.pins > 0 || frame.under_savepoint ? Role::Held
                      : frame.dirty                           ? Role::Changed
                                                              : Role::Evictable;
    if (role == frame.role) return;
    LeaveRole(frame);
    frame.role = role;
    if (role == Role::Changed) ++changed_frames_;
    if (role != Role::Evictable) return;
    frame.older = newest_;
    (newest_ ? newest_->newer : oldest_) = &frame;
    newest_ = &frame;
  }

  void EndSavepointOf(Frame& frame) noexcept {
    frame.under_savepoint = false;
    Classify(frame);
  }

  void ForgetImages() noexcept {
    constexpr std::size_t kKeptImages = 64;
    undo_.clear();
    if (undo_.capacity() > kKeptImages) undo_.shrink_to_fit();
  }

  // --- the file ---------------------------------------------------------------------------------------

  void Load(Frame& frame) {
    const std::size_t read = file_->ReadAt(std::uint64_t{frame.number} * kPageSize, frame.bytes);
    if (read != kPageSize) {
      throw common::Error(
          common::kDeviceIo,
          fmt::format("Only {} of {} bytes could be read; the file has become shorter while it was "
                      "open",
                      read, kPageSize),
          Place{&path_, frame.number, {}}.ToString());
    }
    Code(frame.number, frame.bytes);
  }

  /// Turns the bytes of a page from the file's form into the plain one, or back (P7).
  void Code(PageNumber page, ByteSpan bytes) const {
    if (key_ == 0 || page == 0) return;
    std::array<std::byte, sizeof key_> key;
    storage::WriteLittle<std::uint32_t>(key, 0, key_ ^ page);
    ApplyRc4(key, bytes);
  }

  /// The bytes of the frame as the file has them; `buffer` serves for encoded ones.
  ByteView FileForm(const Frame& frame, ByteSpan buffer) const {
    if (key_ == 0) return frame.bytes;
    std::ranges::copy(frame.bytes, buffer.begin());
    Code(frame.number, buffer);
    return buffer;
  }

  /// The file holds a checkpoint. Should the journal fail to forget the one before, it is asked again before
  /// the next change.
  void ResetJournal() {
    if (!reset_pending_) return;
    journal_->Reset();
    reset_pending_ = false;
  }

  void BeginChanges() {
    if (changed_) return;
    ResetJournal();
    RequireOwnFile();
    if (journal_) journal_->Begin(file_->Size());
    changed_ = true;
  }

  /// `frame` is clean: its bytes are what the file holds (P2).
  void SaveImage(const Frame& frame) {
    BeginChanges();
    if (!journal_ || frame.number >= checkpoint_pages_) return;
    if (saved_.empty()) saved_.resize(checkpoint_pages_);
    if (saved_[frame.number]) return;
    std::array<std::byte, kPageSize> buffer;
    journal_->Save(frame.number, FileForm(frame, buffer));
    saved_[frame.number] = true;
  }

  /// Writes the chosen frames in page order, journal first, and syncs.
  template <typename Chosen>
  void WriteFrames(Chosen chosen) {
    std::vector<Frame*> frames;
    for (const auto& frame : frames_) {
      if (!frame->orphan && chosen(*frame)) frames.push_back(frame.get());
    }
    if (frames.empty()) return;
    RequireOwnFile();
    std::ranges::sort(frames, {}, &Frame::number);
    if (journal_) {
      std::array<std::byte, kPageSize> buffer;
      for (const Frame* frame : frames) journal_->Announce(frame->number, FileForm(*frame, buffer));
      journal_->Sync();
    }
    WriteRuns(frames);
    file_->Sync();
    if (journal_) journal_->Written();
    for (Frame* frame : frames) {
      frame->dirty = false;  // keeps P6
      Classify(*frame);
    }
  }

  /// Neighbouring pages go to the file in one write.
  void WriteRuns(const std::vector<Frame*>& frames) {
    constexpr std::size_t kRun = 64;
    std::vector<std::byte> run;
    run.reserve(std::min(kRun, frames.size()) * kPageSize);
    std::array<std::byte, kPageSize> buffer;
    PageNumber first = 0;
    const auto write = [&] {
      if (!run.empty()) file_->WriteAt(std::uint64_t{first} * kPageSize, run);
      run.clear();
    };
    for (const Frame* frame : frames) {
      const std::size_t pages = run.size() / kPageSize;
      if (pages == kRun || frame->number != first + pages) write();
      if (run.empty()) first = frame->number;
      const ByteView bytes = FileForm(*frame, buffer);
      run.insert(run.end(), bytes.begin(), bytes.end());
    }
    write();
  }

  const std::size_t capacity_;  // frames
  std::unique_ptr<PageJournal> journal_;
  std::vector<std::unique_ptr<Frame>> frames_;
  std::vector<Frame*> index_;  // by page; null = not cached
  Frame* oldest_ = nullptr;    // eviction queue
  Frame* newest_ = nullptr;
  std::size_t changed_frames_ = 0;  // of role Changed
  PageNumber checkpoint_pages_ = 0;
  std::vector<bool> saved_;  // by page: image is in the journal; empty = none is

  bool savepoint_open_ = false;
  PageNumber savepoint_pages_ = 0;
  std::vector<UndoImage> undo_;
};

// ------------------------------------------------------------------------------------------------------

PageView::PageView(Frame* frame) : frame_(frame) { frame_->pager.Pin(*frame_); }

PageView::PageView(const PageView& other) : frame_(other.frame_) {
  if (frame_ != nullptr) frame_->pager.Pin(*frame_);
}

PageView::~PageView() {
  if (frame_ != nullptr) frame_->pager.Unpin(*frame_);
}

PageNumber PageView::number() const { return frame_->number; }
ByteView PageView::bytes() const { return frame_->bytes; }
Place PageView::place() const { return {&frame_->pager.path_, frame_->number, {}}; }
ByteSpan PageEdit::bytes() const { return frame_->bytes; }

Pager::Pager(std::unique_ptr<storage::File> file, std::filesystem::path path, Options options,
             std::unique_ptr<PageJournal> journal)
    : impl_(std::make_unique<Impl>(std::move(file), std::move(path), options, std::move(journal))) {}

Pager::~Pager() = default;

PageView Pager::Read(PageNumber page) { return PageView(impl_->Fetch(page)); }

PageEdit Pager::Edit(PageNumber page) {
  PageEdit edit(impl_->Fetch(page));
  impl_->MarkChanged(*edit.frame_);
  return edit;
}

PageEdit Pager::Append() { return PageEdit(impl_->Append()); }

PageNumber Pager::page_count() const { return impl_->page_count_; }
bool Pager::read_only() const { return impl_->read_only_; }
const std::filesystem::path& Pager::path() const { return impl_->path_; }
storage::File& Pager::file() { return *impl_->file_; }
void Pager::RequireOwnFile() { impl_->RequireOwnFile(); }
void Pager::SetDatabaseKey(std::uint32_t key) { impl_->key_ = key; }
void Pager::Checkpoint() { impl_->Checkpoint(); }
bool Pager::dirty() const { return impl_->changed_ || impl_->reset_pending_; }
std::uint64_t Pager::undo_count() const { return impl_->undo_count_; }

Savepoint::Savepoint(Pager& pager) : pager_(pager.impl_->OpenSavepoint() ? pager.impl_.get() : nullptr) {}

Savepoint::~Savepoint() {
  if (pager_ != nullptr) pager_->UndoSavepoint();
}

void Savepoint::Release() {
  if (pager_ != nullptr) pager_->ReleaseSavepoint();
  pager_ = nullptr;
}

}  // namespace corvix::jet
