#include "cli/sample_command.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <system_error>

#include "cli/output.h"
#include "common/error.h"
#include "common/host_paths.h"
#include "sample/sample_writer.h"
#include "storage/base/posix_file.h"

namespace corvix::cli {
namespace {

struct SampleOptions {
  std::string directory;  ///< made when it does not exist
  sample::OfficeOptions office;
  bool replace = false;
};

/// Nobody's data is overwritten by an invented office.
void RequireRoom(storage::FileSystem& files, const std::filesystem::path& directory) {
  for (const char* name : {"CENTRAL.DBF", "COMPS.DBF", "PHOTO.DBF", "FOLVANE.MDB"}) {
    const std::filesystem::path path = common::FindIgnoringCase(directory, name);
    if (!files.Exists(path)) continue;
    throw common::Error(common::kBadFileName,
                        "The directory holds an office already; choose another one, or give --replace",
                        path.string());
  }
}

ExitCode Sample(const SampleOptions& options) {
  const std::filesystem::path directory(options.directory);
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    Say(fmt::format("corvix-cli: the directory {} could not be made: {}.", directory.string(),
                    error.message()));
    return ExitCode::Failed;
  }
  storage::PosixFileSystem files;
  try {
    if (!options.replace) RequireRoom(files, directory);
    sample::WriteOffice(files, directory, options.office);
  } catch (const common::Error& failure) {
    SayError(failure);
    return ExitCode::Failed;
  }
  Print(fmt::format("{}: {} central records with their comps and photos, and FOLVANE.MDB\n",
                    directory.string(), options.office.records));
  return ExitCode::Done;
}

}  // namespace

void AddSample(CLI::App& app, Work& work) {
  CLI::App& command =
      *app.add_subcommand("sample", "Make source tables and a database of an invented office");
  const auto options = std::make_shared<SampleOptions>();
  command.add_option("DIR", options->directory, "Directory for the files; made when it does not exist")
      ->required();
  command.add_option("--records", options->office.records, "Central records (default 1000)")
      ->check(CLI::Range(std::int64_t{0}, sample::kMaxRecords).description(""));
  command.add_option("--seed", options->office.seed, "The same seed gives the same office (default 1)");
  command
      .add_option("--duplicates", options->office.duplicates_percent,
                  "Percentage of keys that the database has (default 40)")
      ->check(CLI::Range(0, 100).description(""));
  command.add_flag("--replace", options->replace, "Replace an office that is in the directory");
  command.footer(
      "Example:\n"
      "  corvix-cli sample office --records 5000 --duplicates 40\n"
      "  corvix-cli convert --source office --target office --yes");
  command.callback([options, &work] { work = [options] { return Sample(*options); }; });
}

}  // namespace corvix::cli
