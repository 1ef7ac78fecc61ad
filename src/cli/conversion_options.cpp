#include "cli/conversion_options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "common/host_paths.h"
#include "run/run_values.h"

namespace corvix::cli {
namespace {

const std::map<std::string, std::int16_t>& Policies() {
  static const std::map<std::string, std::int16_t> policies{
      {"source", run::kUseSource}, {"target", run::kKeepTarget}, {"ask", run::kAskEachTime}};
  return policies;
}

}  // namespace

void AddDirectories(CLI::App& command, ConversionOptions& options) {
  command.add_option("--source", options.source, "Directory of CENTRAL.DBF, COMPS.DBF and PHOTO.DBF")
      ->type_name("DIR");
  command.add_option("--target", options.target, "Directory of FOLVANE.MDB")->type_name("DIR");
}

void AddPolicies(CLI::App& command, ConversionOptions& options) {
  command
      .add_option(
          "--duplicates", options.duplicates,
          "What to do where both sides have a record: use the source (default), keep the target, or ask")
      ->transform(CLI::CheckedTransformer(Policies(), CLI::ignore_case).description(""))
      ->type_name("source|target|ask");
  command.add_flag_callback(
      "--no-photos", [&options] { options.photos = false; }, "Leave the photo lists alone");
}

void RequireOfficeOrJobs(const ConversionOptions& options, const std::string& jobs,
                         const std::string& report) {
  if (jobs.empty()) {
    if (options.source.empty()) throw CLI::RequiredError("--source");
    if (options.target.empty()) throw CLI::RequiredError("--target");
  } else if (!(options.source + options.target + report).empty()) {
    throw CLI::ExcludesError("--jobs", "--source, --target or --report; the lines of the file name them");
  }
}

run::BoxTexts BoxesOf(const ConversionOptions& options) {
  return {.txtCompPath = common::DisplayPath(options.source),
          .txtcompfilename = "COMPS.DBF",
          .txtCompsPath = common::DisplayPath(options.target),
          .txtcompsfilename = "FOLVANE.MDB"};
}

std::string_view PolicyName(std::int16_t duplicates) {
  for (const auto& [name, policy] : Policies()) {
    if (policy == duplicates) return name;
  }
  return {};
}

std::filesystem::path SourceDirectory(const std::string& directory) {
  return common::HostPath(common::DisplayPath(directory));
}

std::filesystem::path TargetFile(const std::string& directory) {
  return common::HostPath(common::DisplayPath(directory) + "\\FOLVANE.MDB");
}

void SetValues(run::RunValues& values, const ConversionOptions& options) {
  values.DupMode = options.duplicates;
  values.ConvertPhotosFlag = options.photos ? 1 : 0;
}

}  // namespace corvix::cli
