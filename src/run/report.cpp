#include "run/report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>

#include "run/host.h"

namespace corvix::run {
namespace {

using nlohmann::ordered_json;
using Concerned = Summary::Concerned;

constexpr std::size_t kShownRecords = 5;

void AddConcerned(std::vector<Concerned>& list, const RecordEvent& event, std::size_t error) {
  const common::ErrorNumber number = event.errors[error];
  auto found = std::ranges::find(list, number, &Concerned::number);
  if (found == list.end()) found = list.insert(found, {.number = number, .text = event.error_texts[error]});
  found->keys.push_back(event.key);
  found->records.push_back(event.record);
}

/// Each number once, however often it came.
void AddIncomplete(std::vector<Concerned>& list, const RecordEvent& event) {
  for (std::size_t i = 0; i < event.errors.size(); ++i) {
    const auto before = event.errors.begin() + static_cast<std::ptrdiff_t>(i);
    if (std::find(event.errors.begin(), before, event.errors[i]) == before) AddConcerned(list, event, i);
  }
}

ordered_json ConcernedJson(const std::vector<Concerned>& list) {
  ordered_json array = ordered_json::array();
  for (const Concerned& each : list) {
    array.push_back({{"number", each.number},
                     {"text", each.text},
                     {"records", each.keys.size()},
                     {"keys", each.keys},
                     {"source_records", each.records}});
  }
  return array;
}

std::string ConcernedText(std::string_view what, const std::vector<Concerned>& list) {
  std::string text;
  for (const Concerned& each : list) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(each.keys.size(), kShownRecords); ++i)
      names.push_back(RecordName(each.keys[i], each.records[i]));
    if (each.keys.size() > kShownRecords)
      names.push_back(fmt::format("{} more", each.keys.size() - kShownRecords));
    fmt::format_to(std::back_inserter(text), "{}: error {}: {}: {}\n", what, each.number, each.text,
                   fmt::join(names, ", "));
  }
  return text;
}

std::string_view EndName(RunEnd end) {
  switch (end) {
    case RunEnd::Declined:
      return "declined";
    case RunEnd::Completed:
      return "complete";
    case RunEnd::Cancelled:
      return "cancelled";
    case RunEnd::Stopped:
      return "stopped";
    case RunEnd::Failed:
      break;
  }
  return "failed";
}

}  // namespace

void Summary::Count(const RecordEvent& event) {
  photo_lines += event.photo_lines;
  unreadable_values += std::ssize(event.unreadable);
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
      if (!event.errors.empty()) AddConcerned(refused, event, 0);
      return;
    case Outcome::Unreadable:
      ++unreadable;
      return;
  }
  AddIncomplete(incomplete, event);
}

void Summary::TakeBack(const TakenBack& record) {
  photo_lines -= record.photo_lines;
  if (!record.row) return;
  ++taken_back;
  --(record.outcome == Outcome::Added ? added : overwritten);
}

std::int64_t Summary::Refused() const {
  return std::accumulate(refused.begin(), refused.end(), std::int64_t{0},
                         [](std::int64_t sum, const Concerned& each) { return sum + std::ssize(each.keys); });
}

std::string EndText(const Summary& summary) {
  switch (summary.end) {
    case RunEnd::Declined:
      return "not begun: the backup question was not answered with yes";
    case RunEnd::Completed:
      return summary.left_out == 0 ? "complete"
                                   : fmt::format("not complete: {} step{} left out after errors of a device",
                                                 summary.left_out, summary.left_out == 1 ? " was" : "s were");
    case RunEnd::Cancelled:
    case RunEnd::Stopped:
      return fmt::format("{} at record {}", EndName(summary.end), summary.records);
    case RunEnd::Failed:
      break;
  }
  if (summary.ChangedNothing()) return "failed; nothing was converted";
  return fmt::format("failed after record {}", summary.records);
}

std::string ToJson(const Summary& summary) {
  ordered_json rebuilt = ordered_json::array();
  for (const RebuiltIndex& each : summary.rebuilt_indexes)
    rebuilt.push_back({{"table", each.table}, {"why", each.why}});
  ordered_json json{
      {"ended", EndName(summary.end)},
      {"records", summary.records},
      {"added", summary.added},
      {"overwritten", summary.overwritten},
      {"kept", summary.kept},
      {"skipped_blank", summary.skipped_blank},
      {"refused", ConcernedJson(summary.refused)},
      {"unreadable", summary.unreadable},
      {"taken_back", summary.taken_back},
      {"photo_lines", summary.photo_lines},
      {"incomplete", ConcernedJson(summary.incomplete)},
      {"unreadable_values", summary.unreadable_values},
      {"left_out", summary.left_out},
      {"rebuilt_indexes", rebuilt},
      {"messages", summary.messages},
      {"status", summary.status},
      {"seconds", summary.seconds},
  };
  if (summary.error) {
    json["error"] = {{"number", summary.error->number},
                     {"text", summary.error->text},
                     {"procedure", summary.error->procedure},
                     {"key", summary.error->key},
                     {"record", summary.error->record}};
  }
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string ToText(const Summary& summary) {
  const double rate = summary.seconds > 0 ? static_cast<double>(summary.records) / summary.seconds : 0;
  std::string text = fmt::format(
      "ended        {}\n"
      "records      {:>9}\n"
      "added        {:>9}\n"
      "overwritten  {:>9}\n"
      "kept         {:>9}\n"
      "refused      {:>9}\n"
      "without key  {:>9}\n"
      "photo lines  {:>9}\n",
      EndText(summary), summary.records, summary.added, summary.overwritten, summary.kept, summary.Refused(),
      summary.skipped_blank, summary.photo_lines);
  const auto out = std::back_inserter(text);
  // What a sound office has none of.
  const auto line = [&](std::string_view name, std::int64_t count) {
    if (count > 0) fmt::format_to(out, "{:<13}{:>9}\n", name, count);
  };
  line("unreadable", summary.unreadable);
  line("taken back", summary.taken_back);
  line("bad values", summary.unreadable_values);
  fmt::format_to(out, "seconds      {:>9.2f}  ({:.0f} records a second)\n", summary.seconds, rate);
  text += ConcernedText("refused", summary.refused) + ConcernedText("in part", summary.incomplete);
  for (const RebuiltIndex& each : summary.rebuilt_indexes) text += RebuiltIndexText({each}) + "\n";
  return text;
}

std::string RecordName(std::string_view key, std::int64_t record) {
  const std::string number = record > 0 ? fmt::format("CENTRAL record {}", record) : "";
  if (key.empty()) return number;
  return number.empty() ? fmt::format("'{}'", key) : fmt::format("'{}' ({})", key, number);
}

std::string FailureText(const Summary::Failure& failure) {
  std::string text =
      fmt::format("Error # {} in module {}: {}.", failure.number, failure.procedure, failure.text);
  const std::string record = RecordName(failure.key, failure.record);
  if (!record.empty()) text += fmt::format(" Record {}.", record);
  return text;
}

}  // namespace corvix::run
