// Merging one source record into the target row being written. Fields are paired by name. The caller begins
// and stores the row; a merge moves neither source nor target.
#pragma once

#include <string_view>

#include "core/table_source.h"
#include "merge/field_pairs.h"

namespace corvix::merge {

/// Store modes, compared without regard to case.
inline constexpr std::string_view kReplace = "REPLACE";
inline constexpr std::string_view kReplaceIfEmpty = "REPLACEIFEMPTY";

/// Stores every field of the source record that is not empty, by the store rules (store_field.h); the key
/// only while the target row has none. In a mode other than "REPLACE" nothing is stored. A failure, such as a
/// source field that the target lacks, ends the merge and goes to the caller.
void MergeData(core::TableSource& source, core::TableSource& target, std::string_view mode);

/// Copies the fields of the central record as plain text: all of them in the mode "REPLACE", otherwise only
/// those whose target is empty, empty values included. A field that the target lacks is skipped; any other
/// failure goes to the caller.
void MergeCentralData(core::TableSource& central, core::TableSource& target, std::string_view mode);

/// The same with pairs that were resolved before for these sources, in their present connection.
void MergeData(const FieldPairs& pairs, core::TableSource& source, core::TableSource& target,
               std::string_view mode);
void MergeCentralData(const FieldPairs& pairs, core::TableSource& central, core::TableSource& target,
                      std::string_view mode);

}  // namespace corvix::merge
