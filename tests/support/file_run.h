// A conversion of real files by the driver itself, on whatever file system, with a scripted host.
#pragma once

#include <filesystem>

#include "common/host_paths.h"
#include "run/conversion.h"
#include "storage/engine/file_engine.h"
#include "support/scripted_host.h"

namespace corvix::test {

class FileRun {
 public:
  /// The tables of `source` into FOLVANE.MDB of `target`.
  FileRun(storage::FileSystem& files, const std::filesystem::path& source,
          const std::filesystem::path& target)
      : engine_(files) {
    session.access.engine = &engine_;
    session.values.ConvertPhotosFlag = 1;
    host.boxes = {common::DisplayPath(source), "COMPS.DBF", common::DisplayPath(target), "FOLVANE.MDB"};
  }

  /// Runs, and closes the target.
  run::RunEnd Run() {
    const run::RunEnd end = run::cmdnewconvert_Click(session, host);
    run::CloseTarget(session, host);
    return end;
  }

 private:
  storage::FileEngine engine_;

 public:
  ScriptedHost host;
  run::Session session;  // its record sets go before the engine
};

}  // namespace corvix::test
