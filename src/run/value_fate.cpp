#include "run/value_fate.h"

#include <fmt/format.h>

#include "common/text.h"
#include "core/field_assignment.h"
#include "core/table_source.h"
#include "core/text_form.h"
#include "merge/dates.h"

namespace corvix::run {
namespace {

using common::Error;
using core::FieldType;

/// Whether the conversion of the text fails, and how.
template <typename Convert>
std::optional<Error> ErrorOf(Convert convert) {
  try {
    convert();
    return std::nullopt;
  } catch (const Error& error) {
    return error;
  }
}

const core::Field* FieldOf(const core::RecordSet& target, std::string_view name) {
  const auto position = target.FindField(name);
  return position ? &target.Fields()[*position] : nullptr;
}

ValueFate Missing(std::string_view name) {
  return {Fate::Refused, nullptr,
          Error(common::kItemNotFound, fmt::format("The target has no field '{}'", name))};
}

ValueFate FateOfAssignment(const core::RecordSet& target, std::string_view name, const std::string& text,
                           Fate on_success) {
  const core::Field* field = FieldOf(target, name);
  if (field == nullptr) return Missing(name);
  auto error = AssignmentError(*field, text);
  return {error ? Fate::Refused : on_success, field, std::move(error)};
}

ValueFate FateOfSaleDate(const core::RecordSet& target, const std::string& value) {
  if (!merge::IsDate(value)) return FateOfAssignment(target, "SaleSerial", "2", Fate::Sentinel);
  std::string date;
  // What fails here shows a notice, and nothing is stored.
  if (auto error = ErrorOf([&] { date = merge::ReturnFullYear(core::FormatMonthDayYear(value)); }))
    return {Fate::NotADate, FieldOf(target, "SaleDate"), std::nullopt};
  return FateOfAssignment(target, "SaleDate", date, Fate::Stored);
}

}  // namespace

ValueFate FateOf(const core::RecordSet& target, std::string_view name, const std::string& value) {
  if (name == "SALEDATE") return FateOfSaleDate(target, value);
  const core::Field* field = FieldOf(target, name);
  if (field == nullptr) return Missing(name);
  if (common::EqualIgnoringCase(name, core::kCentralKey)) return {Fate::Stored, field, std::nullopt};
  std::optional<Error> error;
  switch (field->type) {
    case FieldType::Text:
      return {common::Utf16Length(common::Trim(value)) > static_cast<std::size_t>(field->size) ? Fate::Cut
                                                                                               : Fate::Stored,
              field, std::nullopt};
    case FieldType::Single:
      error = ErrorOf([&] { core::ToSingle(value); });
      break;
    case FieldType::Double:
      error = ErrorOf([&] { core::ToDouble(value); });
      break;
    case FieldType::Date:
      return {merge::IsDate(value) ? Fate::Stored : Fate::NotADate, field, std::nullopt};
    default:
      return {Fate::NeverStored, field, std::nullopt};
  }
  return {error ? Fate::Refused : Fate::Stored, field, std::move(error)};
}

std::optional<Error> AssignmentError(const core::Field& field, const std::string& value) {
  return ErrorOf([&] { core::ConvertForField(field, core::Value(value)); });
}

bool EndsRun(common::ErrorNumber number) { return number != common::kConversion; }

std::string Explain(const ValueFate& fate) {
  switch (fate.fate) {
    case Fate::Stored:
      return {};
    case Fate::Cut:
      return fmt::format("longer than the field; cut to {} characters", fate.field->size);
    case Fate::Sentinel:
      return "no date; SaleSerial gets 2 (1 January 1900) and SaleDate stays as it is";
    case Fate::NotADate:
      return "no date; the field stays as it is";
    case Fate::NeverStored:
      return fmt::format("{} fields are never stored", core::FieldTypeName(fate.field->type));
    case Fate::Refused:
      return fate.error->what();
  }
  return {};
}

}  // namespace corvix::run
