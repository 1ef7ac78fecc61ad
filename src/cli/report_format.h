// The three forms of a conversion's report. A format turns the facts into text as the run goes on; it keeps
// nothing, so that a report is complete up to the record in hand whatever ends the run.
//
//   .txt           lines for people
//   .csv           one table: kind, record, source record, key, outcome, row, field, old, new, note (RFC
//   4180, UTF-8) .jsonl .json   one object a line, told apart by "kind": run, file, note, record, taken_back,
//   end
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/exit_code.h"
#include "cli/file_facts.h"
#include "run/record_account.h"
#include "run/report.h"

namespace corvix::cli {

/// Name and value: how the run was asked for, or something that happened beside the records.
using Fact = std::pair<std::string, std::string>;

struct RunResult {
  ExitCode code = ExitCode::Done;
  run::Summary summary;
};

class ReportFormat {
 public:
  virtual ~ReportFormat() = default;
  virtual std::string Begin(const std::vector<Fact>& facts) const = 0;
  /// `when` is "before" or "after".
  virtual std::string Files(std::string_view when, const std::vector<FileFacts>& files) const = 0;
  virtual std::string Note(const Fact& fact) const = 0;
  /// What stands above the records.
  virtual std::string RecordsHead() const { return {}; }
  virtual std::string Record(const run::RecordAccount& account) const = 0;
  /// After the records: one that was told before, and is not in the database after all.
  virtual std::string TakenBack(const run::TakenBack& record) const = 0;
  virtual std::string End(const RunResult& result) const = 0;
};

/// By the ending of the file's name; null for another ending.
std::unique_ptr<ReportFormat> FormatFor(const std::filesystem::path& file);

std::unique_ptr<ReportFormat> MakeTextReport();
std::unique_ptr<ReportFormat> MakeCsvReport();
std::unique_ptr<ReportFormat> MakeJsonReport();

/// "done", "failed" or "stopped".
std::string_view ResultName(ExitCode code);
/// The counts of a summary by name, in the order of its JSON form.
std::vector<std::pair<std::string_view, std::int64_t>> Totals(const run::Summary& summary);

}  // namespace corvix::cli
