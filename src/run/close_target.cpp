// The end of the connection to the target.
#include <fmt/format.h>

#include "common/trap.h"
#include "run/conversion.h"

namespace corvix::run {

using common::Action;
using common::Error;
using common::Trap;

namespace {

std::string TakenBackText(std::size_t records) {
  return fmt::format(
      "The database could not be closed and goes back to its last checkpoint.  What was stored of {} "
      "record{} "
      "since then is taken back; convert again.",
      records, records == 1 ? "" : "s");
}

}  // namespace

void CloseTarget(Session& session, Host& host) {
  const common::DialogsScope dialogs(host);
  const common::Rules retry_or_pass_on = [](const Error& error) {
    return common::ReportError(error) == Action::Retry ? Action::Retry : Action::PassOn;
  };
  const Trap trap(retry_or_pass_on);
  const auto let_go = [&session] {
    session.access.TargetDb.reset();
    session.sources.DATFOLVANE.Recordset.reset();  // a connection before TargetDb may have given it
    session.unsafe.Clear();
  };
  const std::shared_ptr<core::Database> target = session.access.TargetDb;
  if (!target) return let_go();
  const std::int64_t checkpoints = target->Checkpoints();
  try {
    trap([&] { target->Close(); });
  } catch (...) {
    const std::vector<TakenBack> lost = session.unsafe.Lost(checkpoints);
    target->Abandon();
    let_go();
    for (const TakenBack& record : lost) host.RecordTakenBack(record);
    if (!lost.empty()) host.Notice(TakenBackText(lost.size()));
    throw;
  }
  let_go();
}

}  // namespace corvix::run
