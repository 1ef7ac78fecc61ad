#include "cli/run_end.h"

#include <fmt/format.h>

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
  return {error.number(), error.what(), std::string(common::CurrentProc.Trimmed()),
          session.values.CurrentKey};
}

}  // namespace

ExitCode RunAndClose(run::Session& session, PlainHost& host, std::optional<run::Summary::Failure>& failure) {
  ExitCode code = ExitCode::Failed;
  try {
    code = CodeOf(run::cmdnewconvert_Click(session, host));
    if (session.ended_by && common::IsDeviceError(session.ended_by->number())) {
      failure = FailureOf(*session.ended_by, session);
    } else if (session.ended_by) {
      Say(fmt::format("{} ({})", host.lblmsg().Caption(), session.ended_by->place()));
    }
  } catch (const std::exception& error) {
    failure = FailureOf(common::ErrorOf(error), session);
  } catch (const common::ProgramEnd&) {
    code = ExitCode::Failed;  // its message has been shown
  }
  try {
    run::CloseTarget(session, host);
  } catch (const std::exception& error) {
    if (!failure) failure = FailureOf(common::ErrorOf(error), session);
    code = ExitCode::Failed;
  }
  return code;
}

}  // namespace corvix::cli
