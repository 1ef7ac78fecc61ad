// The table engine over real files: FoxPro directories and Jet databases, reached by the system's backslash
// texts. Hosts make one and hand it to core.
#pragma once

#include "core/engine.h"
#include "storage/base/file.h"

namespace corvix::storage {

class FileEngine : public core::TableEngine {
 public:
  /// `files` must outlive the engine and everything opened through it.
  explicit FileEngine(FileSystem& files) : files_(files) {}

  bool FileExists(std::string_view file_name) override;
  std::unique_ptr<core::RecordSet> OpenFoxProTable(std::string_view directory,
                                                   std::string_view table) override;
  std::shared_ptr<core::Database> OpenDatabase(std::string_view file_name) override;

 private:
  FileSystem& files_;
};

}  // namespace corvix::storage
