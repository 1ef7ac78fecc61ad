#include "merge/field_pairs.h"

#include "common/text.h"

namespace corvix::merge {
namespace {

using core::FieldType;

StoreRule RuleOf(FieldType type) {
  switch (type) {
    case FieldType::Text:
      return StoreRule::Text;
    case FieldType::Single:
      return StoreRule::Single;
    case FieldType::Double:
      return StoreRule::Double;
    case FieldType::Date:
      return StoreRule::Date;
    default:
      return StoreRule::Nothing;
  }
}

}  // namespace

TargetField FindTargetField(const core::RecordSet& target, std::string_view name) {
  const auto position = target.FindField(name);
  if (!position) return {};
  return {*position, &target.Fields()[*position]};
}

FieldPair PairOf(std::string_view name, const core::RecordSet& target) {
  FieldPair pair{.name = std::string(name)};
  pair.is_key = common::EqualIgnoringCase(name, core::kCentralKey);
  if (name == "SALEDATE") {
    pair.rule = StoreRule::SaleDate;
    pair.target = FindTargetField(target, "SaleDate");
    pair.serial = FindTargetField(target, "SaleSerial");
  } else {
    pair.target = FindTargetField(target, name);
    pair.rule = pair.target ? RuleOf(pair.target.field->type) : StoreRule::Missing;
  }
  return pair;
}

common::Error WithSource(const FieldPair& pair, const common::Error& error) {
  const bool is_about_text = error.number() == common::kTypeMismatch || error.number() == common::kOverflow;
  if (!is_about_text && error.number() != common::kConversion) return error;
  const std::string source = pair.source_table.empty() ? pair.name : pair.source_table + "." + pair.name;
  return {error.number(), source + (is_about_text ? " " : ": ") + error.text(), error.place()};
}

FieldPairs::FieldPairs(const core::TableSource& source, const core::TableSource& target)
    : key_(FindTargetField(target.Records(), core::kCentralKey)) {
  const core::RecordSet& records = source.Records();
  pairs_.reserve(records.Fields().size());
  for (const core::Field& field : records.Fields()) {
    FieldPair& pair = pairs_.emplace_back(PairOf(common::Trim(field.name), target.Records()));
    pair.source_table = source.RecordSource;
    pair.source = records.FindField(pair.name);
    pair.listed_at = pairs_.size() - 1;
    pair.plain = FindTargetField(target.Records(), field.name);
  }
}

}  // namespace corvix::merge
