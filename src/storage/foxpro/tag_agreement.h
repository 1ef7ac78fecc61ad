// Whether a tag can be relied on: an index may be another office's, older than its table, or damaged.
#pragma once

#include <string>

#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/tag_keys.h"

namespace corvix::foxpro {

/// Compares a tag with its table: a sound tree, every live record in it exactly once and with its own key, no
/// entry of a record that the table lacks. Of a collated tag the keys are not compared, since they are
/// weights. Entries of deleted records are no matter.
///
/// Returns what is wrong, for people and without a closing period; empty when nothing is. Reads tree and
/// table once from end to end, the table in the order of the file; memory is bounded, so that a table of more
/// records than kRecordsAtOnce takes several passes.
std::string Disagreement(CdxFile& index, const Tag& tag, DbfFile& table, TagKeys& keys);

inline constexpr std::uint32_t kRecordsAtOnce = 1u << 21;

}  // namespace corvix::foxpro
