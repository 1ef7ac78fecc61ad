// Real files: every row of every table is read, and what the codec writes is what the file holds.
#include <gtest/gtest.h>
#include <vector>

#include "storage/base/posix_file.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/rows/table_rows.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using Bytes = std::vector<std::byte>;

/// What became of rows and values that were encoded again.
struct Tally {
  std::size_t rows = 0, padded = 0, older = 0;
  std::size_t values = 0, uncompressed = 0;
};

/// True when the text is stored plain although we would compress it: other writers may.
bool IsPlainForm(const Column& column, storage::ByteView stored, const core::Value& value) {
  Column plain = column;
  plain.compressed = false;
  Bytes encoded;
  EncodeValue(plain, value, encoded);
  return std::ranges::equal(encoded, stored);
}

void EncodeAgain(const RowView& row, const TableDefinition& table, RowBuilder& builder, Tally& tally) {
  builder.Clear();
  for (const Column& column : table.columns) {
    if (column.type == ColumnType::YesNo) {
      builder.SetBool(column, row.IsTrue(column));
      continue;
    }
    if (row.IsNull(column)) continue;
    const storage::ByteView stored = row.Bytes(column);
    builder.Set(column, stored);
    if (column.IsLongValue()) continue;
    Bytes encoded;
    const core::Value value = row.Value(column);
    EncodeValue(column, value, encoded);
    ++tally.values;
    if (std::ranges::equal(encoded, stored)) continue;
    ASSERT_TRUE(column.type == ColumnType::Text && IsPlainForm(column, stored, value))
        << row.place().ToString() << ", column " << column.name;
    ++tally.uncompressed;
  }
  ++tally.rows;
  const storage::ByteView built = builder.Build();
  // Rows keep what deleted columns held, and do not know columns that were added after them.
  const bool whole = table.columns.size() == table.max_columns;
  if (!whole || storage::ReadLittle<std::uint16_t>(row.bytes(), 0) != table.max_columns) {
    ++tally.older;
  } else if (built.size() != row.bytes().size()) {
    ++tally.padded;
  } else {
    // Null columns of the fixed part may hold old bytes; the rest of the row has no choice.
    std::size_t fixed_end = 2;
    for (const Column& column : table.columns) {
      if (column.IsFixed()) fixed_end = std::max(fixed_end, 2 + column.fixed_offset + column.FixedSize());
    }
    EXPECT_TRUE(std::ranges::equal(built.subspan(fixed_end), row.bytes().subspan(fixed_end)))
        << row.place().ToString();
  }
}

TEST(RealFiles, EveryRowIsReadAndEncodesToTheSameBytes) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem disk;
  Tally tally;
  for (const auto& path : files) {
    SCOPED_TRACE(path.string());
    const auto pager = test::OpenPager(disk, path);
    PageAllocator allocator(*pager);
    const Catalog catalog(*pager);
    for (const CatalogObject& object : catalog.objects()) {
      if (!object.IsTable()) continue;
      TableDefinition table = ReadTableDefinition(*pager, object.DefinitionPage());
      const TableRows rows(*pager, allocator, table);
      RowBuilder builder(table);
      std::size_t count = 0;
      for (auto slot = rows.First(); slot; slot = rows.Next(*slot), ++count) {
        const auto stored = rows.Find(*slot);
        ASSERT_TRUE(stored);
        for (std::size_t i = 0; i < table.columns.size(); ++i) rows.Read(*stored, i);
        EncodeAgain(stored->row, table, builder, tally);
      }
      // One real file states a wrong number; system tables often do.
      const bool known_wrong = path.filename() == "testIndexCodes.mdb" && object.name == "Table1";
      if (!object.IsSystem() && !known_wrong) {
        EXPECT_EQ(count, table.row_count) << object.name;
      }
    }
  }
  EXPECT_GT(tally.rows, 9000u);
  EXPECT_GT(tally.values, 50'000u);
  EXPECT_LT(tally.padded, 50u);
  EXPECT_LT(tally.older, 500u);
  EXPECT_LT(tally.uncompressed, 300u);
}

}  // namespace
}  // namespace corvix::jet
