#include "run/source_review.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/path_names.h"
#include "common/text.h"
#include "core/lookup.h"
#include "merge/store_rules.h"
#include "run/photo_review.h"
#include "run/unreadable_values.h"

namespace corvix::run {
namespace {

using core::GetFieldData;
using core::kCentralKey;
using core::TableSource;
using merge::Fate;

/// Characters that no table means: the replacement character, and what code_page.h makes of bytes that a page
/// leaves unassigned (control characters of the upper half, private ones).
bool HasUndecodable(std::string_view text) {
  if (common::IsAscii(text)) return false;
  return std::ranges::any_of(common::ToUtf16(text), [](char16_t unit) {
    return unit == 0xFFFD || (unit >= 0x80 && unit < 0xA0) || (unit >= 0xF700 && unit < 0xF800);
  });
}

using Spot = WarningList::Spot;

class Reviewer {
 public:
  Reviewer(core::TableEngine& engine, const BoxTexts& boxes, const RunValues& values) : values_(values) {
    std::string directory = boxes.txtCompPath;
    directory = common::RemoveRSlash(directory);
    std::string target = boxes.txtCompsPath;
    for (TableSource* source : {&central_, &comps_, &photo_}) {
      source->RecordSource = source->name;
      source->Recordset = engine.OpenFoxProTable(directory, source->name);
    }
    database_ = engine.OpenDatabase(common::CkRSlash(target) + "FOLVANE.MDB");
    target_.Recordset = database_->OpenTable("COMPS");
    central_pairs_.emplace(central_, target_);
    comps_pairs_.emplace(comps_, target_);
    FindRequired();
  }

  Review Run() {
    ListFields(central_);
    ListFields(comps_);
    Scan(comps_);
    Scan(photo_);
    for (const TableSource* source : {&central_, &comps_, &photo_}) {
      source->Records().SelectIndex(kCentralKey);
      if (std::string why = source->Records().RebuiltIndex(); !why.empty())
        review_.rebuilt.push_back({source->name, std::move(why)});
    }
    if (central_.Records().HasRow()) WalkCentral();
    Review review = std::move(review_);
    review.comps_left = comps_.Records().RecordCount() - static_cast<std::int64_t>(reached_.size());
    review.warnings = warnings_.Take();
    return review;
  }

 private:
  /// Fields that a new row does not bring a value for by itself, and that must have one.
  void FindRequired() {
    core::RecordSet& target = target_.Records();
    const auto fields = target.Fields();
    target.BeginAdd();
    for (std::size_t field = 0; field < fields.size(); ++field) {
      if (fields[field].required && !fields[field].autonumber && core::IsNull(target.Read(field)))
        required_.push_back(field);
    }
    target.SelectIndex(kCentralKey);  // drops the row
  }

  /// Fields of which nothing can arrive, whether or not they hold values.
  void ListFields(const TableSource& source) {
    for (const core::Field& field : source.Records().Fields()) {
      const std::string_view name = common::Trim(field.name);
      const std::string_view wanted = name == "SALEDATE" ? std::string_view("SaleDate") : name;
      const auto position = target_.Records().FindField(wanted);
      if (!position) {
        warnings_.Note(Concern::NoTargetField, source.name, name, common::kItemNotFound).why =
            fmt::format("the target has no field '{}'", wanted);
        continue;
      }
      if (name == "SALEDATE") continue;
      const merge::Decision decision = merge::Decide(merge::PairOf(name, target_.Records()), "x");
      if (decision.fate == Fate::NeverStored)
        warnings_.Note(Concern::NeverStored, source.name, name).why = Explain(decision);
    }
  }

  /// Characters and unreadable values of a whole table.
  void Scan(TableSource& source) {
    core::RecordSet& records = source.Records();
    if (!records.HasRow()) return;
    const UnreadableValues unreadable(source);
    for (; !records.PastEnd(); records.MoveNext()) {
      const std::string key(common::Trim(GetFieldData(source, kCentralKey)));
      CheckCharacters(source, 0, key);
      unreadable.AppendTo(review_.unreadable);
    }
    records.MoveFirst();  // a lookup needs a record to come back to
  }

  void CheckCharacters(const TableSource& source, std::int64_t record, const std::string& key) {
    for (const core::Field& field : source.Records().Fields()) {
      if (field.type != core::FieldType::Text && field.type != core::FieldType::Memo) continue;
      const std::string value = GetFieldData(source, field.name);
      if (HasUndecodable(value)) {
        warnings_.Count(Concern::Undecodable, {source.name, field.name, record, NumberOf(source), key}, value,
                        "characters that the code page of the table does not have");
      }
    }
  }

  static std::int64_t NumberOf(const TableSource& source) { return source.Records().RecordNumber(); }

  void WalkCentral() {
    core::RecordSet& records = central_.Records();
    const UnreadableValues unreadable(central_);
    records.MoveFirst();
    for (std::int64_t number = 1; !records.PastEnd(); records.MoveNext(), ++number) {
      const std::string exact(common::Trim(GetFieldData(central_, kCentralKey)));
      CheckCharacters(central_, number, exact);
      unreadable.AppendTo(review_.unreadable);
      if (exact.empty()) {
        warnings_.Count(Concern::BlankKey, {"CENTRAL", kCentralKey, number, NumberOf(central_), exact}, {},
                        "the key is blank; the record is counted and nothing else is done");
      } else {
        ReviewRecord(number, exact);
      }
    }
  }

  void ReviewRecord(std::int64_t number, const std::string& exact) {
    std::string key = central_.Records().InCapitals(exact);
    const bool is_repeated = CheckKey(number, exact, key);
    const bool is_stored = core::FindRecord(target_, key, kCentralKey);
    const bool merges_photos = values_.ConvertPhotosFlag != 0;
    if (merges_photos && !is_repeated) photos_.Review(key, is_stored, number, exact);
    if (is_stored && merges_photos) FollowPhotos(key);
    const bool has_comps = core::FindRecord(comps_, key, kCentralKey);
    if (has_comps) reached_.insert(comps_.Records().GetBookmark().handle);
    if (!is_stored && !is_repeated) {
      ReviewStored(central_, *central_pairs_, number, exact);
      ReviewRequired(number, exact);
      if (has_comps) ReviewStored(comps_, *comps_pairs_, number, exact);
    } else if (has_comps && values_.DupMode != kKeepTarget) {
      if (is_stored) ReviewFilled(number, exact);
      ReviewStored(comps_, *comps_pairs_, number, exact);
    }
  }

  /// Merging photos into a row that is there cuts the working key to the widths of their keys.
  void FollowPhotos(std::string& key) {
    std::string copy = key;
    if (!core::FindRecord(photo_, copy, kCentralKey)) return;
    core::FindRecord(target_, key, kCentralKey);
    core::FindRecord(photo_, key, kCentralKey);
  }

  /// True when a record before had the key already.
  bool CheckKey(std::int64_t number, const std::string& exact, const std::string& upper) {
    const auto position = target_.Records().FindField(kCentralKey);
    const std::size_t width = position ? static_cast<std::size_t>(target_.Records().Fields()[*position].size)
                                       : common::Utf16Length(upper);
    const Spot spot{"CENTRAL", kCentralKey, number, NumberOf(central_), exact};
    if (common::Utf16Length(upper) > width) {
      warnings_.Count(Concern::LongKey, spot, exact,
                      fmt::format("longer than the target's key; cut to {} characters", width));
    }
    const auto [first, is_new] = keys_.try_emplace(common::FitWidth(upper, width), exact);
    if (is_new) return false;
    if (first->second == exact) {
      warnings_.Count(Concern::RepeatedKey, spot, exact,
                      "the key occurs more than once; later records are duplicates");
    } else if (common::EqualIgnoringCase(first->second, exact)) {
      warnings_.Count(
          Concern::CaseKey, spot, exact,
          fmt::format("the key differs from '{}' only in letter case; the target takes both for one",
                      first->second));
    } else {
      warnings_.Count(Concern::CutKey, spot, exact,
                      fmt::format("cut to the target's width the key is that of '{}'", first->second));
    }
    return true;
  }

  /// A record that goes through the store rules.
  void ReviewStored(const TableSource& source, const merge::FieldPairs& pairs, std::int64_t number,
                    const std::string& key) {
    std::string value;
    for (const merge::FieldPair& pair : pairs) {
      if (pair.is_key) continue;  // the walk over the central table looks at keys
      GetFieldData(source, pair.source, value);
      if (value.empty()) continue;
      const merge::Decision decision = merge::Decide(pair, value);
      if (decision.fate == Fate::Stored) continue;
      warnings_.Count(ConcernOf(decision), {source.name, pair.name, number, NumberOf(source), key}, value,
                      Explain(decision), decision.error);
    }
  }

  /// A new row is first stored with its central data alone.
  void ReviewRequired(std::int64_t number, const std::string& key) {
    for (const std::size_t field : required_) {
      const auto brings_value = [&](const merge::FieldPair& pair) {
        if (!pair.target || pair.target.position != field) return false;
        const std::string value = GetFieldData(central_, pair.name);
        return !value.empty() && (pair.is_key || merge::Decide(pair, value).value);
      };
      if (std::ranges::any_of(*central_pairs_, brings_value)) continue;
      const std::string& name = target_.Records().Fields()[field].name;
      warnings_.Count(
          Concern::Required, {"CENTRAL", name, number, NumberOf(central_), key}, {},
          fmt::format("field '{}' of the target must have a value, and the new row gets none", name),
          common::Error(common::kFieldRequired));
    }
  }

  static Concern ConcernOf(const merge::Decision& decision) {
    switch (decision.fate) {
      case Fate::Cut:
        return Concern::Cut;
      case Fate::Sentinel:
        return Concern::Sentinel;
      case Fate::NotADate:
        return Concern::NotADate;
      case Fate::NeverStored:
        return Concern::NeverStored;
      default:
        return !decision.target ? Concern::NoTargetField : Concern::Refused;
    }
  }

  /// The central record of a row that is there: empty target fields are filled by plain assignment. An error
  /// ends that, so the fields behind it are not looked at.
  void ReviewFilled(std::int64_t number, const std::string& key) {
    const auto fields = target_.Records().Fields();
    for (const core::Field& field : central_.Records().Fields()) {
      const auto position = target_.Records().FindField(field.name);
      if (!position || !GetFieldData(target_, field.name).empty()) continue;
      const std::string value = GetFieldData(central_, field.name);
      const auto error = merge::AssignmentError(fields[*position], value);
      if (!error) continue;
      warnings_.Count(Concern::FillRefused, {"CENTRAL", field.name, number, NumberOf(central_), key}, value,
                      error->what() + std::string("; the central fields behind it are not filled either"),
                      error);
      return;
    }
  }

  const RunValues& values_;
  TableSource central_{.name = "CENTRAL"};
  TableSource comps_{.name = "COMPS"};
  TableSource photo_{.name = "PHOTO"};
  TableSource target_{.name = "DATFOLVANE"};
  std::shared_ptr<core::Database> database_;
  std::optional<merge::FieldPairs> central_pairs_;
  std::optional<merge::FieldPairs> comps_pairs_;
  std::unordered_map<std::string, std::string> keys_;  // fitted to the target, with their first spelling
  std::unordered_set<std::uint64_t> reached_;          // comps records
  std::vector<std::size_t> required_;                  // of the target
  WarningList warnings_;
  PhotoReview photos_{photo_, target_, warnings_};
  Review review_;
};

}  // namespace

Review ReviewSources(core::TableEngine& engine, const BoxTexts& boxes, const RunValues& values) {
  return Reviewer(engine, boxes, values).Run();
}

}  // namespace corvix::run
