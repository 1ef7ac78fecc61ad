#include <gmock/gmock.h>

#include "common/error.h"
#include "storage/base/memory_file.h"
#include "storage/jet/page.h"
#include "storage/jet/pager.h"

namespace corvix::jet {
namespace {

TEST(Smoke, Builds) {
  storage::MemoryFileSystem files;
  Pager pager(files.Open("a", storage::OpenMode::Create), "a", {});
  auto p = pager.Append();
  DataPageEdit::Format(p.bytes(), 7);
  DataPageEdit e(p);
  EXPECT_EQ(e.free_bytes(), DataPage::kCapacity);
}

}  // namespace
}  // namespace corvix::jet
