// The power fails at every write, sync, truncation, creation and removal of a conversion that the real driver
// runs. Whatever of the unsynced writes reached the device: the database that is opened next is sound and
// holds exactly the rows of a checkpoint, the last one or the one that was being made.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "crash/small_office.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::test {
namespace {

struct Checkpoint {
  std::uint64_t operation;  ///< number of operations when it was complete
  Bytes database;
};

struct Conversion {
  std::unique_ptr<FaultyFileSystem> files;
  std::vector<Checkpoint> checkpoints;  ///< of a run without a cut: at each question, and at the end
};

/// Pages of an index tree, by the level of the node: a node above nodes is one that a split at the second
/// level made necessary.
std::size_t NodesAboveNodes(const Bytes& database) {
  const auto page = [&](std::size_t number) {
    return storage::ByteView(database).subspan(number * jet::kPageSize, jet::kPageSize);
  };
  constexpr std::byte kNode{3};
  std::size_t count = 0;
  for (std::size_t number = 1; number < database.size() / jet::kPageSize; ++number) {
    if (page(number)[0] != kNode) continue;
    const auto tail = storage::ReadLittle<std::uint32_t>(page(number), jet::index_page::kTail);
    if (page(tail)[0] == kNode) ++count;
  }
  return count;
}

/// Runs the conversion on a fresh device, to its end or until the power fails. A checkpoint falls due after a
/// second, so a run that the machine held up that long is made again: the operations of all runs are the
/// same.
Conversion Convert(const Device& office, std::optional<std::uint64_t> cut = {}) {
  for (int attempt = 0; attempt < 10; ++attempt) {
    Conversion result{std::make_unique<FaultyFileSystem>(), {}};
    FaultyFileSystem& files = *result.files;
    PutAll(files, office);
    SmallRun conversion(files);
    const auto note = [&] {
      if (!cut) result.checkpoints.push_back({files.operations(), files.Contents(kDatabase)});
    };
    conversion.host.on_prompt = note;
    if (cut) files.CutAt(*cut);
    const auto start = std::chrono::steady_clock::now();
    try {
      conversion.Run();
    } catch (const PowerCut&) {
    }
    note();
    if (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(900)) return result;
  }
  throw std::runtime_error("The machine is too slow for this test");
}

TEST(PowerCut, AtAnyOperationLeavesTheRowsOfACheckpoint) {
  const Device office = MakeSmallOffice(200);
  ASSERT_EQ(NodesAboveNodes(office.at(kDatabase)), 0u);
  Judge judge;
  const Conversion undisturbed = Convert(office);
  const std::vector<Change>& log = undisturbed.files->log();
  std::vector<Checkpoint> checkpoints{{0, office.at(kDatabase)}};
  std::ranges::copy(undisturbed.checkpoints, std::back_inserter(checkpoints));
  ASSERT_EQ(checkpoints.size(), 36u) << "34 duplicates have a comps record";
  const Bytes& end = checkpoints.back().database;
  ASSERT_EQ(judge.RowsOf(end).size(), 200u);
  ASSERT_GE(NodesAboveNodes(end), 1u) << "no index was split at two levels";

  std::map<Change, int> cuts;
  int devices = 0, recovered = 0;
  std::set<Rows> states;
  for (std::uint64_t cut = 0; cut < log.size(); ++cut) {
    SCOPED_TRACE(testing::Message() << "cut at operation " << cut << " of " << log.size());
    const auto files = Convert(office, cut).files;
    ASSERT_EQ(files->operations(), cut + 1);
    ASSERT_EQ(files->log().back(), log[cut]);
    ++cuts[log[cut]];
    const auto next = std::ranges::upper_bound(checkpoints, cut, {}, &Checkpoint::operation);
    const Rows& last_rows = judge.RowsOf(std::prev(next)->database);
    const Rows& next_rows = next == checkpoints.end() ? last_rows : judge.RowsOf(next->database);
    const auto seed = static_cast<unsigned>(cut);
    for (const Device& device :
         {files->AfterCut(Unsynced::Kept), files->AfterCut(Unsynced::Dropped),
          files->AfterCut(Unsynced::Mixed, seed), files->AfterCut(Unsynced::Mixed, ~seed)}) {
      const Bytes database = Reopened(device);
      const Rows& rows = judge.RowsOf(database);
      EXPECT_TRUE(rows == last_rows || rows == next_rows);
      states.insert(rows);
      ++devices;
      if (device.at(kDatabase) != database) ++recovered;
    }
    if (HasFailure()) return;
  }
  for (const Change kind : {Change::Write, Change::Sync, Change::Truncate}) EXPECT_GT(cuts[kind], 10);
  EXPECT_GT(recovered, devices / 10) << "too few cuts left something to take back";
  EXPECT_GT(states.size(), 30u);
  std::printf(
      "%d writes, %d syncs, %d truncations and %d others cut; %d devices, %d of them rolled back, %zu "
      "states\n",
      cuts[Change::Write], cuts[Change::Sync], cuts[Change::Truncate],
      cuts[Change::Create] + cuts[Change::Remove] + cuts[Change::SyncDirectory], devices, recovered,
      states.size());
}

}  // namespace
}  // namespace corvix::test
