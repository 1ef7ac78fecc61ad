// A database with every kind of structure, for the tests of creation and checking: a table with all column
// types, a pair of related tables, and COMPS with enough rows for trees of several pages.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "core/value.h"
#include "storage/base/file.h"
#include "storage/jet/catalog/jet_create.h"

namespace corvix::test {

jet::DatabaseDescription SampleDescription();

/// The rows of table Extremes, in field order: the lowest, highest, smallest, longest, emptiest values.
std::vector<std::vector<core::Value>> ExtremeRows();

/// Creates the database and fills it: 40 rows of Kinds, the Extremes, 3 Parents with 9 Children, `comps` rows
/// of COMPS.
void MakeSample(storage::FileSystem& files, const std::filesystem::path& path, int comps = 300);

/// Encodes the pages of a plain database, as a database with this key stores them.
void EncodePages(std::vector<std::byte>& bytes, std::uint32_t key);

}  // namespace corvix::test
