// The report as one table.
#include <array>
#include <fmt/format.h>

#include "cli/record_lines.h"
#include "cli/report_format.h"
#include "core/text_form.h"

namespace corvix::cli {
namespace {

/// One line of the table; the members are its columns.
struct Line {
  std::string_view kind;
  std::string record;
  std::string source_record;
  std::string key;
  std::string_view outcome;
  std::string row;
  std::string field;
  std::string old_value;
  std::string new_value;
  std::string note;
};

bool IsNumber(std::string_view cell) {
  if (cell.starts_with('-')) cell.remove_prefix(1);
  return !cell.empty() && cell.find_first_not_of("0123456789.") == std::string_view::npos;
}

/// A spreadsheet takes a text that begins like this for a formula, and runs it.
bool LooksLikeAFormula(std::string_view cell) {
  return cell.find_first_of("=+-@\t\r") == 0 && !IsNumber(cell);
}

void AppendCell(std::string& out, std::string_view cell) {
  const bool quoted = cell.find_first_of(",\"\t\r\n") != std::string_view::npos || cell.starts_with(' ') ||
                      cell.ends_with(' ');
  const std::string_view mark = LooksLikeAFormula(cell) ? "'" : "";  // shows it as the text that follows
  if (!quoted) {
    out += mark;
    out += cell;
    return;
  }
  out += '"';
  out += mark;
  for (const char c : cell) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

std::string Csv(const Line& line) {
  const std::array<std::string_view, 10> cells{
      line.kind, line.record, line.source_record, line.key,       line.outcome,
      line.row,  line.field,  line.old_value,     line.new_value, line.note};
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) text += ',';
    AppendCell(text, cells[i]);
  }
  return text + "\r\n";
}

class CsvReport : public ReportFormat {
 public:
  std::string Begin(const std::vector<Fact>& facts) const override {
    std::string text = "kind,record,source record,key,outcome,row,field,old,new,note\r\n";
    for (const auto& [name, value] : facts) text += Csv({.kind = "run", .field = name, .new_value = value});
    return text;
  }

  std::string Files(std::string_view when, const std::vector<FileFacts>& files) const override {
    std::string text;
    for (const FileFacts& file : files) {
      text += Csv({.kind = "file",
                   .outcome = when,
                   .field = file.path.filename().string(),
                   .new_value = fmt::format("{}", file.size),
                   .note = fmt::format("CRC-32 {:08X}", file.crc32)});
    }
    return text;
  }

  std::string Note(const Fact& fact) const override {
    return Csv({.kind = "note", .field = fact.first, .new_value = fact.second});
  }

  std::string Record(const run::RecordAccount& account) const override {
    const run::RecordEvent& event = account.event;
    const auto line = [&](std::string_view kind) {
      return Line{.kind = kind,
                  .record = fmt::format("{}", event.number),
                  .source_record = fmt::format("{}", event.record),
                  .key = event.key,
                  .outcome = OutcomeName(event, Tense::Done)};
    };
    Line record = line("record");
    if (event.photo_lines > 0) record.note = fmt::format("{} photo lines", event.photo_lines);
    std::string text = Csv(record);
    for (const run::RowChange& row : account.changes) {
      for (const auto& field : row.fields) {
        Line change = line("change");
        change.row = row.key;
        change.field = field.name;
        change.old_value = core::ToText(field.before);
        change.new_value = core::ToText(field.after);
        text += Csv(change);
      }
    }
    for (const run::LostValue& lost : account.lost) {
      Line left = line("not stored");
      left.source_record = fmt::format("{}", lost.record);  // in the table of the field
      left.field = lost.table + "." + lost.field;
      left.old_value = lost.value;
      left.note = lost.why;
      text += Csv(left);
    }
    for (std::size_t i = 0; i < event.errors.size(); ++i) {
      Line error = line("error");
      error.new_value = fmt::format("{}", event.errors[i]);
      error.note = event.error_texts[i];
      text += Csv(error);
    }
    for (const std::string& box : event.left_out) {
      Line left_out = line("left out");
      left_out.note = box;
      text += Csv(left_out);
    }
    return text;
  }

  std::string TakenBack(const run::TakenBack& record) const override {
    return Csv({.kind = "taken back",
                .record = fmt::format("{}", record.number),
                .source_record = fmt::format("{}", record.record),
                .key = record.key,
                .note = std::string(TakenBackWords(record))});
  }

  std::string End(const RunResult& result) const override {
    std::string text = Csv({.kind = "result", .new_value = std::string(ResultName(result.code))});
    for (const auto& [name, count] : Totals(result.summary)) {
      text += Csv({.kind = "total", .field = std::string(name), .new_value = fmt::format("{}", count)});
    }
    text += Csv({.kind = "ended", .note = run::EndText(result.summary)});
    for (const run::RebuiltIndex& index : result.summary.rebuilt_indexes)
      text += Csv({.kind = "index", .field = index.table + ".CENTRALKEY", .note = index.why});
    for (const std::string& message : result.summary.messages)
      text += Csv({.kind = "message", .note = message});
    text += Csv({.kind = "status", .note = result.summary.status});
    if (result.summary.error)
      text += Csv({.kind = "failure", .note = run::FailureText(*result.summary.error)});
    return text;
  }
};

}  // namespace

std::unique_ptr<ReportFormat> MakeCsvReport() { return std::make_unique<CsvReport>(); }

}  // namespace corvix::cli
