// The undo journal: makes the changes between two checkpoints of a database all or nothing, whatever happens
// to the program or the power. It stands beside the database (FOLVANE.MDB-journal) while the database is open
// for writing, and holds the images that its pages had at the last checkpoint. After a crash, opening the
// database writes them back.
//
// States:
//
//            Begin               Sync                 Reset: head         Reset: mark
//    idle ───────────▶ filling ───────────▶ hot ──────────────────▶ done ─────────────▶ idle
//                      (Save appends images in both; Reset also ends filling)
//
// Invariants:
//   J1  Pages of the database are written only while the journal is hot: its head, in use, is on the device,
//       and then, also on the device, the mark of the database names it (change_mark.h).
//   J2  While it is hot, the image of every old page that was written since the checkpoint is on the device.
//   J3  Images of an older checkpoint never count: they carry another salt, and are cut off before new ones.
//   J4  A journal is rolled back only when the mark of the database names it and that gives exactly the
//       database of its checkpoint, as the sum in its head tells. Without the mark no page has been written
//       since: the database must equal the checkpoint as it is. So a database that was restored, replaced or
//       changed by another program since is never mixed with old pages; opening it is refused with error 3049
//       until somebody decides, and both files stay as they are.
//   J5  Rolling back can be interrupted and repeated: the mark goes last, after it the journal.
//   J6  The changes are on the device before the head says that they are done, and that is on the device
//       before the mark is taken away. So a mark without its journal beside it means a database that is not
//       whole: opening it is refused with error 3049. The journal file goes when the mark is surely gone.
//
// The caller holds the lock of the database file; the journal has none of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/jet/pages/change_mark.h"
#include "storage/jet/pages/file_watch.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

/// Where the journal of a database stands. Symbolic links are followed: all names of a database share one.
std::filesystem::path JournalPath(storage::FileSystem& files, const std::filesystem::path& database);

/// What became of a change that somebody had left in the middle, when the database was opened.
struct Recovery {
  std::string database;   ///< file name
  std::size_t pages = 0;  ///< that had been changed
  std::optional<std::chrono::system_clock::time_point> left_at;
  bool restored = false;  ///< in the file; otherwise only what is read from it
};

/// A line for the user.
std::string RecoveryText(const Recovery& recovery);

/// Told once when an opening has found such a change. May be empty.
using RecoveryObserver = std::function<void(const Recovery&)>;

/// A database file ready for the pager.
struct JournaledFile {
  std::unique_ptr<storage::File> file;
  std::unique_ptr<PageJournal> journal;  ///< null for reading
  std::optional<Recovery> recovery;
};

/// Takes over the file of the database, open and locked. For writing, a journal that a crash left is rolled
/// back first. For reading nothing is written: the file then shows its last checkpoint, pages that changed
/// since being read from the journal. 3049 when the journal does not belong to the database as it is now, or
/// the database was left in the middle of a change and its journal is not there; for writing 3051 when
/// something that is no journal bears the name of one.
JournaledFile OpenJournaled(storage::FileSystem& files, const std::filesystem::path& database,
                            std::unique_ptr<storage::File> file, bool read_only);

/// Removes the journal of a database that is gone or of no use. What is none of ours stays.
void RemoveJournal(storage::FileSystem& files, const std::filesystem::path& database);

/// Removes a journal file of which nothing ever counted; false when it is something else.
bool RemoveVoidJournal(storage::FileSystem& files, const std::filesystem::path& journal);

/// Error 3051 for something else that bears the name of a journal.
[[noreturn]] void ThrowNoJournal(const std::filesystem::path& path);

/// For a journal that is hot when its database has been replaced: the file of the pages, wherever it is now,
/// goes back to its checkpoint when its mark still names the journal; the journal is then of no use.
void GiveUpJournal(storage::FileSystem& files, const std::filesystem::path& journal, std::uint64_t salt,
                   storage::File& database);

class Journal : public PageJournal {
 public:
  /// `database` is the open file at `database_path`; it and `files` must outlive the journal.
  Journal(storage::FileSystem& files, std::filesystem::path database_path, storage::File& database);
  /// Removes the file, unless it is hot: then the next opening rolls it back.
  ~Journal() override;

  void Begin(std::uint64_t file_length) override;
  void Save(PageNumber page, storage::ByteView image) override;
  void Announce(PageNumber page, storage::ByteView content) override;
  void Sync() override;
  void Reset() override;
  bool IsTouched() override;
  void Written() override;

 private:
  enum class State { Idle, Filling, Hot, Done };

  /// Checksums of a page that counts in the database sum.
  struct PageSums {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    bool written = false;
  };

  void Create();
  void Flush();
  std::vector<std::byte> Heads(std::uint32_t state) const;
  void RewriteAll();
  void AdvanceSum();

  storage::FileSystem& files_;
  const std::filesystem::path database_path_;
  const std::filesystem::path path_;
  storage::File& database_;
  FileWatch watch_;
  bool replaced_ = false;                // the database, by another file
  std::unique_ptr<storage::File> file_;  // null until it is needed

  State state_ = State::Idle;
  std::uint64_t salt_ = 0;
  std::uint64_t done_salt_ = 0;    // of the last journal that got as far as done; 0 = none
  change_mark::Place unmarked_{};  // what stands at the place of the mark otherwise
  bool marked_ = false;            // the mark is on the device
  std::uint64_t length_ = 0;       // of the database at the checkpoint
  std::uint64_t sum_ = 0;          // of the database at the checkpoint
  std::uint32_t stride_ = 0;       // of sum_; 0 = not computed yet
  std::uint64_t entries_ = 0;      // saved since Begin
  std::uint64_t flushed_ = 0;      // bytes of the journal that were written
  std::vector<std::byte> buffer_;
  std::unordered_map<PageNumber, PageSums> changed_;
  bool durable_name_ = false;  // the directory knows the file
  bool sync_failed_ = false;
};

}  // namespace corvix::jet
