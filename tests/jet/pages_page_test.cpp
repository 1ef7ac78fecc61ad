// Data pages: cells against a model, and pages that lie about themselves.
#include "storage/jet/page.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "jet/pages_scratch.h"

namespace corvix::jet {
namespace {

using storage::WriteLittle;
using Bytes = std::vector<std::byte>;

struct ModelCell {
  Bytes bytes;
  CellState state;
};

void ExpectEqual(storage::ByteView page, const std::vector<ModelCell>& model) {
  const DataPage cells(page, {nullptr, 9, {}});
  ASSERT_EQ(cells.cell_count(), model.size());
  std::size_t used = 14 + 2 * model.size();
  for (std::size_t row = 0; row < model.size(); ++row) {
    EXPECT_EQ(cells.CellAt(row).state, model[row].state);
    EXPECT_TRUE(std::ranges::equal(cells.CellBytes(row), model[row].bytes)) << "row " << row;
    used += model[row].bytes.size();
  }
  EXPECT_EQ(storage::ReadLittle<std::uint16_t>(page, 2), kPageSize - used);
}

TEST(DataPage, RandomHistoryKeepsCellsSlotsAndFreeBytes) {
  constexpr unsigned kSeed = 4711;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random()) % n; };
  for (int page_number = 0; page_number < 40; ++page_number) {
    PageBytes bytes;
    DataPageEdit::Format(bytes, 17);
    DataPageEdit page(bytes, {nullptr, 9, {}});
    std::vector<ModelCell> model;
    const std::size_t longest = 1 + below(600);
    for (int step = 0; step < 400; ++step) {
      Bytes cell(below(longest));
      for (std::byte& byte : cell) byte = static_cast<std::byte>(random());
      const std::size_t free = page.free_bytes();
      if (model.empty() || below(3) == 0) {
        const bool fits = model.size() < 255 && cell.size() + 2 <= free;
        ASSERT_EQ(page.HasRoomFor(cell.size()), fits);
        if (!fits) continue;
        EXPECT_EQ(page.Append(cell, CellState::Target), model.size());
        model.push_back({cell, CellState::Target});
        continue;
      }
      const std::size_t row = below(model.size());
      ModelCell& old = model[row];
      switch (below(4)) {
        case 0:
          page.Delete(row);
          old = {{}, CellState::Deleted};
          break;
        case 1:
          if (page.Resize(row, cell.size())) old.bytes.resize(cell.size());
          break;
        case 2:
          if (old.bytes.size() < 4) break;
          page.SetPointer(row, {0x123456, 0x78});
          EXPECT_EQ(page.PointerAt(row), (RowRef{0x123456, 0x78}));
          WriteLittle<std::uint32_t>(old.bytes, 0, 0x12345678);
          old.state = CellState::Pointer;
          break;
        default:
          const bool fits = cell.size() <= old.bytes.size() + free;
          ASSERT_EQ(page.Replace(row, cell, CellState::Live), fits);
          if (fits) old = {cell, CellState::Live};
      }
    }
    ExpectEqual(bytes, model);
    EXPECT_EQ(page.IsEmpty(),
              std::ranges::all_of(model, [](const ModelCell& c) { return c.state == CellState::Deleted; }));
  }
}

TEST(DataPage, DamageIsFoundBeforeAnythingMoves) {
  PageBytes good;
  DataPageEdit::Format(good, 17);
  DataPageEdit page(good, {nullptr, 9, {}});
  for (const std::size_t length : {30u, 20u, 3u}) page.Append(Bytes(length));

  struct Case {
    const char* name;
    std::size_t offset;
    std::uint16_t value;
  };
  const Case cases[] = {
      {"not a data page", 0, 0x0102},
      {"more rows than a page can have", 12, 256},
      {"row table beyond the page", 12, 0xFFFF},
      {"cell above its neighbour", 16, 4090},
      {"cell beyond the page", 14, 0x1FFF},
      {"cell inside the row table", 18, 15},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    PageBytes bytes = good;
    WriteLittle<std::uint16_t>(bytes, test.offset, test.value);
    const PageBytes before = bytes;
    EXPECT_EQ(ErrorOf([&] { DataPageEdit(bytes, {nullptr, 9, {}}).Delete(0); }), common::kDamagedDatabase);
    EXPECT_EQ(bytes, before);
  }
  EXPECT_EQ(ErrorOf([&] { page.CellAt(3); }), common::kDamagedDatabase);
  EXPECT_EQ(ErrorOf([&] { page.PointerAt(2); }), common::kDamagedDatabase);
  try {
    page.CellAt(200);
    FAIL();
  } catch (const common::Error& error) {
    EXPECT_EQ(error.place(), "page 9, row 200");
  }
}

}  // namespace
}  // namespace corvix::jet
