#include "cli/office_run.h"

#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <vector>

#include "cli/database_file.h"
#include "cli/output.h"
#include "cli/report_file.h"
#include "cli/run_end.h"
#include "cli/safe_copy.h"
#include "cli/terminal_host.h"
#include "cli/version.h"
#include "common/error.h"
#include "common/report_error.h"
#include "run/observed_engine.h"
#include "run/record_account.h"
#include "storage/base/posix_file.h"
#include "storage/engine/file_engine.h"

namespace corvix::cli {
namespace {

std::string Now() {
  const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(now));
}

class OfficeRun {
 public:
  OfficeRun(const OfficeOptions& options, LineReader& input)
      : options_(options),
        target_(TargetFile(options.conversion.target)),
        accountant_(session_),
        observed_(engine_, accountant_),
        host_(session_, input, HostOptions()) {
    SetValues(session_.values, options.conversion);
    session_.access.engine = &engine_;
  }

  RunResult Run() {
    try {
      BeginReport();
    } catch (const common::Error& error) {
      SayError(error);
      return {.code = ExitCode::Failed, .summary = {.messages = {error.what()}}};
    }
    RunResult result = RunAndClose(session_, host_);
    if (result.summary.error) Say(run::FailureText(*result.summary.error));
    EndReport(result);
    return result;
  }

 private:
  TerminalHost::Options HostOptions() {
    return {.boxes = BoxesOf(options_.conversion),
            .assume_yes = options_.yes,
            .confirmed = [this] { Prepare(); },
            .record_done =
                [this](const run::RecordEvent& event) {
                  if (report_) report_->Write(report_->format().Record(accountant_.Take(event)));
                },
            .taken_back =
                [this](const run::TakenBack& record) {
                  if (report_) report_->Write(report_->format().TakenBack(record));
                }};
  }

  /// The person wants the run, and nothing has been touched yet.
  void Prepare() {
    if (options_.backup) {
      common::CurrentProc = "BackUp";
      const std::string copy = BackUp(files_, target_, TimeStamp()).string();
      Say("The backup is " + copy);
      if (report_) report_->Write(report_->format().Note({"backup", copy}));
    }
    if (report_) report_->Write(report_->format().RecordsHead());
  }

  void BeginReport() {
    if (options_.report.empty()) return;
    std::error_code stays;  // what cannot be removed is told when the report is made
    if (options_.replace_report) std::filesystem::remove(options_.report, stays);
    const std::vector<FileFacts> before =
        FactsOf(files_, target_, SourceDirectory(options_.conversion.source));
    report_.emplace(files_, options_.report, target_);
    session_.access.engine = &observed_;
    report_->Write(
        report_->format().Begin({{"program", "Corvix " + std::string(kVersion)},
                                 {"started", Now()},
                                 {"source", options_.conversion.source},
                                 {"target", target_.string()},
                                 {"duplicates", std::string(PolicyName(options_.conversion.duplicates))},
                                 {"photos", options_.conversion.photos ? "yes" : "no"}}));
    report_->Write(report_->format().Files("before", before));
  }

  void EndReport(RunResult& result) {
    if (!report_) return;
    std::vector<FileFacts> after;
    const auto attempt = [&result](const auto& action) {
      try {
        action();
      } catch (const common::Error& error) {
        SayError(error);
        result.code = ExitCode::Failed;
      }
    };
    attempt([&] { after = FactsOf(files_, target_, SourceDirectory(options_.conversion.source)); });
    report_->Write(report_->format().Files("after", after));
    report_->Write(report_->format().Note({"ended", Now()}));
    report_->Write(report_->format().End(result));
    attempt([&] { report_->Close(); });
  }

  const OfficeOptions& options_;
  std::filesystem::path target_;
  storage::PosixFileSystem files_;
  storage::FileEngine engine_{files_, SayRecovery};
  run::Session session_;
  run::Accountant accountant_;
  run::ObservedEngine observed_;
  std::optional<ReportFile> report_;
  TerminalHost host_;
};

}  // namespace

RunResult ConvertOffice(const OfficeOptions& options, LineReader& input) {
  return OfficeRun(options, input).Run();
}

}  // namespace corvix::cli
