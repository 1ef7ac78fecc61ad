// The file of a report. It is written record by record; should that fail, the conversion goes on, and the
// failure is told at the end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/report_format.h"
#include "storage/base/file.h"

namespace corvix::cli {

class ReportFile {
 public:
  /// Makes the file, which must not exist yet, with the rights of the database: it holds the same addresses.
  /// Errors: 52 for a name that ends in none of the formats, or that anything has already; 76 and 70 when it
  /// cannot be made.
  ReportFile(storage::FileSystem& files, const std::filesystem::path& path,
             const std::filesystem::path& database);

  const ReportFormat& format() const { return *format_; }
  /// Does not throw.
  void Write(const std::string& text);
  /// Error 57 when anything was not written.
  void Close();

 private:
  std::filesystem::path path_;
  std::unique_ptr<ReportFormat> format_;
  std::unique_ptr<storage::File> file_;
  std::uint64_t size_ = 0;
  std::string failure_;  // text of the first one
};

}  // namespace corvix::cli
