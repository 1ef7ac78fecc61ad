// Data pages that lie about themselves.
#include "storage/jet/pages/page.h"

#include <gtest/gtest.h>
#include <vector>

#include "jet/pages_scratch.h"

namespace corvix::jet {
namespace {

using storage::WriteLittle;
using Bytes = std::vector<std::byte>;

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
    EXPECT_EQ(NumberOf([&] { DataPageEdit(bytes, {nullptr, 9, {}}).Delete(0); }), common::kDamagedDatabase);
    EXPECT_EQ(bytes, before);
  }
  EXPECT_EQ(NumberOf([&] { page.CellAt(3); }), common::kDamagedDatabase);
  EXPECT_EQ(NumberOf([&] { page.PointerAt(2); }), common::kDamagedDatabase);
  try {
    page.CellAt(200);
    FAIL();
  } catch (const common::Error& error) {
    EXPECT_EQ(error.place(), "page 9, row 200");
  }
}

}  // namespace
}  // namespace corvix::jet
