// Which target field a source field goes to, and by which rule. Fields are paired by name, without regard to
// case; a run resolves the pairs of a source and the target once and then works with positions.
//
//   const FieldPairs pairs(sources.datcomps, sources.DATFOLVANE);
//   for (const FieldPair& pair : pairs) ...
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"
#include "core/table_source.h"

namespace corvix::merge {

/// What the target field's name and declared type make of a value.
enum class StoreRule {
  Missing,   ///< the target has no field of that name
  SaleDate,  ///< "SALEDATE", in this letter case only: SaleDate, or SaleSerial for what is no date
  Text,      ///< fitted to the field's size
  Single,
  Double,
  Date,     ///< only what is a date
  Nothing,  ///< the type takes nothing
};

/// A field of the target. The pointer lives as long as the record set.
struct TargetField {
  std::size_t position = 0;
  const core::Field* field = nullptr;  ///< null: the target lacks it

  explicit operator bool() const { return field != nullptr; }
};

/// The target's field of that name.
TargetField FindTargetField(const core::RecordSet& target, std::string_view name);

struct FieldPair {
  std::string name;                   ///< of the source field, without blanks at the ends
  std::string source_table;           ///< for messages; may be empty
  std::optional<std::size_t> source;  ///< where a read by that name reads; none: reads give the empty text
  std::size_t listed_at = 0;          ///< position of the source field itself
  StoreRule rule = StoreRule::Missing;
  bool is_key = false;  ///< CENTRALKEY in any letter case
  TargetField target;   ///< the rule's field; of a sale date: SaleDate
  TargetField serial;   ///< of a sale date: SaleSerial
  TargetField plain;    ///< the field that has exactly the source's name, blanks included: for assignments
};

/// The pair of a source field of that name, for values that are given as text.
FieldPair PairOf(std::string_view name, const core::RecordSet& target);

/// The error of a value that does not convert, with where the value came from: "COMPS.YEARBUILT 'N/A' is not
/// a number", "CENTRAL.LOTSIZE: Field 'LOTSIZE' … cannot hold 'N/A'". Other errors as they are.
common::Error WithSource(const FieldPair& pair, const common::Error& error);

/// Runs a statement that stores a value of the pair's source; its error tells where the value came from.
void NamingSource(const FieldPair& pair, std::invocable auto&& statement) {
  try {
    statement();
  } catch (const common::Error& error) {
    throw WithSource(pair, error);
  }
}

class FieldPairs {
 public:
  /// In the order of the source's fields. Both must be connected (error 91) and stay so while this is used.
  FieldPairs(const core::TableSource& source, const core::TableSource& target);

  auto begin() const { return pairs_.begin(); }
  auto end() const { return pairs_.end(); }
  /// The target's CENTRALKEY.
  const TargetField& key() const { return key_; }

 private:
  std::vector<FieldPair> pairs_;
  TargetField key_;
};

}  // namespace corvix::merge
