#include "cli/report_format.h"

#include <fmt/format.h>
#include <iterator>

#include "cli/json_object.h"
#include "cli/record_lines.h"
#include "cli/shown_text.h"
#include "common/text.h"

namespace corvix::cli {
namespace {

class TextReport : public ReportFormat {
 public:
  std::string Begin(const std::vector<Fact>& facts) const override {
    std::string text = "Report of a conversion\n\n";
    for (const Fact& fact : facts) text += Note(fact);
    return text;
  }

  std::string Files(std::string_view when, const std::vector<FileFacts>& files) const override {
    std::string text = fmt::format("\nFiles {} the run (size, CRC-32)\n", when);
    for (const FileFacts& file : files) {
      fmt::format_to(std::back_inserter(text), "{:>15}  {:08X}  {}\n", ShownCount(file.size), file.crc32,
                     ShownText(file.path.filename().string()));
    }
    return text;
  }

  std::string Note(const Fact& fact) const override {
    return fmt::format("{:<12}{}\n", fact.first, ShownText(fact.second));
  }

  std::string RecordsHead() const override {
    return "\nRecords (number, number in CENTRAL.DBF, key, outcome, changed fields)\n";
  }

  std::string Record(const run::RecordAccount& account) const override {
    return RecordText(account, Tense::Done, true);
  }

  std::string TakenBack(const run::TakenBack& record) const override {
    return fmt::format("{:>7}  {:>7}  {}  taken back: {}\n", record.number, record.record,
                       ShownText(record.key), TakenBackWords(record));
  }

  std::string End(const RunResult& result) const override {
    std::string text = fmt::format("\nResult: {}\n{}", ResultName(result.code), run::ToText(result.summary));
    for (const std::string& message : result.summary.messages)
      text += "message      " + ShownText(message) + "\n";
    text += "status       " + ShownText(result.summary.status) + "\n";
    if (result.summary.error) text += ShownText(run::FailureText(*result.summary.error)) + "\n";
    return text;
  }
};

class JsonReport : public ReportFormat {
 public:
  std::string Begin(const std::vector<Fact>& facts) const override {
    JsonObject run;
    run.Text("kind", "run");
    for (const auto& [name, value] : facts) run.Text(name, value);
    return run.Finish() + "\n";
  }

  std::string Files(std::string_view when, const std::vector<FileFacts>& files) const override {
    std::string lines;
    for (const FileFacts& file : files) {
      lines += JsonObject()
                   .Text("kind", "file")
                   .Text("when", when)
                   .Text("path", file.path.string())
                   .Number("size", file.size)
                   .Text("crc32", fmt::format("{:08X}", file.crc32))
                   .Finish() +
               "\n";
    }
    return lines;
  }

  std::string Note(const Fact& fact) const override {
    return JsonObject().Text("kind", "note").Text(fact.first, fact.second).Finish() + "\n";
  }

  std::string Record(const run::RecordAccount& account) const override {
    return RecordJson(account, Tense::Done, true) + "\n";
  }

  std::string TakenBack(const run::TakenBack& record) const override {
    return JsonObject()
               .Text("kind", "taken_back")
               .Number("record", record.number)
               .Number("source_record", record.record)
               .Text("key", record.key)
               .Text("what", TakenBackWords(record))
               .Finish() +
           "\n";
  }

  std::string End(const RunResult& result) const override {
    return JsonObject()
               .Text("kind", "end")
               .Text("result", ResultName(result.code))
               .Raw("summary", run::ToJson(result.summary))
               .Finish() +
           "\n";
  }
};

}  // namespace

std::unique_ptr<ReportFormat> FormatFor(const std::filesystem::path& file) {
  const std::string ending = common::UpperCase(file.extension().string());
  if (ending == ".TXT") return MakeTextReport();
  if (ending == ".CSV") return MakeCsvReport();
  if (ending == ".JSONL" || ending == ".JSON") return MakeJsonReport();
  return nullptr;
}

std::unique_ptr<ReportFormat> MakeTextReport() { return std::make_unique<TextReport>(); }
std::unique_ptr<ReportFormat> MakeJsonReport() { return std::make_unique<JsonReport>(); }

std::string_view ResultName(ExitCode code) {
  switch (code) {
    case ExitCode::Done:
      return "done";
    case ExitCode::Stopped:
      return "stopped";
    default:
      return "failed";
  }
}

std::vector<std::pair<std::string_view, std::int64_t>> Totals(const run::Summary& summary) {
  std::int64_t incomplete = 0;
  for (const auto& each : summary.incomplete) incomplete += std::ssize(each.keys);
  return {{"records", summary.records},
          {"added", summary.added},
          {"overwritten", summary.overwritten},
          {"kept", summary.kept},
          {"refused", summary.Refused()},
          {"skipped_blank", summary.skipped_blank},
          {"unreadable", summary.unreadable},
          {"taken_back", summary.taken_back},
          {"photo_lines", summary.photo_lines},
          {"incomplete", incomplete},
          {"unreadable_values", summary.unreadable_values}};
}

}  // namespace corvix::cli
