#include "cli/preview_text.h"

#include <fmt/format.h>
#include <iterator>

#include "cli/json_object.h"
#include "cli/report_format.h"
#include "cli/shown_text.h"
#include "common/text.h"

namespace corvix::cli {
namespace {

constexpr std::size_t kLongestValue = 40;

/// Where the first of the values is.
std::string FirstPlace(const run::Warning& warning) {
  std::string place = warning.record > 0 ? fmt::format("record {}", warning.record) : "key";
  if (warning.source_record > 0)
    place += fmt::format(" ({} record {})", warning.table, warning.source_record);
  if (!warning.key.empty()) place += fmt::format(" '{}'", ShownText(warning.key));
  std::string value = ShownText(common::TrimRight(warning.value));
  if (const std::u16string units = common::ToUtf16(value); units.size() > kLongestValue)
    value = common::ToUtf8(units.substr(0, kLongestValue)) + "...";
  if (!value.empty() && warning.field != "CENTRALKEY") place += fmt::format(": '{}'", value);
  return place;
}

std::string_view ResultWords(ExitCode code) {
  switch (code) {
    case ExitCode::Done:
      return "the conversion would be done";
    case ExitCode::Stopped:
      return "the preview was stopped";
    default:
      return "the conversion would fail";
  }
}

/// A warning that is no count of values.
JsonObject PlainWarning(std::string_view concern, std::string_view table, std::string_view why) {
  JsonObject object;
  object.Text("kind", "warning").Text("concern", concern).Text("table", table).Text("why", why);
  return object;
}

std::string ErrorWarning(std::string_view concern, const std::optional<common::Error>& error) {
  if (!error) return {};
  return PlainWarning(concern, "", error->what())
             .Number("error", error->number())
             .Truth("ends_run", true)
             .Finish() +
         "\n";
}

}  // namespace

std::string WarningsText(const run::Review& review, const PreviewResult& result) {
  constexpr std::string_view kHead = "Warnings\n";
  std::string text(kHead);
  const auto out = std::back_inserter(text);
  if (result.obstacle) {
    fmt::format_to(out, "  THE CONVERSION WOULD FAIL: error {}: {}\n", result.obstacle->number(),
                   ShownText(result.obstacle->what()));
  }
  if (result.review_failure) {
    fmt::format_to(out, "  the sources could not be looked through: error {}: {}\n",
                   result.review_failure->number(), ShownText(result.review_failure->what()));
  }
  for (const run::RebuiltIndex& index : review.rebuilt)
    text += "  " + ShownText(run::RebuiltIndexText({index})) + "\n";
  for (const run::Warning& warning : review.warnings) {
    fmt::format_to(out, "  {}.{}: {}", warning.table, warning.field, ShownText(warning.why));
    if (warning.values == 0) {
      text += "; no value is concerned\n";
      continue;
    }
    fmt::format_to(out, "{}: {} value{}, first {}\n", warning.ends_run ? "; ENDS THE RUN" : "",
                   warning.values, warning.values == 1 ? "" : "s", FirstPlace(warning));
  }
  for (const run::UnreadableValue& value : review.unreadable) {
    fmt::format_to(out, "  {}.{}: {} record {}: '{}' is {}\n", value.table, value.field, value.table,
                   value.record, ShownText(value.text), ShownText(value.why));
  }
  if (review.comps_left > 0)
    fmt::format_to(out, "  COMPS: {} records have a key that no central record leads to; they stay behind\n",
                   review.comps_left);
  if (text == kHead) text += "  none\n";
  return text + "\n";
}

std::string ResultText(const PreviewResult& result) {
  std::string text =
      fmt::format("\nResult: {}\n{}", ResultWords(result.run.code), run::ToText(result.run.summary));
  const auto out = std::back_inserter(text);
  fmt::format_to(out, "would ask    {:>9}  (counted as kept)\n", result.would_ask);
  for (const std::string& message : result.run.summary.messages)
    fmt::format_to(out, "message      {}\n", ShownText(message));
  fmt::format_to(out, "status       {}\n", ShownText(result.run.summary.status));
  if (!result.size) return text;
  const SizeForecast& size = *result.size;
  fmt::format_to(out,
                 "\nSize: {} bytes now, {} after the conversion ({:.1f} % of the limit of 2 GiB); {} more, "
                 "{} are free\n",
                 ShownCount(size.before), ShownCount(size.after),
                 100.0 * static_cast<double>(size.after) / static_cast<double>(size.limit),
                 ShownCount(size.Growth()), ShownCount(size.free));
  if (!size.Fits()) text += "THE DISK IS TOO SMALL for the conversion; make room first\n";
  return text;
}

std::string WarningsJson(const run::Review& review, const PreviewResult& result) {
  std::string lines =
      ErrorWarning("cannot_write", result.obstacle) + ErrorWarning("no_review", result.review_failure);
  for (const run::RebuiltIndex& index : review.rebuilt)
    lines += PlainWarning("rebuilt_index", index.table, index.why).Truth("ends_run", false).Finish() + "\n";
  for (const run::UnreadableValue& value : review.unreadable) {
    lines += PlainWarning("unreadable_value", value.table, value.why)
                 .Truth("ends_run", false)
                 .Text("field", value.field)
                 .Number("source_record", value.record)
                 .Text("value", value.text)
                 .Finish() +
             "\n";
  }
  for (const run::Warning& warning : review.warnings) {
    JsonObject object;
    object.Text("kind", "warning")
        .Text("concern", run::ConcernName(warning.concern))
        .Text("table", warning.table)
        .Text("field", warning.field)
        .Number("values", warning.values)
        .Truth("ends_run", warning.ends_run)
        .Text("why", warning.why);
    if (warning.values > 0) {
      object.Number("record", warning.record)
          .Number("source_record", warning.source_record)
          .Text("key", warning.key)
          .Text("value", warning.value);
    }
    lines += object.Finish() + "\n";
  }
  if (review.comps_left > 0) {
    lines += JsonObject()
                 .Text("kind", "warning")
                 .Text("concern", "unreached_comps")
                 .Text("table", "COMPS")
                 .Number("values", review.comps_left)
                 .Truth("ends_run", false)
                 .Finish() +
             "\n";
  }
  return lines;
}

std::string ResultJson(const PreviewResult& result) {
  JsonObject object;
  object.Text("kind", "result")
      .Text("result", ResultName(result.run.code))
      .Number("would_ask", result.would_ask)
      .Number("refused", result.run.summary.Refused())
      .Raw("summary", run::ToJson(result.run.summary));
  if (const auto& size = result.size) {
    object.Raw("size", JsonObject()
                           .Number("before", size->before)
                           .Number("after", size->after)
                           .Number("limit", size->limit)
                           .Number("free", size->free)
                           .Truth("fits", size->Fits())
                           .Finish());
  }
  return object.Finish() + "\n";
}

}  // namespace corvix::cli
