// The file of a report. It is written record by record; should that fail, the conversion goes on, and the
// failure is told at the end.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/report_format.h"

namespace corvix::cli {

class ReportFile {
 public:
  /// Makes the file, which must not exist yet. Errors: 52 for a name that ends in none of the formats, or
  /// that a file has already; 76 and 70 when it cannot be made.
  explicit ReportFile(const std::filesystem::path& path);

  const ReportFormat& format() const { return *format_; }
  /// Does not throw.
  void Write(const std::string& text);
  /// Error 57 when anything was not written.
  void Close();

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::filesystem::path path_;
  std::unique_ptr<ReportFormat> format_;
  std::unique_ptr<std::FILE, CloseFile> file_;
  int failure_ = 0;  // errno
};

}  // namespace corvix::cli
