#include "cli/preview_command.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "cli/conversion_options.h"
#include "cli/database_file.h"
#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/preview_host.h"
#include "cli/preview_text.h"
#include "cli/run_end.h"
#include "common/error.h"
#include "common/host_paths.h"
#include "common/report_error.h"
#include "run/observed_engine.h"
#include "run/source_review.h"
#include "storage/base/posix_file.h"
#include "storage/engine/file_engine.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/overlay/overlay_file_system.h"

namespace corvix::cli {
namespace {

struct PreviewOptions {
  ConversionOptions conversion;
  bool changes = false;
  bool json = false;
};

/// What the review of the sources says; nothing when it cannot be made. The run then tells what is wrong.
run::Review Look(core::TableEngine& engine, const ConversionOptions& options) {
  try {
    run::RunValues values;
    SetValues(values, options);
    return run::ReviewSources(engine, BoxesOf(options), values);
  } catch (const common::Error&) {
    return {};
  } catch (const common::ProgramEnd&) {
    return {};
  }
}

/// The size that the target file has now and would have; none when there is no target.
std::optional<SizeForecast> Forecast(storage::FileSystem& files, storage::FileSystem& overlay,
                                     const std::filesystem::path& target) {
  try {
    return SizeForecast{.before = files.Open(target, storage::OpenMode::Read)->Size(),
                        .after = overlay.Open(target, storage::OpenMode::Read)->Size(),
                        .limit = jet::kMaxFileSize,
                        .free = files.FreeSpace(target.parent_path())};
  } catch (const common::Error&) {
    return std::nullopt;
  }
}

ExitCode Preview(const PreviewOptions& options) {
  storage::PosixFileSystem files;
  storage::OverlayFileSystem overlay(files);
  storage::FileEngine engine(overlay, [](jet::Recovery recovery) {
    recovery.restored = false;  // in memory only
    SayRecovery(recovery);
  });
  const run::Review review = Look(engine, options.conversion);
  Print(options.json ? WarningsJson(review) : WarningsText(review) + "Records\n");

  run::Session session;
  run::Accountant accountant(session);
  run::ObservedEngine observed(engine, accountant);
  session.access.engine = &observed;
  SetValues(session.values, options.conversion);
  PreviewHost host(accountant,
                   {.boxes = BoxesOf(options.conversion), .json = options.json, .changes = options.changes});
  PreviewResult result;
  {
    const InterruptGuard interrupts;
    result.run = RunAndClose(session, host);
  }
  result.would_ask = host.would_ask();
  result.size = Forecast(files, overlay, common::HostPath(session.paths.CompsFile));
  Print(options.json ? ResultJson(result) : ResultText(result));
  if (result.run.summary.error) Say(run::FailureText(*result.run.summary.error));
  const bool fits = !result.size || result.size->Fits();
  return result.run.code == ExitCode::Done && !fits ? ExitCode::Failed : result.run.code;
}

}  // namespace

void AddPreview(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("preview", "Tell what a conversion would do; nothing is written");
  const auto options = std::make_shared<PreviewOptions>();
  AddDirectories(command, options->conversion);
  command.get_option("--source")->required();
  command.get_option("--target")->required();
  AddPolicies(command, options->conversion);
  command.add_flag("--changes", options->changes, "Print each field that would change, old -> new");
  command.add_flag("--json", options->json, "Print one JSON object a line: warnings, records, the result");
  command.footer(
      "Where a conversion would ask, the preview leaves the record as it is and says \"would ask\".\n"
      "The exit code is that of the conversion: 1 when it would fail.\n"
      "\n"
      "Examples:\n"
      "  corvix-cli preview --source old/data --target new/data | less\n"
      "  corvix-cli preview --source old/data --target new/data --duplicates source --changes");
  command.callback([options, &work] { work = [options] { return Preview(*options); }; });
}

}  // namespace corvix::cli
