#include "cli/preview_run.h"

#include <optional>

#include "cli/database_file.h"
#include "cli/output.h"
#include "cli/preview_host.h"
#include "cli/preview_text.h"
#include "cli/run_end.h"
#include "common/error.h"
#include "run/observed_engine.h"
#include "run/source_review.h"
#include "storage/base/posix_file.h"
#include "storage/engine/file_engine.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/lock_file.h"
#include "storage/overlay/overlay_file_system.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;

class OfficePreview {
 public:
  OfficePreview(const OfficeOptions& office, const PreviewForm& form)
      : office_(office), form_(form), target_(TargetFile(office.conversion.target)) {}

  RunResult Run() {
    PreviewResult result;
    result.obstacle = Obstacle();
    const run::Review review = Look(result.review_failure);
    Print(form_.json ? WarningsJson(review, result) : WarningsText(review, result) + "Records\n");
    result.run = Rehearse(result.would_ask);
    result.size = Forecast();
    const bool fits = !result.size || result.size->Fits();
    if (result.run.code == ExitCode::Done && (!fits || result.obstacle)) result.run.code = ExitCode::Failed;
    Print(form_.json ? ResultJson(result) : ResultText(result));
    if (result.run.summary.error) Say(run::FailureText(*result.run.summary.error));
    return result.run;
  }

 private:
  /// What keeps the file from being opened for writing, although it can be read: it is tried and left at
  /// once.
  std::optional<common::Error> Obstacle() {
    try {
      jet::OpenLocked(files_, target_, core::Access::ReadWrite);
      return std::nullopt;
    } catch (const common::Error& error) {
      return error;
    }
  }

  /// What the review of the sources says. When it cannot be made, the run tells what is wrong.
  run::Review Look(std::optional<common::Error>& failure) {
    try {
      run::RunValues values;
      SetValues(values, office_.conversion);
      return run::ReviewSources(engine_, BoxesOf(office_.conversion), values);
    } catch (const common::Error& error) {
      failure = error;
    } catch (const common::ProgramEnd&) {
      failure = common::Error(common::kCannotBuildKey);
    }
    return {};
  }

  RunResult Rehearse(std::int64_t& would_ask) {
    run::Session session;
    run::Accountant accountant(session);
    run::ObservedEngine observed(engine_, accountant);
    session.access.engine = &observed;
    SetValues(session.values, office_.conversion);
    PreviewHost host(accountant,
                     {.boxes = BoxesOf(office_.conversion), .json = form_.json, .changes = form_.changes});
    RunResult result = RunAndClose(session, host);
    would_ask = host.would_ask();
    return result;
  }

  /// The size that the target file has now and would have; none when there is no target.
  std::optional<SizeForecast> Forecast() {
    try {
      const std::uint64_t before = files_.Open(target_, storage::OpenMode::Read)->Size();
      return SizeForecast{.before = before,
                          .after = overlay_.Open(target_, storage::OpenMode::Read)->Size(),
                          .copy = office_.backup ? before : 0,
                          .limit = jet::kMaxFileSize,
                          .free = files_.FreeSpace(target_.parent_path())};
    } catch (const common::Error&) {
      return std::nullopt;
    }
  }

  const OfficeOptions& office_;
  const PreviewForm& form_;
  const fs::path target_;
  storage::PosixFileSystem files_;
  storage::OverlayFileSystem overlay_{files_};
  storage::FileEngine engine_{overlay_, [](jet::Recovery recovery) {
                                recovery.restored = false;  // in memory only
                                SayRecovery(recovery);
                              }};
};

}  // namespace

RunResult PreviewOffice(const OfficeOptions& office, const PreviewForm& form) {
  return OfficePreview(office, form).Run();
}

}  // namespace corvix::cli
