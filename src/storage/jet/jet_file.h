// One open Jet file, shared by all databases and record sets of the process that reach it, by whatever name:
// the pager, the catalogue, and the tables in use.
//
// Use by several programs at once: lock_file.h. Opening never waits.
//
// Durability: what is stored is durable after Checkpoint. While rows are stored one falls due every second; a
// record set makes it before it begins to store the next row, so that a failing device leaves the row in its
// buffer and the store can be tried again. The last reference makes a final checkpoint.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/engine.h"
#include "storage/base/file.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/open_table.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/lock_file.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"

namespace corvix::jet {

class JetFile {
 public:
  /// The open file of that identity, or the file opened anew. `files` must outlive the file. Errors: see
  /// OpenJetDatabase.
  static std::shared_ptr<JetFile> Open(storage::FileSystem& files, const std::filesystem::path& path,
                                       core::Access access, const RecoveryObserver& recovered = {});
  ~JetFile();
  JetFile(const JetFile&) = delete;
  JetFile& operator=(const JetFile&) = delete;

  Pager& pager() { return *pager_; }
  PageAllocator& allocator() { return allocator_; }
  const Catalog& catalog() const { return catalog_; }

  /// The local table of that name, without regard to case; null when there is none.
  OpenTable* FindTable(std::string_view name);

  void Checkpoint();
  /// A checkpoint when the last one was a second ago.
  void CheckpointWhenDue();
  /// How many succeeded.
  std::int64_t checkpoints() const { return checkpoints_; }
  /// No final checkpoint is tried: what was stored since the last one is taken back by the next opening.
  void Abandon() { abandoned_ = true; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kCheckpointInterval{1};

  struct Registry;
  JetFile(std::unique_ptr<Pager> pager, std::unique_ptr<LockFile> lock_file);

  std::unique_ptr<Pager> pager_;
  std::unique_ptr<LockFile> lock_file_;  // null for reading; left before the lock over the database is
  PageAllocator allocator_;
  Catalog catalog_;
  std::map<PageNumber, std::unique_ptr<OpenTable>> tables_;
  Clock::time_point last_checkpoint_ = Clock::now();
  std::int64_t checkpoints_ = 0;
  bool abandoned_ = false;
};

}  // namespace corvix::jet
