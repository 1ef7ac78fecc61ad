#include "merge/store_rules.h"

#include <fmt/format.h>
#include <utility>

#include "common/text.h"
#include "core/field_assignment.h"
#include "core/text_form.h"
#include "merge/dates.h"

namespace corvix::merge {
namespace {

using common::Error;
using core::Value;

/// The error that a conversion raises, if it does.
template <typename Convert>
std::optional<Error> ErrorOf(Convert convert) {
  try {
    convert();
    return std::nullopt;
  } catch (const Error& error) {
    return error;
  }
}

Decision Missing(std::string_view name) {
  return {Fate::Refused,
          {},
          std::nullopt,
          Error(common::kItemNotFound,
                fmt::format("The target has no field '{}'; compare the field lists of both tables", name))};
}

Decision DecideText(const TargetField& target, std::string_view text) {
  const std::string_view trimmed = common::Trim(text);
  const auto size = static_cast<std::size_t>(target.field->size);
  const bool fits = trimmed.size() <= size || common::Utf16Length(trimmed) <= size;
  return {fits ? Fate::Stored : Fate::Cut, target, common::FitWidth(trimmed, size), std::nullopt};
}

template <typename Convert>
Decision DecideNumber(const TargetField& target, Convert convert) {
  Decision decision{Fate::Stored, target, std::nullopt, std::nullopt};
  decision.error = ErrorOf([&] { decision.value = convert(); });
  if (decision.error) decision.fate = Fate::Refused;
  return decision;
}

/// An assignment that the field itself may refuse.
Decision DecideAssignment(Fate fate, const TargetField& target, std::string_view name, std::string text) {
  if (!target) return Missing(name);
  Decision decision{fate, target, std::nullopt, AssignmentError(*target.field, text)};
  if (decision.error) {
    decision.fate = Fate::Refused;
  } else {
    decision.value = std::move(text);
  }
  return decision;
}

/// The sentinel as a day number: "2".
std::string SentinelSerial() {
  return core::DoubleText(core::ToDate(core::FormatMonthDayYear(kSentinelDate)).serial);
}

}  // namespace

Decision Decide(const FieldPair& pair, std::string_view text) {
  switch (pair.rule) {
    case StoreRule::Missing:
      return Missing(pair.name);
    case StoreRule::SaleDate:
      return DecideSaleDate(pair.target, pair.serial, text);
    case StoreRule::Text:
      return DecideText(pair.target, text);
    case StoreRule::Single:
      return DecideNumber(pair.target, [&] { return core::ToSingle(text); });
    case StoreRule::Double:
      return DecideNumber(pair.target, [&] { return core::ToDouble(text); });
    case StoreRule::Date:
      if (!IsDate(text)) return {Fate::NotADate, pair.target, std::nullopt, std::nullopt};
      return DecideNumber(pair.target, [&] { return core::ToDate(text); });
    case StoreRule::Nothing:
      break;
  }
  return {Fate::NeverStored, pair.target, std::nullopt, std::nullopt};
}

Decision DecideSaleDate(const TargetField& sale_date, const TargetField& sale_serial, std::string_view text) {
  if (!IsDate(text)) return DecideAssignment(Fate::Sentinel, sale_serial, "SaleSerial", SentinelSerial());
  std::string date;
  auto error = ErrorOf([&] { date = ReturnFullYear(core::FormatMonthDayYear(text)); });
  // The date that does not convert ends in a notice; nothing is stored.
  if (error) return {Fate::NotADate, sale_date, std::nullopt, std::move(error)};
  return DecideAssignment(Fate::Stored, sale_date, "SaleDate", std::move(date));
}

std::optional<Error> AssignmentError(const core::Field& field, const std::string& text) {
  return ErrorOf([&] { core::ConvertForField(field, Value(text)); });
}

std::string Explain(const Decision& decision) {
  switch (decision.fate) {
    case Fate::Stored:
      return {};
    case Fate::Cut:
      return fmt::format("longer than the field; cut to {} characters", decision.target.field->size);
    case Fate::Sentinel:
      return "no date; SaleSerial gets 2 (1 January 1900) and SaleDate stays as it is";
    case Fate::NotADate:
      return "no date; the field stays as it is";
    case Fate::NeverStored:
      return fmt::format("{} fields are never stored", core::FieldTypeName(decision.target.field->type));
    case Fate::Refused:
      return decision.error->what();
  }
  return {};
}

}  // namespace corvix::merge
