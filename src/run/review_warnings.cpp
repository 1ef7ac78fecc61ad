#include "run/review_warnings.h"

#include <algorithm>
#include <utility>

namespace corvix::run {
namespace {

/// True when the run does not settle an error of this number by itself while it merges a record.
bool EndsRun(common::ErrorNumber number) { return number != common::kConversion; }

}  // namespace

Warning& WarningList::Note(Concern concern, std::string_view table, std::string_view field,
                           common::ErrorNumber number) {
  Warning& warning = warnings_[{concern, std::string(table), std::string(field), number}];
  warning.concern = concern;
  warning.table = table;
  warning.field = field;
  return warning;
}

void WarningList::Count(Concern concern, const Spot& spot, const std::string& value, const std::string& why,
                        const std::optional<common::Error>& error) {
  Warning& warning = Note(concern, spot.table, spot.field, error ? error->number() : 0);
  if (warning.values++ > 0) return;
  warning.record = spot.record;
  warning.source_record = spot.source_record;
  warning.key = spot.key;
  warning.value = value;
  warning.ends_run = error && EndsRun(error->number());
  if (warning.why.empty()) warning.why = why;
}

std::vector<Warning> WarningList::Take() {
  std::vector<Warning> warnings;
  for (auto& [sort, warning] : warnings_) warnings.push_back(std::move(warning));
  warnings_.clear();
  std::ranges::stable_sort(warnings, {}, [](const Warning& w) { return !(w.ends_run && w.values > 0); });
  return warnings;
}

std::string_view ConcernName(Concern concern) {
  switch (concern) {
    case Concern::NoTargetField:
      return "no_target_field";
    case Concern::NeverStored:
      return "never_stored";
    case Concern::Cut:
      return "text_cut";
    case Concern::Sentinel:
      return "sentinel_date";
    case Concern::NotADate:
      return "not_a_date";
    case Concern::Refused:
      return "refused";
    case Concern::Required:
      return "required";
    case Concern::FillRefused:
      return "fill_refused";
    case Concern::Undecodable:
      return "undecodable";
    case Concern::PhotoListTooLong:
      return "photo_list_too_long";
    case Concern::ViewAgain:
      return "view_added_again";
    case Concern::BlankKey:
      return "blank_key";
    case Concern::LongKey:
      return "long_key";
    case Concern::RepeatedKey:
      return "repeated_key";
    case Concern::CaseKey:
      return "case_key";
    case Concern::CutKey:
      return "cut_key";
  }
  return {};
}

}  // namespace corvix::run
