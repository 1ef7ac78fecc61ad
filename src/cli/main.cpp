// corvix-cli: the companion on the command line. Each command declares its options here and does its work in
// a file of its own.
#include <CLI/CLI.hpp>
#include <exception>
#include <fmt/format.h>
#include <functional>
#include <map>
#include <memory>

#include "cli/check_command.h"
#include "cli/convert_command.h"
#include "cli/dump_command.h"
#include "cli/sample_command.h"
#include "run/run_values.h"

namespace {

using corvix::cli::ExitCode;
/// What to run when the command line is understood.
using Chosen = std::function<ExitCode()>;

void AddConvert(CLI::App& app, Chosen& chosen) {
  CLI::App& command = *app.add_subcommand("convert", "Convert source tables into FOLVANE.MDB");
  auto options = std::make_shared<corvix::cli::ConvertOptions>();
  command.add_option("--source", options->source, "Directory of CENTRAL.DBF, COMPS.DBF and PHOTO.DBF")
      ->required()
      ->type_name("DIR");
  command.add_option("--target", options->target, "Directory of FOLVANE.MDB")->required()->type_name("DIR");
  const std::map<std::string, std::int16_t> policies{{"source", corvix::run::kUseSource},
                                                     {"target", corvix::run::kKeepTarget},
                                                     {"ask", corvix::run::kAskEachTime}};
  command
      .add_option(
          "--duplicates", options->duplicates,
          "What to do where both sides have a record: use the source (default), keep the target, or ask")
      ->transform(CLI::CheckedTransformer(policies, CLI::ignore_case).description(""))
      ->type_name("source|target|ask");
  command.add_flag("!--no-photos", options->photos, "Leave the photo lists alone");
  command.add_flag("--yes", options->yes, "Do not ask whether there is a backup");
  command.add_flag("--json", options->json, "Print the result as one JSON object");
  command.footer(
      "Example:\n  corvix-cli convert --source old/data --target new/data --duplicates source --yes");
  command.callback([options, &chosen] { chosen = [options] { return corvix::cli::Convert(*options); }; });
}

void AddDump(CLI::App& app, Chosen& chosen) {
  CLI::App& command = *app.add_subcommand("dump", "Print the rows of a table, a JSON object a line");
  auto options = std::make_shared<corvix::cli::DumpOptions>();
  command.add_option("PATH", options->path, "A database, a directory of tables, or a table file")->required();
  command.add_option("TABLE", options->table, "The table, where PATH does not name one");
  command.footer(
      "Examples:\n  corvix-cli dump new/data/FOLVANE.MDB COMPS\n  corvix-cli dump old/data CENTRAL");
  command.callback([options, &chosen] { chosen = [options] { return corvix::cli::Dump(*options); }; });
}

void AddCheck(CLI::App& app, Chosen& chosen) {
  CLI::App& command = *app.add_subcommand("check", "Check the structure of databases and tables");
  auto options = std::make_shared<corvix::cli::CheckOptions>();
  command.add_option("PATH", options->paths, "Databases, table files, or directories of them")->required();
  command.add_flag("--notes", options->notes, "Also print what is worth knowing and no fault");
  command.footer("Example:\n  corvix-cli check old/data new/data/FOLVANE.MDB");
  command.callback([options, &chosen] { chosen = [options] { return corvix::cli::Check(*options); }; });
}

void AddSample(CLI::App& app, Chosen& chosen) {
  CLI::App& command =
      *app.add_subcommand("sample", "Make source tables and a database of an invented office");
  auto options = std::make_shared<corvix::cli::SampleOptions>();
  command.add_option("DIR", options->directory, "Directory for the files; made when it does not exist")
      ->required();
  command.add_option("--records", options->office.records, "Central records (default 1000)")
      ->check(CLI::Range(std::int64_t{0}, corvix::sample::kMaxRecords).description(""));
  command.add_option("--seed", options->office.seed, "The same seed gives the same office (default 1)");
  command
      .add_option("--duplicates", options->office.duplicates_percent,
                  "Percentage of keys that the database has")
      ->check(CLI::Range(0, 100).description(""));
  command.footer("Example:\n  corvix-cli sample office --records 5000 --duplicates 40");
  command.callback([options, &chosen] { chosen = [options] { return corvix::cli::Sample(*options); }; });
}

ExitCode Run(int argc, char** argv) {
  CLI::App app("Carries comparables from FoxPro tables into an Access database.", "corvix-cli");
  app.set_version_flag("--version", "corvix-cli " CORVIX_VERSION);
  app.require_subcommand(1);
  app.footer("Exit codes: 0 done, 1 failed or problems found, 2 wrong arguments, 3 stopped by the user.");
  Chosen chosen;
  AddConvert(app, chosen);
  AddDump(app, chosen);
  AddCheck(app, chosen);
  AddSample(app, chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::Done : ExitCode::Usage;
  }
  return chosen();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return static_cast<int>(Run(argc, argv));
  } catch (const std::exception& error) {
    fmt::print(stderr, "corvix-cli: {}\n", error.what());
    return static_cast<int>(ExitCode::Failed);
  }
}
