#include "merge/dates.h"

#include <fmt/compile.h>

#include "common/text.h"
#include "common/trap.h"
#include "core/text_form.h"
#include "merge/store_rules.h"

namespace corvix::merge {
namespace {

using common::Action;
using common::Error;
using common::Procedure;
using common::Trap;

constexpr std::size_t kShortestDate = 6;
constexpr std::int16_t kLastYearOf2000s = 24;

}  // namespace

bool IsDate(std::string_view text) {
  bool result = false;
  Procedure(
      "IsDate",
      [&](const Trap& trap) {
        trap([&] {
          if (common::Utf16Length(common::Trim(text)) < kShortestDate) return;
          const auto date = core::ParseDate(core::FormatMonthDayYear(text));
          result = date && core::Weekday(*date) > 0 && core::Weekday(*date) < 8;
        });
      },
      [](const Error&) { return Action::Leave; });
  return result;
}

void SetSaleDate(core::TableSource& target, std::string& text) {
  const common::Rules rules = [&](const Error& error) -> std::optional<Action> {
    if (error.number() != common::kTypeMismatch) return std::nullopt;
    if (auto* dialogs = common::CurrentDialogs()) {
      dialogs->Notice(text + " is an invalid date.  Please try again.");
    }
    return Action::Leave;
  };
  Procedure(
      "ErrSetSaleDate",
      [&](const Trap& trap) {
        Decision decision;
        trap([&] {
          const core::RecordSet& records = target.Records();
          decision = DecideSaleDate(FindTargetField(records, "SaleDate"),
                                    FindTargetField(records, "SaleSerial"), text);
        });
        if (decision.fate == Fate::Sentinel) text = kSentinelDate;
        trap([&] {
          if (decision.error) throw *decision.error;
          if (decision.value) target.Records().Write(decision.target.position, *std::move(decision.value));
        });
      },
      rules);
}

std::string ReturnFullYear(std::string_view date) {
  if (common::Trim(date).empty()) return {};
  std::int16_t year = 0, month = 0, day = 0;
  SepDate(date, year, month, day);
  if (year >= 100 && year <= 999) return std::string(kSentinelDate);
  std::string digits = std::to_string(year);
  if (year >= 0 && year <= 99) {
    digits = (year <= kLastYearOf2000s ? "20" : "19") + PadLChar(digits, 2, "0");
  } else if (digits.size() != 4) {
    digits = PadLChar(digits, 4, "0");
  }
  return fmt::format(FMT_COMPILE("{}/{}/{}"), month, day, digits);
}

void SepDate(std::string_view date, std::int16_t& year, std::int16_t& month, std::int16_t& day) {
  Procedure("SepDate", [&](const Trap& trap) {
    trap([&] {
      const core::CalendarDate parts = core::SplitDate(core::ToDate(date));
      year = static_cast<std::int16_t>(parts.year);
      month = static_cast<std::int16_t>(parts.month);
      day = static_cast<std::int16_t>(parts.day);
    });
  });
}

std::string PadLChar(std::string_view text, std::int16_t width, std::string_view pad) {
  if (width < 0 || pad.empty()) throw Error(common::kInvalidCall);
  const auto columns = static_cast<std::size_t>(width);
  const std::u16string units = common::ToUtf16(common::Trim(text));
  const std::u16string padded = std::u16string(columns, common::ToUtf16(pad)[0]) + units;
  return common::ToUtf8(std::u16string_view(padded).substr(padded.size() - columns));
}

}  // namespace corvix::merge
