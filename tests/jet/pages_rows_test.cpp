// Rows of a table against a model, with an account of every page and cell of the file afterwards.
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "jet/pages_scratch.h"
#include "storage/jet/table_rows.h"

namespace corvix::jet {
namespace {

using Values = std::vector<core::Value>;

/// A file with one table: a long, a yes/no, a text, a memo, an OLE and a currency column.
struct ScratchTable : ScratchFile {
  explicit ScratchTable(std::size_t cache_pages = 64) : ScratchFile(cache_pages) {
    table.page = kTable;
    table.owned_pages = NewMap();
    table.free_space = NewMap();
    table.max_columns = 6;
    table.variable_columns = 3;
    const auto add = [&](ColumnType type, bool fixed, std::uint16_t place, std::uint16_t length) {
      Column& column = table.columns.emplace_back();
      column.name = "c" + std::to_string(table.columns.size());
      column.number = static_cast<std::uint16_t>(table.columns.size() - 1);
      column.type = type;
      column.flags = fixed ? Column::kFixed : 0;
      (fixed ? column.fixed_offset : column.variable_index) = place;
      column.length = length;
      column.compressed = true;
      if (column.IsLongValue()) table.long_values.push_back({column.number, NewMap(), NewMap()});
    };
    add(ColumnType::Long, true, 0, 4);
    add(ColumnType::YesNo, true, 0, 1);
    add(ColumnType::Text, false, 0, 510);
    add(ColumnType::Memo, false, 1, 0);
    add(ColumnType::Ole, false, 2, 0);
    add(ColumnType::Currency, true, 4, 8);
    rows.emplace(pager, allocator, table);
  }

  Values Read(RowRef slot) const {
    Values values;
    const auto stored = rows->Find(slot);
    EXPECT_TRUE(stored);
    for (std::size_t i = 0; stored && i < table.columns.size(); ++i) values.push_back(rows->Read(*stored, i));
    return values;
  }

  TableDefinition table;
  std::optional<TableRows> rows;
};

/// Checks that each page has one use, each cell one owner, and that all maps and fields are true.
void ExpectSound(ScratchTable& file) {
  std::map<PageNumber, std::string> use;
  const auto take = [&](PageNumber page, const std::string& what) {
    const bool first = use.emplace(page, what).second;
    EXPECT_TRUE(first) << "page " << page << " is " << use[page] << " and " << what;
  };
  for (PageNumber page = 0; page <= ScratchFile::kMaps; ++page) take(page, "fixed");
  for (const PageNumber page : PagesOfMap(file.pager, {kGlobalMapPage, 0})) {
    if (page < file.pager.page_count()) take(page, "free");
  }
  // Live cells of the maps' pages, by address, with their state.
  const auto cells_of = [&](RowRef owned, RowRef free_space, std::uint32_t owner, const std::string& what) {
    std::map<RowRef, CellState> cells;
    const auto pages = PagesOfMap(file.pager, owned);
    for (const PageNumber number : pages) {
      take(number, what);
      const PageView view = file.pager.Read(number);
      const DataPage page(view);
      EXPECT_EQ(page.owner(), owner);
      EXPECT_EQ(page.free_bytes(), storage::ReadLittle<std::uint16_t>(view.bytes(), 2));
      for (std::size_t row = 0; row < page.cell_count(); ++row) {
        const Cell cell = page.CellAt(row);
        if (cell.state != CellState::Deleted) cells[{number, static_cast<std::uint8_t>(row)}] = cell.state;
        EXPECT_TRUE(cell.state != CellState::Deleted || cell.length == 0);
      }
    }
    for (const PageNumber page : PagesOfMap(file.pager, free_space))
      EXPECT_TRUE(pages.contains(page)) << what;
    return cells;
  };
  auto rows = cells_of(file.table.owned_pages, file.table.free_space, ScratchFile::kTable, "table");
  std::map<RowRef, CellState> values;
  for (const LongValueMaps& maps : file.table.long_values) {
    values.merge(cells_of(maps.owned, maps.free_space, DataPage::kLongValueOwner, "long values"));
  }
  std::set<RowRef> slots;
  for (auto slot = file.rows->First(); slot; slot = file.rows->Next(*slot)) slots.insert(*slot);
  EXPECT_EQ(slots.size(), file.table.row_count);
  for (const RowRef slot : slots) {
    const CellState state = rows[slot];
    rows.erase(slot);
    if (state == CellState::Pointer) {
      const RowRef target = DataPage(file.pager.Read(slot.page)).PointerAt(slot.row);
      EXPECT_EQ(rows[target], CellState::Target);
      rows.erase(target);
    }
    const auto stored = file.rows->Find(slot);
    for (const Column& column : file.table.columns) {
      const storage::ByteView head = stored->row.Bytes(column);
      if (!column.IsLongValue() || head.empty() || IsInlineValue(head)) continue;
      const bool chained = storage::ReadLittle<std::uint32_t>(head, 0) >> 30 == 0;
      auto cell = RowRef::Unpack(storage::ReadLittle<std::uint32_t>(head, 4));
      while (!cell.IsNone()) {
        EXPECT_EQ(values.erase(cell), 1u);
        const PageView view = file.pager.Read(cell.page);
        cell = chained ? DataPage(view).PointerAt(cell.row) : RowRef{};
      }
    }
  }
  EXPECT_EQ(rows.size(), 0u) << "cells that no row is reached through";
  EXPECT_EQ(values.size(), 0u) << "cells of values that no row names";
  EXPECT_EQ(use.size(), file.pager.page_count()) << "lost pages";
}

class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : random_(seed) {}
  std::size_t Below(std::size_t n) { return static_cast<std::size_t>(random_()) % n; }

  core::Value For(std::size_t column) {
    if (column != 1 && Below(8) == 0) return core::Null{};
    switch (column) {
      case 0:
        return static_cast<std::int32_t>(random_());
      case 1:
        return Below(2) == 0;
      case 2:
        return Text(Below(4) == 0 ? Below(256) : Below(20));
      case 3:
        return Text(LongLength());
      case 4: {
        core::Bytes bytes(LongLength());
        for (std::byte& byte : bytes) byte = static_cast<std::byte>(random_());
        return bytes;
      }
      default:
        return core::Currency{static_cast<std::int64_t>(random_()) - 1'000'000};
    }
  }
  Values Row() {
    Values values;
    for (std::size_t i = 0; i < 6; ++i) values.push_back(For(i));
    return values;
  }

 private:
  std::size_t LongLength() {
    constexpr std::size_t kLimits[] = {1, 40, 70, 70, 600, 600, 4100, 9000, 70'000};
    return Below(kLimits[Below(Below(10) == 0 ? 9 : 6)]);
  }
  std::string Text(std::size_t length) {
    std::string text(length, static_cast<char>('a' + Below(26)));
    if (Below(5) == 0) text = "\xE2\x82\xAC" + text.substr(0, length - std::min<std::size_t>(length, 1));
    return text;
  }
  std::mt19937 random_;
};

TEST(TableRows, RandomHistoryEqualsTheModelAndLeavesNothingBehind) {
  constexpr unsigned kSeed = 271828;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  RandomValues random(kSeed);
  ScratchTable file(32);  // a cache far smaller than the table
  std::map<RowRef, Values> model;
  std::set<RowRef> deleted;
  const auto change = [&] {
    const std::size_t action = random.Below(10);
    if (model.empty() || action < 4) {
      Values values = random.Row();
      const RowRef slot = file.rows->Insert(values);
      ASSERT_TRUE(model.emplace(slot, values).second);
      ASSERT_FALSE(deleted.contains(slot)) << "slots are never reused";
      return;
    }
    const auto row = std::next(model.begin(), static_cast<std::ptrdiff_t>(random.Below(model.size())));
    if (action < 7) {
      ColumnSet changed;
      Values values(6);
      for (std::size_t i = 0; i < 6; ++i) {
        if (random.Below(3) != 0) continue;
        changed.set(i);
        row->second[i] = values[i] = random.For(i);
      }
      file.rows->Update(row->first, values, changed);
      ASSERT_EQ(file.Read(row->first), row->second);
    } else if (action < 8 || model.size() > 400) {
      file.rows->Delete(row->first);
      EXPECT_FALSE(file.rows->Find(row->first));
      EXPECT_EQ(ErrorOf([&] { file.rows->Delete(row->first); }), common::kRecordDeleted);
      deleted.insert(row->first);
      model.erase(row);
    } else {
      ASSERT_EQ(file.Read(row->first), row->second);
    }
  };
  for (int step = 0; step < 4000; ++step) {
    if (random.Below(20) == 0) {
      Savepoint savepoint(file.pager);
      const auto model_before = model;
      const auto deleted_before = deleted;
      const std::uint32_t count = file.table.row_count;
      for (int i = 0; i < 5; ++i) change();
      model = model_before, deleted = deleted_before, file.table.row_count = count;
      continue;
    }
    change();
    if (step % 500 == 0) file.pager.Checkpoint();
    if (step % 800 == 799) ExpectSound(file);
    if (HasFatalFailure()) return;
  }
  auto expected = model.begin();
  std::string text;
  for (auto slot = file.rows->First(); slot; slot = file.rows->Next(*slot), ++expected) {
    ASSERT_TRUE(expected != model.end() && *slot == expected->first);
    ASSERT_EQ(file.Read(*slot), expected->second);
    const auto stored = file.rows->Find(*slot);
    for (const std::size_t i : {2u, 3u}) {
      EXPECT_EQ(file.rows->ReadText(*stored, i, text), !core::IsNull(expected->second[i]));
      EXPECT_EQ(text, core::IsNull(expected->second[i]) ? "" : std::get<std::string>(expected->second[i]));
    }
  }
  EXPECT_EQ(expected, model.end());
  while (!model.empty()) {
    file.rows->Delete(model.begin()->first);
    model.erase(model.begin());
  }
  ExpectSound(file);
  for (const LongValueMaps& maps : file.table.long_values)
    EXPECT_TRUE(PagesOfMap(file.pager, maps.owned).empty());
}

TEST(TableRows, ARowThatOutgrowsItsPageMovesAndComesHome) {
  ScratchTable file;
  const auto row = [](std::size_t length) {
    return Values{7, true, std::string(length, 'x'), core::Null{}, core::Null{}, core::Null{}};
  };
  std::vector<RowRef> slots;
  while (slots.empty() || slots.back().page == slots.front().page)
    slots.push_back(file.rows->Insert(row(100)));
  const RowRef home = slots[3];
  const auto state = [&] { return DataPage(file.pager.Read(home.page)).CellAt(home.row).state; };
  const auto update = [&](std::size_t length) { file.rows->Update(home, row(length), ColumnSet{4}); };
  for (const std::size_t length : {255u, 250u, 100u, 255u, 0u}) {
    update(length);
    EXPECT_EQ(state(), length > 100 ? CellState::Pointer : CellState::Live) << length;
    EXPECT_EQ(file.Read(home), row(length));
    ExpectSound(file);
  }
  file.rows->Delete(home);
  ExpectSound(file);
}

TEST(TableRows, ALongValueGrowsAndShrinksThroughAllItsForms) {
  ScratchTable file;
  const RowRef slot = file.rows->Insert(Values(6));
  const PageNumber pages_before = file.pager.page_count();
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70'000; n = n < 70 ? n + 1 : n * 5 / 4) lengths.push_back(n);
  for (const std::size_t edge : {4076u, 4077u, 8144u, 8145u, 12216u, 12217u}) lengths.push_back(edge);
  for (int direction = 0; direction < 2; ++direction) {
    for (const std::size_t n : lengths) {
      Values values(6);
      values[4] = core::Bytes(n, std::byte{0x5A});
      values[3] = std::string(n, 'm');
      file.rows->Update(slot, values, ColumnSet{0b011000});
      ASSERT_EQ(file.Read(slot),
                (Values{core::Null{}, false, core::Null{}, values[3], values[4], core::Null{}}))
          << n;
    }
    ExpectSound(file);
    std::ranges::reverse(lengths);
  }
  EXPECT_LE(file.pager.page_count(), pages_before + (2 + 1) * 70'000 / 4072 + 6)
      << "freed pages are used again";

  // Untouched values keep their place: other columns change, the heads do not.
  const auto head = [&] {
    const auto stored = file.rows->Find(slot);
    const storage::ByteView bytes = stored->row.Bytes(file.table.columns[3]);
    return std::vector<std::byte>(bytes.begin(), bytes.end());
  };
  Values values(6);
  values[3] = std::string(20'000, 'k');
  values[2] = "name";
  file.rows->Update(slot, values, ColumnSet{0b001100});
  const auto before = head();
  file.rows->Update(slot, values, ColumnSet{0b000100});
  EXPECT_EQ(head(), before);
}

TEST(TableRows, InlineValuesLeaveARowThatWouldBeTooLong) {
  ScratchTable file;
  file.table.columns[2].length = 8000;
  Values values{1,           false, std::string(1, ' '), std::string(60, 'm'), core::Bytes(30, std::byte{1}),
                core::Null{}};
  // All inline the row has 2 * length + 141 bytes; the memo leaves first, 62 bytes, then the OLE value.
  for (const auto& [length, outside] :
       std::map<std::size_t, std::size_t>{{1959, 0}, {1960, 1}, {1990, 1}, {1991, 2}}) {
    values[2] = std::string(length, 'x');  // plain: more than 1024 characters
    const RowRef slot = file.rows->Insert(values);
    EXPECT_EQ(file.Read(slot), values);
    const auto stored = file.rows->Find(slot);
    const auto is_outside = [&](std::size_t i) {
      return !IsInlineValue(stored->row.Bytes(file.table.columns[i]));
    };
    EXPECT_EQ(std::size_t{is_outside(3)} + is_outside(4), outside) << length;
  }
  values[2] = std::string(2010, 'x');
  const std::uint32_t count = file.table.row_count;
  EXPECT_EQ(ErrorOf([&] { file.rows->Insert(values); }), common::kRecordTooLarge);
  EXPECT_EQ(file.table.row_count, count);
  ExpectSound(file);  // the refused row left nothing behind
}

TEST(TableRows, LoadingManyRowsFillsPages) {
  ScratchTable file(256);
  RandomValues random(5);
  std::size_t bytes = 0;
  for (int i = 0; i < 20'000; ++i) {
    Values values{i,           true, std::string(50 + random.Below(200), 'x'), core::Null{}, core::Null{},
                  core::Null{}};
    bytes += 2 + 12 + 2 + std::get<std::string>(values[2]).size() + 10 + 1 + 2;
    file.rows->Insert(values);
  }
  EXPECT_LE(file.pager.page_count() * std::size_t{kPageSize}, bytes * 107 / 100);
}

TEST(TableRows, DamagedPointersAndValuesAreReported) {
  ScratchTable file;
  const RowRef slot =
      file.rows->Insert(Values{1, true, "text", std::string(20'000, 'm'), core::Null{}, core::Null{}});
  const auto with_cell = [&](RowRef cell, const std::function<void(DataPageEdit&)>& damage) {
    Savepoint savepoint(file.pager);
    DataPageEdit page(file.pager.Edit(cell.page));
    damage(page);
    return ErrorOf([&] { file.Read(slot); });
  };
  const auto point_to = [&](RowRef target) {
    return with_cell(slot, [&](DataPageEdit& page) { page.SetPointer(slot.row, target); });
  };
  EXPECT_EQ(point_to(slot), common::kDamagedDatabase);                     // a circle
  EXPECT_EQ(point_to({ScratchFile::kMaps, 0}), common::kDamagedDatabase);  // not a page of the table
  EXPECT_EQ(point_to({0xFFFFFF, 0}), common::kDamagedDatabase);
  EXPECT_EQ(point_to({slot.page, 44}), common::kDamagedDatabase);

  const auto stored = file.rows->Find(slot);
  const auto first =
      RowRef::Unpack(storage::ReadLittle<std::uint32_t>(stored->row.Bytes(file.table.columns[3]), 4));
  const auto next = DataPage(file.pager.Read(first.page)).PointerAt(first.row);
  const auto link_to = [&](RowRef cell, RowRef target) {
    return with_cell(cell, [&](DataPageEdit& page) {
      storage::WriteLittle<std::uint32_t>(page.MutableCell(cell.row), 0, target.Packed());
    });
  };
  EXPECT_EQ(link_to(first, first), common::kDamagedDatabase);  // a circle
  EXPECT_EQ(link_to(next, {}), common::kDamagedDatabase);      // too short
  EXPECT_EQ(link_to(next, slot), common::kDamagedDatabase);    // not a page of long values
  EXPECT_EQ(with_cell(next, [&](DataPageEdit& page) { page.Delete(next.row); }), common::kDamagedDatabase);
  EXPECT_EQ(file.Read(slot).size(), 6u);  // each damage was undone
}

}  // namespace
}  // namespace corvix::jet
