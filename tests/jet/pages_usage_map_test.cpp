// Usage maps against sets, read back from their bytes by a decoder of the test's own; and free pages.
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <vector>

#include "jet/pages_scratch.h"
#include "storage/jet/pages/usage_map.h"

namespace corvix::jet {
namespace {

TEST(UsageMap, EqualsASetThroughAllItsForms) {
  constexpr unsigned kSeed = 31;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  ScratchMaps small;
  std::vector<RowRef> neighbours{small.NewMap()};
  const RowRef cell = small.NewMap();
  neighbours.push_back(small.NewMap());
  small.pager.Checkpoint();
  small.file.Resize(std::uint64_t{100'000} * kPageSize);
  Pager pager = small.file.Open(64);
  PageAllocator allocator(pager);
  UsageMap map(pager, cell, &allocator);
  for (const RowRef neighbour : neighbours) UsageMap(pager, neighbour, &allocator).Add(77);

  struct Range {
    PageNumber first, last;
    std::size_t cell_length;  // afterwards
    int kind;
  };
  // The window moves, widens, moves down again, and gives way to bitmap pages.
  const Range ranges[] = {{600, 1100, 69, 0}, {600, 1500, 121, 0},     {570, 600, 125, 0},
                          {500, 1500, 69, 1}, {32'700, 32'800, 69, 1}, {0, 99'999, 69, 1}};
  std::set<PageNumber> model;
  for (const Range& range : ranges) {
    SCOPED_TRACE(testing::Message() << "pages " << range.first << " to " << range.last);
    std::uniform_int_distribution<PageNumber> page(range.first, range.last);
    for (int step = 0; step < 300; ++step) {
      const PageNumber at = step == 0 ? range.first : step == 1 ? range.last : page(random);
      if (step < 2 || random() % 3 != 0) {
        map.Add(at);
        model.insert(at);
      } else {
        map.Remove(at);
        model.erase(at);
      }
      const PageNumber probe = page(random);
      EXPECT_EQ(map.Contains(probe), model.contains(probe));
      const auto next = model.lower_bound(probe);
      EXPECT_EQ(map.NextFrom(probe), next == model.end() ? std::nullopt : std::optional(*next));
      const auto above = model.upper_bound(probe);
      EXPECT_EQ(map.PreviousFrom(probe),
                above == model.begin() ? std::nullopt : std::optional(*std::prev(above)));
    }
    EXPECT_EQ(PagesOfMap(pager, cell), model);
    EXPECT_EQ(map.First(), *model.begin());
    EXPECT_EQ(map.Last(), *model.rbegin());
    const PageView view = pager.Read(cell.page);
    EXPECT_EQ(DataPage(view).CellAt(cell.row).length, range.cell_length);
    EXPECT_EQ(std::to_integer<int>(DataPage(view).CellBytes(cell.row)[0]), range.kind);
    for (const RowRef neighbour : neighbours)
      EXPECT_EQ(PagesOfMap(pager, neighbour), (std::set<PageNumber>{77}));
  }
}

TEST(UsageMap, DamageIsReported) {
  ScratchMaps file;
  const RowRef cell = file.NewMap();
  UsageMap map(file.pager, cell, &file.allocator);
  const auto with = [&](std::initializer_list<std::pair<std::size_t, std::uint32_t>> words) {
    PageEdit page = file.pager.Edit(cell.page);
    const storage::ByteSpan bytes = DataPageEdit(page).MutableCell(cell.row);
    for (const auto& [offset, word] : words) storage::WriteLittle<std::uint32_t>(bytes, offset, word);
    return NumberOf([&] {
      map.NextFrom(0);
      map.PreviousFrom(1000);
      map.Contains(5);
    });
  };
  EXPECT_EQ(with({{0, 0xFFFFFF00}, {4, 0xFF}, {8, 0xFFFFFFFF}}),
            0);  // far behind the end: no page of the file
  EXPECT_EQ(with({{0, 2}}), common::kDamagedDatabase);
  EXPECT_EQ(with({{0, 0x00000201}}), common::kDamagedDatabase);  // page 2 is no bitmap page
  EXPECT_EQ(with({{0, 0x00FFFF01}}), common::kDamagedDatabase);  // outside the file
  EXPECT_EQ(NumberOf([&] { UsageMap(file.pager, {1, 9}).First(); }), common::kDamagedDatabase);
}

TEST(PageAllocator, KeepsTheGlobalMapTrueWhileTheFileGrows) {
  ScratchMaps file;
  for (const std::size_t pages : {600u, 900u, 1100u, 34'000u}) {  // with pages for the map itself
    std::vector<PageNumber> used;
    while (file.pager.page_count() < pages) used.push_back(file.allocator.Allocate().number());
    std::set<PageNumber> free;
    for (std::size_t i = 0; i < used.size(); i += 50) {
      file.allocator.Release(used[i]);
      free.insert(used[i]);
    }
    {
      const Savepoint undone(file.pager);
      EXPECT_EQ(file.allocator.Allocate().number(), *free.begin());
    }
    const std::set<PageNumber> marked = PagesOfMap(file.pager, {kGlobalMapPage, 0});
    const auto end = marked.lower_bound(file.pager.page_count());
    EXPECT_EQ((std::set<PageNumber>(marked.begin(), end)), free);
    // Pages behind the end are free as far as the map reaches.
    EXPECT_EQ(*marked.rbegin() - file.pager.page_count() + 1, std::distance(end, marked.end()));
  }
}

}  // namespace
}  // namespace corvix::jet
