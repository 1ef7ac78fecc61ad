#include "run/report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corvix::run {

void Summary::Count(const RecordEvent& event) {
  photo_lines += event.photo_lines;
  switch (event.outcome) {
    case Outcome::Blank:
      ++skipped_blank;
      break;
    case Outcome::Added:
      ++added;
      break;
    case Outcome::Overwritten:
      ++overwritten;
      break;
    case Outcome::Kept:
      ++kept;
      break;
    case Outcome::NotAdded:
      break;
  }
}

std::string ToJson(const Summary& summary) {
  nlohmann::ordered_json json{
      {"records", summary.records},
      {"added", summary.added},
      {"overwritten", summary.overwritten},
      {"kept", summary.kept},
      {"skipped_blank", summary.skipped_blank},
      {"photo_lines", summary.photo_lines},
      {"messages", summary.messages},
      {"status", summary.status},
      {"seconds", summary.seconds},
  };
  if (summary.error) {
    json["error"] = {{"number", summary.error->number},
                     {"text", summary.error->text},
                     {"procedure", summary.error->procedure},
                     {"key", summary.error->key}};
  }
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string ToText(const Summary& summary) {
  const double rate = summary.seconds > 0 ? static_cast<double>(summary.records) / summary.seconds : 0;
  return fmt::format(
      "records      {:>9}\n"
      "added        {:>9}\n"
      "overwritten  {:>9}\n"
      "kept         {:>9}\n"
      "without key  {:>9}\n"
      "photo lines  {:>9}\n"
      "seconds      {:>9.2f}  ({:.0f} records a second)\n",
      summary.records, summary.added, summary.overwritten, summary.kept, summary.skipped_blank,
      summary.photo_lines, summary.seconds, rate);
}

std::string FailureText(const Summary::Failure& failure) {
  std::string text =
      fmt::format("Error # {} in module {}: {}.", failure.number, failure.procedure, failure.text);
  if (!failure.key.empty()) text += fmt::format(" Record '{}'.", failure.key);
  return text;
}

}  // namespace corvix::run
