// The pager: the only way from the engine to the pages of a Jet file. It keeps pages in a cache with a byte
// budget, so that memory does not grow with the file, and hands them out as pinned views.
//
//   PageView page = pager.Read(7);          // bytes stay valid while `page` lives
//   PageEdit edit = pager.Edit(7);          // the same frame, marked as changed
//   WriteLittle<std::uint16_t>(edit.bytes(), data_page::kFree, free);
//
// A view and an edit of one page share its frame: a change is visible at once to all who hold the page. A
// frame is evicted only while nobody holds it. Pins are cheap to move and must not outlive the pager.
//
// States of a page:
//
//                 Read                     Edit (before image saved)
//    on disk ───────────────▶ clean ────────────────────────────▶ dirty ◀─┐
//       ▲                       │ ▲                                  │    │ Edit
//       └───────────────────────┘ └──────────────────────────────────┘    │
//               eviction           Checkpoint, or a spill when the cache  │
//                                  is full of changes (journal first)     │
//    behind the end ─────────────────── Append ───────────────────────────┘
//
// A Savepoint takes copies of the pages that are changed while it lives, and puts them back unless it is
// released: so the storing of one row happens whole or not at all.
//
// Invariants:
//   P1  A pinned frame stays where it is.
//   P2  A clean frame equals its page in the file.
//   P3  With a journal: a page that existed at the last checkpoint is overwritten only after its image of
//       that checkpoint is on the device. Pages behind that checkpoint's end need no image.
//   P4  The cache exceeds its budget only by frames that are pinned or changed under the open savepoint.
//   P5  A page changed under a savepoint is not written while the savepoint is open; no checkpoint runs then.
//   P6  A written page counts as clean only when it is on the device; after a checkpoint the file has all
//       page_count() pages and equals the cache.
//   P7  Page 0 is stored plain; every other page is encoded when the database has a key.
//   P8  With a journal page 0 is not changed through the pager: the journal keeps its mark there.
//   P9  With a journal nothing is written into a file that somebody else has changed, or that does not bear
//       the name any more: error 3049.
//
// Failures: 3049 for a page number outside the file (a damaged pointer), 3027 for changes of a read-only
// file, 61 when the file would exceed 2 GiB, device errors as File raises them. A checkpoint or a spill that
// fails loses no change and can be tried again. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

namespace detail {
struct Frame;
}

/// A pinned page for reading.
class PageView {
 public:
  PageView() = default;
  explicit PageView(detail::Frame* frame);
  PageView(const PageView& other);
  PageView(PageView&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  PageView& operator=(PageView other) noexcept {
    std::swap(frame_, other.frame_);
    return *this;
  }
  ~PageView();

  PageNumber number() const;
  storage::ByteView bytes() const;  ///< kPageSize bytes
  Place place() const;              ///< file and page, for messages
  explicit operator bool() const { return frame_ != nullptr; }

 protected:
  friend class Pager;
  detail::Frame* frame_ = nullptr;
};

/// A pinned page for writing.
class PageEdit : public PageView {
 public:
  using PageView::PageView;
  storage::ByteSpan bytes() const;
};

/// Keeps the images of pages that are about to be overwritten, so that the state of the last checkpoint can
/// be had again after a crash (journal.h). A pager without one writes in place, which is for scratch files.
/// Bytes are those of the file, encoded when the database is.
class PageJournal {
 public:
  virtual ~PageJournal() = default;
  /// The first change after a checkpoint is about to be made; the file has this length.
  virtual void Begin(std::uint64_t file_length) = 0;
  /// Called once per page and checkpoint, before its first change: `image` is what the file holds.
  virtual void Save(PageNumber page, storage::ByteView image) = 0;
  /// The page is about to be written with this content.
  virtual void Announce(PageNumber page, storage::ByteView content) = 0;
  /// Called before pages are written: all of the above is on the device when it returns.
  virtual void Sync() = 0;
  /// The file holds a new checkpoint and is on the device: what was saved is of no use any more.
  virtual void Reset() = 0;
  /// True when somebody else may have written into the file since Written or Reset, or since it was opened:
  /// whoever knows what its pages were compares them. Error 3049 when the file surely is another one.
  virtual bool IsTouched() { return false; }
  /// The file holds what it shall hold: it is not touched.
  virtual void Written() {}
};

class Pager {
 public:
  static constexpr std::size_t kDefaultBudget = std::size_t{32} << 20;

  struct Options {
    std::size_t cache_bytes = kDefaultBudget;
    bool read_only = false;
  };

  /// `path` names the file in messages. The file's length need not be a multiple of the page size: a cut last
  /// page does not exist.
  Pager(std::unique_ptr<storage::File> file, std::filesystem::path path, Options options,
        std::unique_ptr<PageJournal> journal = nullptr);
  /// Changes since the last checkpoint are dropped.
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  PageView Read(PageNumber page);
  /// Error 3027 when the pager is read-only.
  PageEdit Edit(PageNumber page);
  /// A new page of zeros behind the last one. Error 61 beyond 2 GiB.
  PageEdit Append();

  PageNumber page_count() const;
  bool read_only() const;
  const std::filesystem::path& path() const;
  storage::File& file();

  /// The 4-byte key of an encoded database; 0 (the start value) for plain pages. Applies to all pages but 0,
  /// and must be set before any of them is read.
  void SetDatabaseKey(std::uint32_t key);

  /// Writes every changed page and returns when they are on the device. Not while a savepoint is open.
  void Checkpoint();
  /// Error 3049 when the file is not what this pager left, because somebody else replaced or changed it.
  void RequireOwnFile();
  /// True when pages have changed since the last checkpoint.
  bool dirty() const;
  /// Number of savepoints that were undone so far. Whoever remembers what pages said (free space, counters)
  /// must forget it when this number has changed.
  std::uint64_t undo_count() const;

 private:
  friend class PageView;
  friend class Savepoint;
  friend struct detail::Frame;
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// A point to which the pages can be set back. At most one is open for a pager; a second one that is opened
/// meanwhile is part of the first.
///
///   Savepoint savepoint(pager);
///   ... change pages ...
///   savepoint.Release();   // keep the changes; without it the destructor undoes them
class Savepoint {
 public:
  explicit Savepoint(Pager& pager);
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  void Release();

 private:
  Pager::Impl* pager_;  // null when this is part of another savepoint, or ended
};

}  // namespace corvix::jet
