#include "cli/record_lines.h"

#include <fmt/format.h>
#include <iterator>
#include <utility>
#include <vector>

#include "cli/json_object.h"
#include "cli/shown_text.h"
#include "common/text.h"

namespace corvix::cli {
namespace {

constexpr int kKeyWidth = 35;

std::string_view OutcomeWords(std::string_view name) {
  if (name == "skipped_blank") return "no key";
  if (name == "unreadable") return "the key cannot be read";
  return name == "would_ask" ? "would ask" : name;
}

/// Texts of the errors with their numbers.
std::string ErrorsJson(const run::RecordEvent& event) {
  std::vector<std::pair<common::ErrorNumber, std::string>> errors;
  for (std::size_t i = 0; i < event.errors.size(); ++i)
    errors.emplace_back(event.errors[i], event.error_texts[i]);
  return JsonArray(errors, [](const auto& error) {
    return JsonObject().Number("number", error.first).Text("text", error.second).Finish();
  });
}

std::string ChangeJson(const run::RowChange& row) {
  const std::string fields = JsonArray(row.fields, [](const run::RowChange::Field& field) {
    return JsonObject()
        .Text("field", field.name)
        .Value("old", field.before)
        .Value("new", field.after)
        .Finish();
  });
  return JsonObject().Text("row", row.key).Truth("added", row.added).Raw("fields", fields).Finish();
}

std::string LostJson(const run::LostValue& lost) {
  return JsonObject()
      .Text("table", lost.table)
      .Number("source_record", lost.record)
      .Text("field", lost.field)
      .Text("value", lost.value)
      .Text("why", lost.why)
      .Finish();
}

}  // namespace

std::string_view OutcomeName(const run::RecordEvent& event, Tense tense) {
  switch (event.outcome) {
    case run::Outcome::Blank:
      return "skipped_blank";
    case run::Outcome::Unreadable:
      return "unreadable";
    case run::Outcome::Added:
      return "added";
    case run::Outcome::NotAdded:
      return "refused";
    case run::Outcome::Overwritten:
      return "overwritten";
    case run::Outcome::Kept:
      break;
  }
  return tense == Tense::Would && event.asked ? "would_ask" : "kept";
}

std::string RecordText(const run::RecordAccount& account, Tense tense, bool changes) {
  const run::RecordEvent& event = account.event;
  std::string text = fmt::format("{:>7}  {:>7}  {:<{}}  {}", event.number, event.record, ShownText(event.key),
                                 kKeyWidth, OutcomeWords(OutcomeName(event, tense)));
  const auto out = std::back_inserter(text);
  if (event.photo_lines > 0)
    fmt::format_to(out, ", {} photo{}", event.photo_lines, event.photo_lines == 1 ? "" : "s");
  text += '\n';
  for (std::size_t i = 0; i < event.errors.size(); ++i) {
    fmt::format_to(out, "{:9}error {}: {}\n", "", event.errors[i], ShownText(event.error_texts[i]));
  }
  for (const std::string& box : event.left_out)
    fmt::format_to(out, "{:9}a step was left out: {}\n", "", ShownText(box));
  if (!changes) return text;
  for (const run::RowChange& row : account.changes) {
    if (!common::EqualIgnoringCase(row.key, event.key))
      fmt::format_to(out, "{:9}row '{}':\n", "", ShownText(row.key));
    for (const auto& field : row.fields) {
      fmt::format_to(out, "{:9}{}: {} -> {}\n", "", field.name, ShownValue(field.before),
                     ShownValue(field.after));
    }
  }
  for (const run::LostValue& lost : account.lost) {
    fmt::format_to(out, "{:9}not stored, {} record {}, {} '{}': {}\n", "", lost.table, lost.record,
                   lost.field, ShownText(common::TrimRight(lost.value)), ShownText(lost.why));
  }
  return text;
}

std::string RecordJson(const run::RecordAccount& account, Tense tense, bool changes) {
  const run::RecordEvent& event = account.event;
  JsonObject object;
  object.Text("kind", "record")
      .Number("record", event.number)
      .Number("source_record", event.record)
      .Text("key", event.key)
      .Text("outcome", OutcomeName(event, tense))
      .Number("photo_lines", event.photo_lines)
      .Raw("errors", ErrorsJson(event));
  if (!event.left_out.empty()) {
    object.Raw("left_out", JsonArray(event.left_out, [](const std::string& box) {
                 std::string text;
                 core::AppendJsonText(text, box);
                 return text;
               }));
  }
  if (changes) {
    object.Raw("changes", JsonArray(account.changes, ChangeJson))
        .Raw("not_stored", JsonArray(account.lost, LostJson));
  }
  return object.Finish();
}

std::string_view TakenBackWords(const run::TakenBack& record) {
  if (record.row) return record.outcome == run::Outcome::Added ? "the added row" : "the overwrite";
  return record.photo_lines > 0 ? "the photo list" : "the comps data of the added row";
}

}  // namespace corvix::cli
