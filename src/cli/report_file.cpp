#include "cli/report_file.h"

#include "common/error.h"
#include "storage/base/bytes.h"

namespace corvix::cli {

using common::Error;

ReportFile::ReportFile(storage::FileSystem& files, const std::filesystem::path& path,
                       const std::filesystem::path& database)
    : path_(path), format_(FormatFor(path)) {
  if (!format_) {
    throw Error(common::kBadFileName, "The name of a report must end in .txt, .csv or .jsonl", path.string());
  }
  try {
    file_ = files.CreateLike(path, database);
  } catch (const Error& error) {
    switch (error.number()) {
      case common::kFileExists:
        throw Error(common::kBadFileName,
                    "There is a file of that name already; choose another name for the report",
                    path.string());
      case common::kFileNotFound:
      case common::kPathNotFound:
        throw Error(common::kPathNotFound, "The directory of the report does not exist; make it first",
                    path.string());
      default:
        throw Error(common::kPermissionDenied, "The report could not be made: " + error.text(),
                    path.string());
    }
  }
}

void ReportFile::Write(const std::string& text) {
  if (!failure_.empty()) return;
  try {
    file_->WriteAt(size_, storage::AsBytes(text));
    size_ += text.size();
  } catch (const Error& error) {
    failure_ = error.text();
  }
}

void ReportFile::Close() {
  file_.reset();
  if (failure_.empty()) return;
  throw Error(common::kDeviceIo,
              "The report is not complete: " + failure_ + "; the conversion itself was not touched by that",
              path_.string());
}

}  // namespace corvix::cli
