// Rows of a table and their long values in all their forms; the file is checked whole afterwards.
#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "jet/pages_scratch.h"
#include "storage/base/memory_file.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/rows/table_rows.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using Values = std::vector<core::Value>;

/// A database with one table: a long, a yes/no, a text, a memo, an OLE and a currency column.
class TableRowsTest : public testing::Test {
 protected:
  TableRowsTest() {
    DatabaseDescription description;
    description.tables.push_back({.name = "T",
                                  .columns = {{.name = "n", .type = ColumnType::Long},
                                              {.name = "b", .type = ColumnType::YesNo},
                                              {.name = "t", .type = ColumnType::Text, .length = 255},
                                              {.name = "m", .type = ColumnType::Memo},
                                              {.name = "o", .type = ColumnType::Ole},
                                              {.name = "c", .type = ColumnType::Currency}}});
    CreateDatabase(files, "T.MDB", description);
    pager.emplace(files.Open("T.MDB", storage::OpenMode::ReadWrite), "T.MDB",
                  Pager::Options{32 * kPageSize, false});  // far smaller than the tables below
    allocator.emplace(*pager);
    table = ReadTableDefinition(*pager, Catalog(*pager).FindTable("T")->DefinitionPage());
    rows.emplace(*pager, *allocator, table);
  }

  Values Read(RowRef slot) const {
    Values values;
    const auto stored = rows->Find(slot);
    EXPECT_TRUE(stored);
    for (std::size_t i = 0; stored && i < table.columns.size(); ++i) values.push_back(rows->Read(*stored, i));
    return values;
  }

  /// Each page has one use, each cell one owner, all maps and counts are true, and nothing was left behind.
  void ExpectSound() {
    WriteCounters(*pager, table);
    const CheckReport report = CheckDatabase(*pager);
    EXPECT_THAT(report.problems, testing::IsEmpty());
    EXPECT_THAT(report.notes, testing::IsEmpty());
  }

  storage::MemoryFileSystem files;
  std::optional<Pager> pager;
  std::optional<PageAllocator> allocator;
  TableDefinition table;
  std::optional<TableRows> rows;
};

TEST_F(TableRowsTest, ARowThatOutgrowsItsPageMovesAndComesHome) {
  const auto row = [](std::size_t length) {
    return Values{7, true, std::string(length, 'x'), core::Null{}, core::Null{}, core::Null{}};
  };
  std::vector<RowRef> slots;
  while (slots.empty() || slots.back().page == slots.front().page) slots.push_back(rows->Insert(row(100)));
  const RowRef home = slots[3];
  const auto state = [&] { return DataPage(pager->Read(home.page)).CellAt(home.row).state; };
  const auto update = [&](std::size_t length) { rows->Update(home, row(length), ColumnSet{4}); };
  for (const std::size_t length : {255u, 250u, 100u, 255u, 0u}) {
    update(length);
    EXPECT_EQ(state(), length > 100 ? CellState::Pointer : CellState::Live) << length;
    EXPECT_EQ(Read(home), row(length));
    ExpectSound();
  }
  rows->Delete(home);
  ExpectSound();
}

TEST_F(TableRowsTest, ALongValueGrowsAndShrinksThroughAllItsForms) {
  const RowRef slot = rows->Insert(Values(6));
  const PageNumber pages_before = pager->page_count();
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70'000; n = n < 70 ? n + 1 : n * 5 / 4) lengths.push_back(n);
  for (const std::size_t edge : {4076u, 4077u, 8144u, 8145u, 12216u, 12217u}) lengths.push_back(edge);
  for (int direction = 0; direction < 2; ++direction) {
    for (const std::size_t n : lengths) {
      Values values(6);
      values[4] = core::Bytes(n, std::byte{0x5A});
      values[3] = std::string(n, 'm');
      rows->Update(slot, values, ColumnSet{0b011000});
      ASSERT_EQ(Read(slot), (Values{core::Null{}, false, core::Null{}, values[3], values[4], core::Null{}}))
          << n;
    }
    ExpectSound();
    std::ranges::reverse(lengths);
  }
  EXPECT_LE(pager->page_count(), pages_before + (2 + 1) * 70'000 / 4072 + 6) << "freed pages are used again";

  // Untouched values keep their place: other columns change, the heads do not.
  const auto head = [&] {
    const auto stored = rows->Find(slot);
    const storage::ByteView bytes = stored->row.Bytes(table.columns[3]);
    return std::vector<std::byte>(bytes.begin(), bytes.end());
  };
  Values values(6);
  values[3] = std::string(20'000, 'k');
  values[2] = "name";
  rows->Update(slot, values, ColumnSet{0b001100});
  const auto before = head();
  rows->Update(slot, values, ColumnSet{0b000100});
  EXPECT_EQ(head(), before);
}

TEST_F(TableRowsTest, InlineValuesLeaveARowThatWouldBeTooLong) {
  table.columns[2].length = 8000;
  table.columns[3].compressed = true;
  Values values{1,           false, std::string(1, ' '), std::string(60, 'm'), core::Bytes(30, std::byte{1}),
                core::Null{}};
  // All inline the row has 2 * length + 141 bytes; the memo leaves first, 62 bytes, then the OLE value.
  for (const auto& [length, outside] :
       std::map<std::size_t, std::size_t>{{1959, 0}, {1960, 1}, {1990, 1}, {1991, 2}}) {
    values[2] = std::string(length, 'x');  // plain: more than 1024 characters
    const RowRef slot = rows->Insert(values);
    EXPECT_EQ(Read(slot), values);
    const auto stored = rows->Find(slot);
    const auto is_outside = [&](std::size_t i) {
      return !IsInlineValue(stored->row.Bytes(table.columns[i]));
    };
    EXPECT_EQ(std::size_t{is_outside(3)} + is_outside(4), outside) << length;
  }
  values[2] = std::string(2010, 'x');
  const std::uint32_t count = table.row_count;
  EXPECT_EQ(NumberOf([&] { rows->Insert(values); }), common::kRecordTooLarge);
  EXPECT_EQ(table.row_count, count);
}

TEST_F(TableRowsTest, LoadingManyRowsFillsPages) {
  std::mt19937 random(5);
  std::size_t bytes = pager->page_count() * kPageSize;
  for (int i = 0; i < 30'000; ++i) {
    const std::size_t length = 50 + random() % 200;
    bytes += 31 + length;
    rows->Insert(Values{i, true, std::string(length, 'x'), core::Null{}, core::Null{}, core::Null{}});
  }
  EXPECT_LE(pager->page_count() * std::size_t{kPageSize}, bytes * 107 / 100);
}

TEST_F(TableRowsTest, DamagedPointersAndValuesAreReported) {
  const RowRef slot =
      rows->Insert(Values{1, true, "text", std::string(20'000, 'm'), core::Null{}, core::Null{}});
  const auto with_cell = [&](RowRef cell, const std::function<void(DataPageEdit&)>& damage) {
    Savepoint savepoint(*pager);
    DataPageEdit page(pager->Edit(cell.page));
    damage(page);
    return NumberOf([&] { Read(slot); });
  };
  const auto point_to = [&](RowRef target) {
    return with_cell(slot, [&](DataPageEdit& page) { page.SetPointer(slot.row, target); });
  };
  EXPECT_EQ(point_to(slot), common::kDamagedDatabase);                         // a circle
  EXPECT_EQ(point_to({table.owned_pages.page, 0}), common::kDamagedDatabase);  // not a page of the table
  EXPECT_EQ(point_to({0xFFFFFF, 0}), common::kDamagedDatabase);
  EXPECT_EQ(point_to({slot.page, 44}), common::kDamagedDatabase);

  const auto stored = rows->Find(slot);
  const auto first =
      RowRef::Unpack(storage::ReadLittle<std::uint32_t>(stored->row.Bytes(table.columns[3]), 4));
  const auto next = DataPage(pager->Read(first.page)).PointerAt(first.row);
  const auto link_to = [&](RowRef cell, RowRef target) {
    return with_cell(cell, [&](DataPageEdit& page) {
      storage::WriteLittle<std::uint32_t>(page.MutableCell(cell.row), 0, target.Packed());
    });
  };
  EXPECT_EQ(link_to(first, first), common::kDamagedDatabase);  // a circle
  {  // a circle, of which the row claims 1 GiB: it is measured, not read into memory
    const Savepoint savepoint(*pager);
    DataPageEdit(pager->Edit(first.page)).SetPointer(first.row, first);
    const auto head =
        static_cast<std::size_t>(stored->row.Bytes(table.columns[3]).data() - stored->page.bytes().data());
    storage::WriteLittle<std::uint32_t>(pager->Edit(slot.page).bytes(), head, kMaxLongValue);
    EXPECT_THAT(test::ErrorOf([&] { Read(slot); }).text(),
                testing::Not(testing::HasSubstr("parts have 1073")));
  }
  EXPECT_EQ(link_to(next, {}), common::kDamagedDatabase);    // too short
  EXPECT_EQ(link_to(next, slot), common::kDamagedDatabase);  // not a page of long values
  EXPECT_EQ(with_cell(next, [&](DataPageEdit& page) { page.Delete(next.row); }), common::kDamagedDatabase);
  EXPECT_EQ(Read(slot).size(), 6u);  // each damage was undone
}

}  // namespace
}  // namespace corvix::jet
