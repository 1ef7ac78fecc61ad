// corvix-cli: the companion on the command line. Each command declares itself in a file of its own.
#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <sstream>
#include <string>

#include "cli/check_command.h"
#include "cli/convert_command.h"
#include "cli/dump_command.h"
#include "cli/inspect_command.h"
#include "cli/output.h"
#include "cli/preview_command.h"
#include "cli/restore_command.h"
#include "cli/sample_command.h"
#include "cli/version.h"
#include "common/error.h"
#include "storage/base/standard_descriptors.h"

namespace {

using corvix::cli::ExitCode;

ExitCode Run(int argc, char** argv) {
  CLI::App app("Carries comparables from FoxPro tables into an Access database.", "corvix-cli");
  app.set_version_flag("--version", "corvix-cli " + std::string(corvix::cli::kVersion));
  app.require_subcommand(1);
  app.footer(
      "corvix-cli COMMAND --help tells the options of a command, with examples.\n"
      "Exit codes: 0 done, 1 failed or problems found, 2 wrong arguments, 3 stopped by the user.\n"
      "\n"
      "To begin with:\n"
      "  corvix-cli check old/data new/data\n"
      "  corvix-cli preview --source old/data --target new/data | less\n"
      "  corvix-cli convert --source old/data --target new/data --backup --report moved.csv");
  corvix::cli::Work work;
  corvix::cli::AddConvert(app, work);
  corvix::cli::AddPreview(app, work);
  corvix::cli::AddRestore(app, work);
  corvix::cli::AddInspect(app, work);
  corvix::cli::AddDump(app, work);
  corvix::cli::AddCheck(app, work);
  corvix::cli::AddSample(app, work);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (const auto rest = app.remaining(); app.get_subcommands().empty() && !rest.empty()) {
      corvix::cli::Say("corvix-cli: there is no command or option '" + rest.front() +
                       "'; see corvix-cli --help.");
      return ExitCode::Usage;
    }
    std::ostringstream results, messages;
    const bool done = app.exit(error, results, messages) == 0;
    corvix::cli::Print(results.str());
    corvix::cli::SayWithoutLineEnd(messages.str());
    return done ? ExitCode::Done : ExitCode::Usage;
  }
  return work();
}

}  // namespace

int main(int argc, char** argv) {
  namespace cli = corvix::cli;
  corvix::storage::OpenStandardDescriptors();
  cli::SetBrokenPipe(cli::BrokenPipe::Ends);
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a full disk, no end of the program
  ExitCode code = ExitCode::Failed;
  try {
    code = Run(argc, argv);
  } catch (const std::exception& error) {
    cli::SayError(corvix::common::ErrorOf(error));
  }
  return static_cast<int>(cli::FinishOutput(code));
}
