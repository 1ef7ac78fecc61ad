// Index entries of real files against keys computed from the rows.
#include <algorithm>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>
#include <set>

#include "jet/index_tree_check.h"
#include "storage/base/posix_file.h"
#include "storage/jet/catalog.h"
#include "storage/jet/index_set.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

/// Differences that stand in the files themselves: the key of one row was written by another program than
/// Access.
const std::map<std::string, std::size_t> kKnownDifferences = {{"unicodeText.mdb Table Unicode", 1}};

struct Totals {
  std::size_t files = 0;
  std::size_t indexes = 0;
  std::size_t entries = 0;
};

void CompareTable(Pager& pager, const CatalogObject& object, const std::string& file, Totals& totals) {
  TableDefinition table = ReadTableDefinition(pager, object.DefinitionPage());
  PageAllocator allocator(pager);
  const TableRows rows(pager, allocator, table);
  IndexSet indexes(pager, allocator, table, object.name);
  std::vector<std::set<Key>> computed(indexes.size());
  for (auto slot = rows.First(); slot; slot = rows.Next(*slot)) {
    const auto row = rows.Find(*slot);
    ASSERT_TRUE(row.has_value());
    std::vector<core::Value> values(table.columns.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (indexes.columns()[i]) values[i] = rows.Read(*row, i);
    }
    for (std::size_t i = 0; i < indexes.size(); ++i) {
      if (indexes.Obstacle(i)) continue;
      RowKeys::One key;
      indexes.BuildKey(i, values, key);
      if (key.present) computed[i].insert(test::EntryOf(key.key, *slot));
    }
  }
  for (std::size_t i = 0; i < indexes.size(); ++i) {
    const std::string what = fmt::format("{} {} {}", file, object.name, indexes.name(i));
    const test::TreeFacts facts = test::ExamineTree(pager, table.real_indexes[i].root, table.page);
    EXPECT_THAT(facts.faults, testing::IsEmpty()) << what;
    std::vector<Key> walked;
    IndexTree::Cursor cursor(indexes.tree(i));
    for (bool ok = cursor.First(); ok; ok = cursor.Next()) {
      walked.push_back(test::EntryOf(cursor.key(), cursor.row()));
    }
    EXPECT_EQ(walked, facts.entries) << what;
    ++totals.indexes;
    totals.entries += walked.size();
    if (indexes.Obstacle(i)) continue;
    std::vector<Key> different;
    std::ranges::set_symmetric_difference(walked, computed[i], std::back_inserter(different));
    const auto known = kKnownDifferences.find(what);
    EXPECT_EQ(different.size(), known == kKnownDifferences.end() ? 0 : 2 * known->second) << what;
    for (const Key& entry : computed[i]) {
      if (!std::ranges::binary_search(walked, entry)) continue;
      const storage::ByteView key = storage::ByteView(entry).first(entry.size() - kEntryRowLength);
      const auto found = indexes.tree(i).Find(key);
      ASSERT_TRUE(found.has_value()) << what;
      EXPECT_LE(test::EntryOf(key, *found), entry) << what;
    }
  }
}

TEST(RealFiles, IndexesHoldTheKeysComputedFromTheRows) {
  const auto paths = corvix::test::SharedJetFiles();
  if (paths.empty()) GTEST_SKIP() << "the shared files are not there";
  storage::PosixFileSystem files;
  Totals totals;
  for (const auto& path : paths) {
    const auto pager = corvix::test::OpenPager(files, path);
    const Catalog catalog(*pager);
    ++totals.files;
    for (const CatalogObject& object : catalog.objects()) {
      if (object.IsTable()) CompareTable(*pager, object, path.filename().string(), totals);
    }
  }
  RecordProperty("files", static_cast<int>(totals.files));
  RecordProperty("entries", static_cast<int>(totals.entries));
  fmt::print("{} files, {} indexes, {} entries\n", totals.files, totals.indexes, totals.entries);
}

}  // namespace
}  // namespace corvix::jet
