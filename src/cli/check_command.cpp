#include "cli/check_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/data_path.h"
#include "cli/database_file.h"
#include "cli/jobs.h"
#include "cli/json_object.h"
#include "cli/output.h"
#include "cli/shown_text.h"
#include "cli/source_check.h"
#include "common/error.h"
#include "storage/base/posix_file.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/pages/pager.h"

namespace corvix::cli {
namespace {

struct CheckOptions {
  std::vector<std::string> paths;  ///< databases, tables, or directories of them
  std::string jobs;                ///< file whose sources and targets are checked instead
  bool notes = false;              ///< also print what is worth knowing and no fault
  bool json = false;
};

/// Prints findings, and counts problems.
class Findings {
 public:
  Findings(const CheckOptions& options, std::filesystem::path path)
      : options_(options), path_(std::move(path)) {}

  std::size_t problems() const { return problems_; }

  void Add(bool is_problem, const std::string& place, const std::string& text) {
    if (is_problem) ++problems_;
    if (is_problem || options_.notes) Say(is_problem ? "problem" : "note", place, text);
  }

  void Say(std::string_view kind, const std::string& place, const std::string& text) const {
    if (options_.json) {
      Print(Object(kind).Text("place", place).Text("text", text).Finish() + "\n");
    } else {
      Print(fmt::format("{}: {}: {}: {}\n", path_.string(), kind, ShownText(place), ShownText(text)));
    }
  }

  void AddUncounted(bool is_problem, std::size_t count) {
    if (count == 0) return;
    if (is_problem) problems_ += count - 1;  // Add counts one
    Add(is_problem, "file", fmt::format("{} more", count));
  }

  /// The last line about a file: what was looked at.
  void Sum(const std::vector<std::pair<std::string_view, std::size_t>>& counts) {
    if (options_.json) {
      JsonObject object = Object("checked");
      for (const auto& [name, count] : counts) object.Number(name, count);
      Print(object.Number("problems", problems_).Finish() + "\n");
      return;
    }
    std::string line = path_.string() + ": ";
    for (const auto& [name, count] : counts) {
      std::string words(name);
      std::ranges::replace(words, '_', ' ');
      line += fmt::format("{}{} {}", &name == &counts.front().first ? "" : ", ", count, words);
    }
    line +=
        problems_ == 0 ? ": no problem" : fmt::format(": {} problem{}", problems_, problems_ == 1 ? "" : "s");
    Print(line + "\n");
  }

 private:
  JsonObject Object(std::string_view kind) const {
    JsonObject object;
    object.Text("kind", kind).Text("path", path_.string());
    return object;
  }

  const CheckOptions& options_;
  std::filesystem::path path_;
  std::size_t problems_ = 0;
};

// Each returns whether no problem was found.

bool CheckDatabaseFile(storage::FileSystem& files, const std::filesystem::path& path,
                       const CheckOptions& options) {
  const auto pager = OpenForReading(files, path);
  const jet::CheckReport report = jet::CheckDatabase(*pager);
  Findings findings(options, path);
  for (const jet::Finding& each : report.problems)
    findings.Add(true, fmt::format("page {}", each.page), each.text);
  findings.AddUncounted(true, report.problems_left_out);
  for (const jet::Finding& each : report.unevaluated)
    findings.Say("note", fmt::format("page {}", each.page), each.text);
  for (const jet::Finding& each : report.notes)
    findings.Add(false, fmt::format("page {}", each.page), each.text);
  findings.AddUncounted(false, report.notes_left_out);
  findings.Sum({{"pages", report.pages},
                {"tables", report.tables},
                {"rows", report.rows},
                {"indexes", report.indexes},
                {"index_entries", report.index_entries}});
  return findings.problems() == 0;
}

bool CheckTableFile(storage::FileSystem& files, const std::filesystem::path& path,
                    const CheckOptions& options) {
  using Severity = foxpro::Finding::Severity;
  const foxpro::TableReport report = foxpro::CheckTable(files, path.parent_path(), path.filename().string());
  Findings findings(options, path);
  for (const foxpro::Finding& each : report.findings) {
    findings.Add(each.severity == Severity::Problem, each.place, each.text);
  }
  findings.Sum({{"records", report.facts.records},
                {"deleted", report.facts.deleted},
                {"tags", report.facts.tags.size()}});
  return findings.problems() == 0;
}

/// A file that cannot be looked at keeps none of the others from being checked.
bool CheckFile(storage::FileSystem& files, const DataFile& file, const CheckOptions& options) {
  try {
    return file.kind == DataKind::Database ? CheckDatabaseFile(files, file.path, options)
                                           : CheckTableFile(files, file.path, options);
  } catch (const common::Error& error) {
    SayError(error);
    return false;
  }
}

bool CheckPath(storage::FileSystem& files, const std::string& path, const CheckOptions& options) {
  bool sound = true;
  for (const DataFile& file : FindData(files, path)) sound = CheckFile(files, file, options) && sound;
  if (!files.IsDirectory(path)) return sound;
  Findings findings(options, path);
  for (const foxpro::Finding& each : CheckSource(files, path)) findings.Add(true, each.place, each.text);
  return sound && findings.problems() == 0;
}

/// Sources and targets of a jobs file, each once.
std::vector<std::string> PathsOfJobs(const std::string& file) {
  std::vector<std::string> paths;
  for (const Job& job : ReadJobs({.file = file})) {
    for (const std::string& path : {job.office.conversion.source, job.office.conversion.target}) {
      if (std::ranges::find(paths, path) == paths.end()) paths.push_back(path);
    }
  }
  return paths;
}

ExitCode Check(CheckOptions options) {
  storage::PosixFileSystem files;
  bool sound = true;
  try {
    if (!options.jobs.empty()) options.paths = PathsOfJobs(options.jobs);
  } catch (const common::Error& error) {
    SayError(error);
    return ExitCode::Failed;
  }
  for (const std::string& path : options.paths) {
    try {
      sound = CheckPath(files, path, options) && sound;
    } catch (const common::Error& error) {
      SayError(error);
      sound = false;
    }
  }
  return sound ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace

void AddCheck(CLI::App& app, Work& work) {
  CLI::App& command = *app.add_subcommand("check", "Check the structure of databases and tables");
  const auto options = std::make_shared<CheckOptions>();
  command.add_option("PATH", options->paths, "Databases, table files, or directories of them");
  command.add_option("--jobs", options->jobs, "Check the sources and targets of a jobs file instead")
      ->type_name("FILE");
  command.add_flag("--notes", options->notes, "Also print what is worth knowing and no fault");
  command.add_flag("--json", options->json, "Print one JSON object a line: problem, note, checked");
  command.footer(
      "A directory with CENTRAL, COMPS or PHOTO is also checked for the files that a conversion needs.\n"
      "\n"
      "Examples:\n"
      "  corvix-cli check old/data new/data/FOLVANE.MDB\n"
      "  corvix-cli check --notes old/data/COMPS.DBF");
  command.callback([options, &work] {
    if (options->paths.empty() && options->jobs.empty()) throw CLI::RequiredError("PATH");
    if (!options->paths.empty() && !options->jobs.empty()) throw CLI::ExcludesError("--jobs", "PATH");
    work = [options] { return Check(*options); };
  });
}

}  // namespace corvix::cli
