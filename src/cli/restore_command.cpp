#include "cli/restore_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/conversion_options.h"
#include "cli/output.h"
#include "cli/safe_copy.h"
#include "common/error.h"
#include "storage/base/posix_file.h"

namespace corvix::cli {
namespace {

struct RestoreOptions {
  std::string copy;
  std::string target;
};

ExitCode RestoreCopy(const RestoreOptions& options) {
  SetBrokenPipe(BrokenPipe::Ignored);
  storage::PosixFileSystem files;
  try {
    const Restored restored = Restore(files, options.copy, TargetFile(options.target), TimeStamp());
    Print("Restored " + restored.database.string() + " from " + options.copy + "\n");
    if (restored.replaced)
      Print("The database that was there is kept as " + restored.replaced->string() + "\n");
  } catch (const common::Error& error) {
    SayError(error);
    return ExitCode::Failed;
  }
  return ExitCode::Done;
}

}  // namespace

void AddRestore(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("restore", "Put a copy of FOLVANE.MDB back in its place");
  const auto options = std::make_shared<RestoreOptions>();
  command.add_option("FILE", options->copy, "The copy, as --backup made it")->required();
  command.add_option("--target", options->target, "Directory of FOLVANE.MDB")->required()->type_name("DIR");
  command.footer(
      "The copy is checked first and stays where it is. The database that it replaces is kept beside it\n"
      "as FOLVANE-replaced-DATE.MDB.\n"
      "\n"
      "Example:\n"
      "  corvix-cli restore new/data/FOLVANE-20261124-153012.MDB --target new/data");
  command.callback([options, &work] { work = [options] { return RestoreCopy(*options); }; });
}

}  // namespace corvix::cli
