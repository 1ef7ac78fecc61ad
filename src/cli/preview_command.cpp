#include "cli/preview_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/interrupt.h"
#include "cli/jobs.h"
#include "cli/json_object.h"
#include "cli/output.h"
#include "cli/preview_run.h"

namespace corvix::cli {
namespace {

struct PreviewOptions {
  OfficeOptions office;
  PreviewForm form;
  std::string jobs;  ///< file with an office a line
};

ExitCode Preview(const PreviewOptions& options) {
  const InterruptGuard interrupts;
  if (options.jobs.empty()) return PreviewOffice(options.office, options.form).code;
  const JobsOptions jobs{.file = options.jobs, .defaults = options.office, .json = options.form.json};
  return RunJobs(jobs, [&](const Job& job) {
    if (options.form.json) Print(JobJson(job).Text("kind", "office").Finish() + "\n");
    return PreviewOffice(job.office, options.form);
  });
}

}  // namespace

void AddPreview(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("preview", "Tell what a conversion would do; nothing is written");
  const auto options = std::make_shared<PreviewOptions>();
  AddDirectories(command, options->office.conversion);
  AddPolicies(command, options->office.conversion);
  command.add_flag("--yes", options->office.yes, "Accepted as convert takes it; a preview asks nothing");
  command.add_flag("--backup", options->office.backup, "Count the room that the copy of the database takes");
  command.add_flag("--changes", options->form.changes, "Print each field that would change, old -> new");
  command.add_flag("--json", options->form.json,
                   "Print one JSON object a line: warnings, records, the result");
  command
      .add_option("--jobs", options->jobs, "Preview the offices of a jobs file instead, see convert --help")
      ->type_name("FILE");
  command.footer(
      "Where a conversion would ask, the preview leaves the record as it is and says \"would ask\".\n"
      "The exit code is that of the conversion: 1 when it would fail.\n"
      "\n"
      "Examples:\n"
      "  corvix-cli preview --source old/data --target new/data | less\n"
      "  corvix-cli preview --source old/data --target new/data --duplicates source --changes\n"
      "  corvix-cli preview --jobs offices.txt --backup");
  command.callback([options, &work] {
    RequireOfficeOrJobs(options->office.conversion, options->jobs);
    work = [options] { return Preview(*options); };
  });
}

}  // namespace corvix::cli
