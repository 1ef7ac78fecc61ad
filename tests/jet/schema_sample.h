// A database with every kind of structure, for the tests of creation and checking: a table with all column
// types, a pair of related tables, and COMPS with enough rows for trees of several pages.
#pragma once

#include <filesystem>

#include "storage/base/file.h"
#include "storage/jet/jet_create.h"

namespace corvix::test {

jet::DatabaseDescription SampleDescription();

/// Creates the database and fills it: 40 rows of Kinds, 3 Parents with 9 Children, `comps` rows of COMPS.
void MakeSample(storage::FileSystem& files, const std::filesystem::path& path, int comps = 300);

}  // namespace corvix::test
