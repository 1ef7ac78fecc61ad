// Storing one source value into the field of the same name of the target row being written, by the target
// field's declared type.
#pragma once

#include <string>
#include <string_view>

#include "core/table_source.h"

namespace corvix::merge {

/// Text fields take the value fitted to their size; singles, doubles and dates the converted value; every
/// other type stores nothing. "SALEDATE" goes through SetSaleDate; "CENTRALKEY" is stored only while the
/// target's key is empty. Both names count in this letter case only. `data` changes only for a sale date that
/// is no date. Failures (3265 no such field, 13 and 6 no number of the type, what the field refuses) go to
/// the caller.
void StoreFolvaneField(core::TableSource& target, std::string_view field_name, std::string& data);

}  // namespace corvix::merge
