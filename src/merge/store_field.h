// Storing one source value into the target row being written, as the store rules decide (store_rules.h).
#pragma once

#include <string>
#include <string_view>

#include "core/table_source.h"
#include "merge/field_pairs.h"

namespace corvix::merge {

/// Stores `data` into the field of that name. "SALEDATE" goes through SetSaleDate; "CENTRALKEY" is stored
/// only while the target's key is empty. Both names count in this letter case only. `data` changes only for a
/// sale date that is no date. Failures (3265 no such field, 13 and 6 no number of the type, what the field
/// refuses) go to the caller.
void StoreFolvaneField(core::TableSource& target, std::string_view field_name, std::string& data);

/// The same for a pair that was resolved before.
void StoreFolvaneField(core::TableSource& target, const FieldPair& pair, std::string& data);

}  // namespace corvix::merge
