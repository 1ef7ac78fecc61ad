#include "cli/sample_command.h"

#include <filesystem>
#include <fmt/format.h>
#include <system_error>

#include "common/error.h"
#include "sample/sample_writer.h"
#include "storage/base/posix_file.h"

namespace corvix::cli {

ExitCode Sample(const SampleOptions& options) {
  const std::filesystem::path directory(options.directory);
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    fmt::print(stderr, "corvix-cli: the directory {} could not be made: {}.\n", directory.string(),
               error.message());
    return ExitCode::Failed;
  }
  storage::PosixFileSystem files;
  try {
    sample::WriteOffice(files, directory, options.office);
  } catch (const common::Error& failure) {
    fmt::print(stderr, "corvix-cli: error {}: {}.\n", failure.number(), failure.what());
    return ExitCode::Failed;
  }
  fmt::print("{}: {} central records with their comps and photos, and FOLVANE.MDB\n", directory.string(),
             options.office.records);
  return ExitCode::Done;
}

}  // namespace corvix::cli
