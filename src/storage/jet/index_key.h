// Keys of index entries: byte strings whose unsigned order is the order of the index. A key is the
// concatenation over the index columns of a flag byte (null or value) and the value's bytes; descending
// columns are inverted. docs/formats/jet4.md, chapter "Index keys".
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/value.h"
#include "storage/jet/table_definition.h"

namespace corvix::jet {

using Key = std::vector<std::byte>;

/// Appends the key bytes of one value. `value` must be Null or of the column's type; a memo is its text.
/// Error 3250, naming the column, for a value that cannot be a key (long binary).
void AppendKey(Key& key, const Column& column, bool ascending, const core::Value& value);

/// True when keys of this column can be computed: all types but OLE and opaque, text only in the General
/// order.
bool CanBuildKeys(const Column& column);

}  // namespace corvix::jet
