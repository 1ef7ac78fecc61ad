#include "cli/jobs.h"

#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <system_error>
#include <unistd.h>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/shown_text.h"
#include "common/error.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;
using common::Error;

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(in), {});
  if (!in.is_open() || in.bad() || fs::is_directory(path)) {
    throw Error(common::kFileNotFound, "The jobs file cannot be read; check its name", path);
  }
  return text;
}

void MakeDirectory(const fs::path& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) {
    throw Error(common::kPathNotFound, "The directory for the reports could not be made: " + error.message(),
                directory.string());
  }
}

/// A report of that line which is not there yet.
fs::path FreeReportName(const fs::path& directory, int line) {
  fs::path name = directory / fmt::format("office-{:03}.txt", line);
  for (int n = 2; fs::exists(fs::symlink_status(name)); ++n)
    name = directory / fmt::format("office-{:03}-{}.txt", line, n);
  return name;
}

void NameReport(const JobsOptions& options, Job& job) {
  if (options.reports.empty() || !job.office.report.empty()) return;
  const fs::path directory(options.reports);
  job.office.replace_report = options.replace;
  job.office.report = options.replace ? directory / fmt::format("office-{:03}.txt", job.line)
                                      : FreeReportName(directory, job.line);
}

/// An office that ends by an unforeseen fault is one that failed; the others are done all the same.
RunResult DoJob(const Job& job, const std::function<RunResult(const Job&)>& action) {
  try {
    return action(job);
  } catch (const std::exception& error) {
    const Error told = common::ErrorOf(error);
    SayError(told);
    return {.code = ExitCode::Failed, .summary = {.messages = {told.what()}}};
  }
}

std::string TableHead() {
  return fmt::format("{:>5}  {:<8}{:>9}{:>9}{:>12}{:>9}{:>9}{:>9}{:>9}  {}\n", "line", "result", "records",
                     "added", "overwritten", "kept", "refused", "photos", "seconds", "target");
}

std::string TableLine(const Job& job, const RunResult& result) {
  const run::Summary& done = result.summary;
  return fmt::format("{:>5}  {:<8}{:>9}{:>9}{:>12}{:>9}{:>9}{:>9}{:>9.2f}  {}\n", job.line,
                     ResultName(result.code), done.records, done.added, done.overwritten, done.kept,
                     done.Refused(), done.photo_lines, done.seconds, job.office.conversion.target);
}

/// Why an office failed, in a line.
std::string FailureLine(const Job& job, const run::Summary& summary) {
  std::string why = summary.status;
  if (!summary.messages.empty()) why = summary.messages.back();
  if (summary.error) why = run::FailureText(*summary.error);
  return fmt::format("line {} failed: {}{}\n", job.line, ShownText(why),
                     summary.ChangedNothing() ? " Nothing was converted." : "");
}

}  // namespace

std::vector<Job> ReadJobs(const JobsOptions& options) {
  const fs::path file(options.file);
  std::vector<Job> jobs;
  try {
    jobs = ParseJobs(ReadText(options.file), file.parent_path(), options.defaults);
  } catch (const Error& error) {
    if (error.number() != common::kInvalidCall) throw;
    throw Error(error.number(), error.text(), options.file + ", " + error.place());
  }
  if (jobs.empty()) throw Error(common::kInvalidCall, "The jobs file names no office", options.file);
  if (!options.reports.empty()) MakeDirectory(options.reports);
  for (Job& job : jobs) NameReport(options, job);
  return jobs;
}

JsonObject JobJson(const Job& job) {
  JsonObject object;
  object.Number("line", job.line)
      .Text("source", job.office.conversion.source)
      .Text("target", job.office.conversion.target);
  return object;
}

ExitCode RunJobs(const JobsOptions& options, const std::function<RunResult(const Job&)>& action) {
  std::vector<Job> jobs;
  try {
    jobs = ReadJobs(options);
  } catch (const Error& error) {
    SayError(error);
    return ExitCode::Failed;
  }
  std::string table = TableHead();
  std::string failures;
  std::size_t failed = 0, done = 0;
  bool stopped = false;
  while (done < jobs.size() && !stopped) {
    const Job& job = jobs[done++];
    Say(fmt::format("Office of line {} ({} of {}): {}", job.line, done, jobs.size(),
                    job.office.conversion.target));
    const RunResult result = DoJob(job, action);
    if (result.code == ExitCode::Failed) {
      ++failed;
      failures += FailureLine(job, result.summary);
    }
    stopped = result.code == ExitCode::Stopped;
    table += TableLine(job, result);
    if (InterruptGuard::StopRequested()) break;
  }
  if (!options.json) {
    Print(table + failures);
    Print(fmt::format(
        "{} of {} offices done, {} failed{}\n", done - failed - (stopped ? 1 : 0), jobs.size(), failed,
        stopped || done < jobs.size()
            ? fmt::format(", stopped at line {}, {} not begun", jobs[done - 1].line, jobs.size() - done)
            : ""));
  }
  if (failed > 0) return ExitCode::Failed;
  return stopped || done < jobs.size() ? ExitCode::Stopped : ExitCode::Done;
}

ExitCode ConvertJobs(const JobsOptions& options) {
  LineReader input(STDIN_FILENO);
  return RunJobs(options, [&](const Job& job) {
    RunResult result = ConvertOffice(job.office, input);
    if (options.json) {
      Print(JobJson(job)
                .Text("report", job.office.report)
                .Text("result", ResultName(result.code))
                .Raw("summary", run::ToJson(result.summary))
                .Finish() +
            "\n");
    }
    return result;
  });
}

}  // namespace corvix::cli
