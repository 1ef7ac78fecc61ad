#include "cli/run_end.h"

#include <chrono>
#include <fmt/format.h>
#include <optional>

#include "cli/output.h"
#include "common/error.h"
#include "common/report_error.h"

namespace corvix::cli {
namespace {

ExitCode CodeOf(run::RunEnd end) {
  switch (end) {
    case run::RunEnd::Completed:
      return ExitCode::Done;
    case run::RunEnd::Declined:
    case run::RunEnd::Cancelled:
    case run::RunEnd::Stopped:
      return ExitCode::Stopped;
    case run::RunEnd::Failed:
      break;
  }
  return ExitCode::Failed;
}

run::Summary::Failure FailureOf(const common::Error& error, const run::Session& session) {
  return {error.number(), error.what(), std::string(common::CurrentProc.Trimmed()), session.values.CurrentKey,
          session.values.CurrentRecord};
}

/// The run's error table has a status line for these.
bool HasStatusLine(common::ErrorNumber number) {
  return number == common::kBadFileName || number == common::kPathNotFound || number == common::kFileNotFound;
}

class EndedRun {
 public:
  EndedRun(run::Session& session, PlainHost& host) : session_(session), host_(host) {}

  RunResult Finish() {
    const auto start = std::chrono::steady_clock::now();
    Convert();
    Close();
    RunResult result{.code = CodeOf(end_), .summary = host_.Result()};
    if (end_ == run::RunEnd::Completed && session_.left_out > 0) result.code = ExitCode::Failed;
    result.summary.end = end_;
    result.summary.left_out = session_.left_out;
    result.summary.error = failure_;
    result.summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
  }

 private:
  void Convert() {
    try {
      end_ = run::cmdnewconvert_Click(session_, host_);
      if (!session_.ended_by) return;
      if (HasStatusLine(session_.ended_by->number())) {
        Say(fmt::format("{} ({})", host_.lblmsg().Caption(), session_.ended_by->place()));
      } else {
        failure_ = FailureOf(*session_.ended_by, session_);
      }
    } catch (const std::exception& error) {
      failure_ = FailureOf(common::ErrorOf(error), session_);
    } catch (const common::ProgramEnd&) {
      end_ = run::RunEnd::Failed;  // its message has been shown
    }
  }

  void Close() {
    try {
      run::CloseTarget(session_, host_);
    } catch (const std::exception& error) {
      if (!failure_) failure_ = FailureOf(common::ErrorOf(error), session_);
      end_ = run::RunEnd::Failed;
    }
  }

  run::Session& session_;
  PlainHost& host_;
  run::RunEnd end_ = run::RunEnd::Failed;
  std::optional<run::Summary::Failure> failure_;
};

}  // namespace

RunResult RunAndClose(run::Session& session, PlainHost& host) { return EndedRun(session, host).Finish(); }

}  // namespace corvix::cli
