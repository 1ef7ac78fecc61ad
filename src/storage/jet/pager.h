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
// Failures: 3049 for a page number outside the file (a damaged pointer), device errors as File raises them.
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
#include "storage/jet/jet_format.h"

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
  explicit operator bool() const { return frame_ != nullptr; }

 protected:
  detail::Frame* frame_ = nullptr;
};

/// A pinned page for writing.
class PageEdit : public PageView {
 public:
  using PageView::PageView;
  storage::ByteSpan bytes() const;
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
  Pager(std::unique_ptr<storage::File> file, std::filesystem::path path, Options options);
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  PageView Read(PageNumber page);
  /// Error 3027 when the pager is read-only.
  PageEdit Edit(PageNumber page);
  /// A new page of zeros behind the last one. Error 3026-like disk full beyond 2 GiB.
  PageEdit Append();

  PageNumber page_count() const;
  bool read_only() const;
  const std::filesystem::path& path() const;

  /// The 4-byte key of an encoded database; 0 (the start value) for plain pages. Applies to all pages but 0.
  void SetDatabaseKey(std::uint32_t key);

  /// Writes every changed page and returns when they are on the device.
  void Checkpoint();
  /// True when pages have changed since the last checkpoint.
  bool dirty() const;
  /// Pages written to the file so far, for figures.
  std::uint64_t pages_written() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace corvix::jet
