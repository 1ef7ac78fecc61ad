// corvix-cli: the companion on the command line.
#include <CLI/CLI.hpp>
#include <exception>
#include <fmt/format.h>
#include <map>

#include "cli/convert_command.h"
#include "run/run_values.h"

namespace {

using corvix::cli::ConvertOptions;
using corvix::cli::ExitCode;

CLI::App& AddConvert(CLI::App& app, ConvertOptions& options) {
  CLI::App& convert = *app.add_subcommand("convert", "Convert source tables into FOLVANE.MDB");
  convert.add_option("--source", options.source, "Directory of CENTRAL.DBF, COMPS.DBF and PHOTO.DBF")
      ->required()
      ->type_name("DIR");
  convert.add_option("--target", options.target, "Directory of FOLVANE.MDB")->required()->type_name("DIR");
  const std::map<std::string, std::int16_t> policies{{"source", corvix::run::kUseSource},
                                                     {"target", corvix::run::kKeepTarget},
                                                     {"ask", corvix::run::kAskEachTime}};
  convert
      .add_option(
          "--duplicates", options.duplicates,
          "What to do where both sides have a record: use the source (default), keep the target, or ask")
      ->transform(CLI::CheckedTransformer(policies, CLI::ignore_case).description(""))
      ->type_name("source|target|ask");
  convert.add_flag("!--no-photos", options.photos, "Leave the photo lists alone");
  convert.add_flag("--yes", options.yes, "Do not ask whether there is a backup");
  convert.add_flag("--json", options.json, "Print the result as one JSON object");
  convert.footer(
      "Example:\n  corvix-cli convert --source /data/quorvex --target /data/lumivar --duplicates source "
      "--yes\n\n"
      "Exit codes: 0 done, 1 failed, 2 wrong arguments, 3 stopped by the user.");
  return convert;
}

ExitCode Run(int argc, char** argv) {
  CLI::App app("Carries comparables from FoxPro tables into an Access database.", "corvix-cli");
  app.set_version_flag("--version", "corvix-cli " CORVIX_VERSION);
  app.require_subcommand(1);
  ConvertOptions convert;
  AddConvert(app, convert);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::Done : ExitCode::Usage;
  }
  return corvix::cli::Convert(convert);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return static_cast<int>(Run(argc, argv));
  } catch (const std::exception& error) {
    fmt::print(stderr, "corvix-cli: {}\n", error.what());
    return static_cast<int>(ExitCode::Failed);
  }
}
