// Keyed lookup and field reads: every match between tables goes through FindRecord, most reads of one field
// through GetFieldData.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/table_source.h"

namespace corvix::core {

/// Shown when an index cannot be used (3250) or a key would be Null (3058); the program then ends.
inline constexpr std::string_view kCorruptDataMessage =
    "Your data appears to be corrupt.  Run the rebuild programs for all applicable programs (Photos and "
    "Comps).  "
    "Start Programs, Quorvex Comps, Mendora AND Start, Programs, Quorvex Photos, Trelmar Central AND Trelmar "
    "Photo.";

/// True when a record has the key in the named index; it is then current and the index stays selected.
/// Otherwise false and the position is as before. `key` becomes the key fitted to the width of the field of
/// the index's name, unless it is blank. Without a current record to return to, the answer is false.
bool FindRecord(TableSource& source, std::string& key, std::string_view index_name);

/// The field of the current record as text; the empty text for Null and for whatever cannot be read. Never
/// reports an error.
std::string GetFieldData(const TableSource& source, std::string_view field_name);
/// The same into `text`, for a field whose position is known; without a position the text is empty.
void GetFieldData(const TableSource& source, std::optional<std::size_t> field, std::string& text);

}  // namespace corvix::core
