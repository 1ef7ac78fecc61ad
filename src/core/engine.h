// What core asks of the storage engines. A host hands a TableEngine down; core never names an engine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/record_set.h"

namespace corvix::core {

/// One open database file. Record sets stay usable after the last outside reference has gone; Close ends
/// them.
class Database {
 public:
  virtual ~Database() = default;
  /// A record set over one table. 3011: no table of that name (without regard to case).
  virtual std::unique_ptr<RecordSet> OpenTable(std::string_view name) = 0;
  /// Checks what storing into the table relies on: its definition, maps, row directories and indexes. 3049,
  /// with the first fault and its place, when a store could lose or mix up rows; nothing is written. 3011.
  virtual void RequireSound(std::string_view table) { static_cast<void>(table); }
  /// Makes everything stored so far durable. Called before the program waits for a person and at the end of a
  /// run; the engine calls it itself at least once a second while rows are stored.
  virtual void Checkpoint() = 0;
  /// The same when the last one was a second ago: for a run that has stored rows and now stores none.
  virtual void CheckpointWhenDue() {}
  /// How many checkpoints have succeeded: what was stored before the last of them outlives whatever happens.
  virtual std::int64_t Checkpoints() const { return 0; }
  /// Checkpoint, then release the file. Idempotent.
  virtual void Close() = 0;
  /// Releases a file that cannot be closed: what was stored since the last checkpoint is taken back, at the
  /// latest when the database is opened next. Idempotent.
  virtual void Abandon() { Close(); }
};

enum class Access { ReadOnly, ReadWrite };

/// Opens tables and databases. Names are the system's backslash texts (common/host_paths.h).
class TableEngine {
 public:
  virtual ~TableEngine() = default;
  virtual bool FileExists(std::string_view file_name) = 0;
  /// Table `table` (with or without its extension) of a directory of FoxPro tables, no index selected.
  /// 3011: the file is no table that the engine can open.
  virtual std::unique_ptr<RecordSet> OpenFoxProTable(std::string_view directory, std::string_view table) = 0;
  /// 53 missing file, 76 missing directory, 3051 held by another program or not writable, 3343 no Jet 4 file,
  /// 3049 damaged, 3031 password.
  virtual std::shared_ptr<Database> OpenDatabase(std::string_view file_name) = 0;
};

}  // namespace corvix::core
