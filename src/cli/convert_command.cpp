#include "cli/convert_command.h"

#include <chrono>
#include <fmt/format.h>

#include "cli/interrupt.h"
#include "cli/terminal_host.h"
#include "common/error.h"
#include "common/host_paths.h"
#include "common/report_error.h"
#include "run/conversion.h"
#include "storage/base/posix_file.h"
#include "storage/engine/file_engine.h"

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

/// Runs the conversion and closes the target; `failure` receives the error that left it.
ExitCode RunAndClose(run::Session& session, TerminalHost& host,
                     std::optional<run::Summary::Failure>& failure) {
  ExitCode code = ExitCode::Failed;
  try {
    code = CodeOf(run::cmdnewconvert_Click(session, host));
    if (session.ended_by) fmt::print(stderr, "{} ({})\n", host.lblmsg().Caption(), session.ended_by->place());
  } catch (const common::Error& error) {
    failure = FailureOf(error, session);
  } catch (const common::ProgramEnd&) {
    code = ExitCode::Failed;  // its message has been shown
  }
  try {
    if (session.access.TargetDb) session.access.TargetDb->Close();
  } catch (const common::Error& error) {
    if (!failure) failure = FailureOf(error, session);
    code = ExitCode::Failed;
  }
  return code;
}

}  // namespace

ExitCode Convert(const ConvertOptions& options) {
  storage::PosixFileSystem files;
  storage::FileEngine engine(files);
  run::Session session;
  session.access.engine = &engine;
  session.values.DupMode = options.duplicates;
  session.values.ConvertPhotosFlag = options.photos ? 1 : 0;
  TerminalHost host(session, {.boxes = {.txtCompPath = common::DisplayPath(options.source),
                                        .txtcompfilename = "COMPS.DBF",
                                        .txtCompsPath = common::DisplayPath(options.target),
                                        .txtcompsfilename = "FOLVANE.MDB"},
                              .assume_yes = options.yes});
  const InterruptGuard interrupts;
  const auto start = std::chrono::steady_clock::now();
  std::optional<run::Summary::Failure> failure;
  const ExitCode code = RunAndClose(session, host, failure);

  run::Summary summary = host.Result();
  summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  summary.error = failure;
  if (failure) fmt::print(stderr, "{}\n", run::FailureText(*failure));
  if (options.json) {
    fmt::print("{}\n", run::ToJson(summary));
  } else if (code != ExitCode::Failed || summary.records > 0) {
    fmt::print("{}", run::ToText(summary));
  }
  return code;
}

}  // namespace corvix::cli
