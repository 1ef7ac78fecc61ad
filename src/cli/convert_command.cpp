#include "cli/convert_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <unistd.h>

#include "cli/interrupt.h"
#include "cli/jobs.h"
#include "cli/office_run.h"
#include "cli/output.h"

namespace corvix::cli {
namespace {

struct ConvertOptions {
  OfficeOptions office;
  bool json = false;
  std::string jobs;      ///< file with an office a line
  std::string reports;   ///< directory for their reports
  bool replace = false;  ///< reports of an earlier batch
};

ExitCode ConvertOne(const OfficeOptions& office, bool json) {
  LineReader input(STDIN_FILENO);
  const RunResult result = ConvertOffice(office, input);
  if (json) {
    Print(run::ToJson(result.summary) + "\n");
  } else {
    Print(run::ToText(result.summary));
  }
  return result.code;
}

ExitCode Convert(const ConvertOptions& options) {
  SetBrokenPipe(BrokenPipe::Ignored);
  const InterruptGuard interrupts;
  if (options.jobs.empty()) return ConvertOne(options.office, options.json);
  return ConvertJobs({.file = options.jobs,
                      .reports = options.reports,
                      .replace = options.replace,
                      .defaults = options.office,
                      .json = options.json});
}

/// What the parser cannot say by itself.
void CheckOptions(const ConvertOptions& options) {
  const OfficeOptions& office = options.office;
  RequireOfficeOrJobs(office.conversion, options.jobs, office.report);
  if (options.jobs.empty() && !options.reports.empty()) throw CLI::RequiresError("--reports", "--jobs");
  if (options.reports.empty() && options.replace) throw CLI::RequiresError("--replace", "--reports");
  if (!office.report.empty() && !FormatFor(office.report)) {
    throw CLI::ValidationError("--report", "the name must end in .txt, .csv or .jsonl");
  }
}

}  // namespace

void AddConvert(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("convert", "Convert source tables into FOLVANE.MDB");
  const auto options = std::make_shared<ConvertOptions>();
  OfficeOptions& office = options->office;
  AddDirectories(command, office.conversion);
  AddPolicies(command, office.conversion);
  command.add_flag("--yes", office.yes, "Do not ask whether there is a backup");
  command.add_flag("--backup", office.backup, "Copy the database beside itself before anything is changed");
  command.add_option("--report", office.report, "Write what became of every record: .txt, .csv or .jsonl")
      ->type_name("FILE");
  command.add_flag("--json", options->json, "Print the result as one JSON object");
  command
      .add_option("--jobs", options->jobs,
                  "Convert many offices instead: one a line, SOURCE TARGET [OPTIONS]")
      ->type_name("FILE");
  command.add_option("--reports", options->reports, "With --jobs: a report of each office in this directory")
      ->type_name("DIR");
  command.add_flag("--replace", options->replace,
                   "With --reports: reports of the same name are replaced, not numbered");
  command.footer(
      "Examples:\n"
      "  corvix-cli convert --source old/data --target new/data\n"
      "  corvix-cli convert --source old/data --target new/data --duplicates target --backup --yes \\\n"
      "      --report moved.csv\n"
      "  corvix-cli convert --jobs offices.txt --backup --yes --reports reports\n"
      "\n"
      "A jobs file has one office a line; words are quoted as in a shell, # begins a comment, and paths\n"
      "are relative to the file:\n"
      "  # source      target      options of this office\n"
      "  smith/old     smith/new\n"
      "  \"Lee & Co/old\" lee/new     --duplicates target --no-photos --report lee.txt");
  command.callback([options, &work] {
    CheckOptions(*options);
    work = [options] { return Convert(*options); };
  });
}

}  // namespace corvix::cli
