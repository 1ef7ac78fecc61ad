// The table engine over real files: FoxPro directories and Jet databases, reached by the system's backslash
// texts. Hosts make one and hand it to core.
#pragma once

#include <utility>

#include "core/engine.h"
#include "storage/base/file.h"
#include "storage/foxpro/table_index.h"
#include "storage/jet/pages/journal.h"

namespace corvix::storage {

class FileEngine : public core::TableEngine {
 public:
  /// `files` must outlive the engine and everything opened through it. `recovered` is told of each database
  /// that somebody had left in the middle of a change.
  explicit FileEngine(FileSystem& files, jet::RecoveryObserver recovered = {})
      : files_(files), recovered_(std::move(recovered)) {}

  bool FileExists(std::string_view file_name) override;
  std::unique_ptr<core::RecordSet> OpenFoxProTable(std::string_view directory,
                                                   std::string_view table) override;
  std::shared_ptr<core::Database> OpenDatabase(std::string_view file_name) override;

 private:
  FileSystem& files_;
  foxpro::IndexChoices index_choices_;
  jet::RecoveryObserver recovered_;
};

}  // namespace corvix::storage
