// Memory that runs out while a row is stored: the row can be stored again when there is some, and the
// database is sound.
#include <cstdlib>
#include <new>
#include <utility>

#include "crash/small_office.h"

namespace {

/// Allocations until one fails; below 0: none does.
long allocations_left = -1;

}  // namespace

void* operator new(std::size_t size) {
  if (allocations_left >= 0 && allocations_left-- == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace corvix::test {
namespace {

constexpr int kRows = 60;

/// Stores rows; an allocation fails after so many, once, and what it hindered is done again. Returns how many
/// there were.
long StoreRows(FaultyFileSystem& files, long until_failure, int& failed) {
  const auto database = jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite);
  const auto rows = database->OpenTable("COMPS");
  const std::size_t key = core::RequireField(*rows, "CENTRALKEY"), notes = core::RequireField(*rows, "NOTES");
  allocations_left = until_failure;
  for (int i = 0; i < kRows; ++i) {
    for (bool is_stored = false; !is_stored;) {
      try {
        rows->BeginAdd();
        rows->Write(key, fmt::format("{} {:>40} LANE", i * 7919 % kRows, i));
        rows->Write(notes, std::string(static_cast<std::size_t>(i * 150), 'n'));
        rows->Store();
        is_stored = true;
        if (i % 20 == 0) database->Checkpoint();
      } catch (const std::bad_alloc&) {
        ++failed;
      }
    }
  }
  const long left = std::exchange(allocations_left, -1);
  database->Close();
  return until_failure - left;
}

TEST(FailingAllocation, LeavesARowToBeStoredAgain) {
  const Device office = MakeSmallOffice(50);
  const auto run = [&](long until_failure, int& failed) {
    FaultyFileSystem files;
    PutAll(files, office);
    const long allocations = StoreRows(files, until_failure, failed);
    Judge judge;
    EXPECT_EQ(judge.RowsOf(files.Contents(kDatabase)).size(),
              judge.RowsOf(office.at(kDatabase)).size() + kRows);
    return allocations;
  };
  int failed = 0;
  const long allocations = run(1L << 40, failed);
  ASSERT_EQ(failed, 0);
  constexpr int kRounds = 80;
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    run(allocations * round / kRounds, failed);
  }
  EXPECT_EQ(failed, kRounds);
}

}  // namespace
}  // namespace corvix::test
