#include "cli/report_file.h"

#include <cerrno>
#include <system_error>

#include "common/error.h"

namespace corvix::cli {

using common::Error;

ReportFile::ReportFile(const std::filesystem::path& path) : path_(path), format_(FormatFor(path)) {
  if (!format_) {
    throw Error(common::kBadFileName, "The name of a report must end in .txt, .csv or .jsonl", path.string());
  }
  file_.reset(std::fopen(path.c_str(), "wxe"));
  if (file_) return;
  switch (errno) {
    case EEXIST:
      throw Error(common::kBadFileName,
                  "There is a file of that name already; choose another name for the report", path.string());
    case ENOENT:
    case ENOTDIR:
      throw Error(common::kPathNotFound, "The directory of the report does not exist; make it first",
                  path.string());
    default:
      throw Error(common::kPermissionDenied,
                  "The report could not be made: " + std::generic_category().message(errno), path.string());
  }
}

void ReportFile::Write(const std::string& text) {
  if (failure_ != 0) return;
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() || std::fflush(file_.get()) != 0) {
    failure_ = errno;
  }
}

void ReportFile::Close() {
  if (std::fclose(file_.release()) != 0 && failure_ == 0) failure_ = errno;
  if (failure_ == 0) return;
  throw Error(common::kDeviceIo,
              "The report is not complete: " + std::generic_category().message(failure_) +
                  "; the conversion itself was not touched by that",
              path_.string());
}

}  // namespace corvix::cli
