// The pager against a model of the file: cache, spilling, savepoints, checkpoints, encoding.
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "jet/pages_scratch.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {
namespace {

using Model = std::vector<PageBytes>;

class PagerHistory : public testing::TestWithParam<std::uint32_t> {};  // the database key

TEST_P(PagerHistory, EqualsTheModelWhateverTheCacheDoes) {
  constexpr unsigned kSeed = 20001;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random()) % n; };
  ScratchFile file;
  Model model;
  {
    Pager pager = file.Open(16);
    pager.SetDatabaseKey(GetParam());
    std::vector<PageView> held;
    for (int round = 0; round < 1500; ++round) {
      std::optional<Savepoint> savepoint;
      Model before;
      if (below(2) == 0) {
        savepoint.emplace(pager);
        before = model;
      }
      for (std::size_t step = below(6); step-- > 0;) {
        if (model.empty() || (model.size() < 80 && below(4) == 0)) {
          const PageEdit page = pager.Append();
          ASSERT_EQ(page.number(), model.size());
          model.push_back({});
        }
        const auto number = static_cast<PageNumber>(below(model.size()));
        if (below(2) == 0) {
          const std::size_t at = below(kPageSize);
          pager.Edit(number).bytes()[at] = model[number][at] = static_cast<std::byte>(random());
        }
        const PageView view = pager.Read(number);
        ASSERT_TRUE(std::ranges::equal(view.bytes(), model[number])) << "page " << number;
        if (below(8) == 0) held.push_back(view);
        if (held.size() > 5) held.erase(held.begin());
      }
      if (savepoint && below(3) == 0) {
        model = before;
        std::erase_if(held, [&](const PageView& view) { return view.number() >= model.size(); });
      } else if (savepoint) {
        savepoint->Release();
      }
      savepoint.reset();
      ASSERT_EQ(pager.page_count(), model.size());
      for (const PageView& view : held) ASSERT_TRUE(std::ranges::equal(view.bytes(), model[view.number()]));
      if (below(100) == 0) {
        pager.Checkpoint();
        EXPECT_FALSE(pager.dirty());
        ASSERT_EQ(file.Size(), model.size() * kPageSize);
      }
    }
    held.clear();
    pager.Checkpoint();
    EXPECT_GT(pager.undo_count(), 100u);
  }
  Pager stored = file.Open(16, true), again = file.Open(16, true);
  again.SetDatabaseKey(GetParam());
  for (PageNumber page = 0; page < model.size(); ++page) {
    EXPECT_TRUE(std::ranges::equal(again.Read(page).bytes(), model[page]));
    if (model[page] != PageBytes{}) {
      EXPECT_EQ(std::ranges::equal(stored.Read(page).bytes(), model[page]), GetParam() == 0 || page == 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Keys, PagerHistory, testing::Values(0u, 0x8BADF00Du));

/// A journal that has no room for the first image it is given.
class FullOnce : public PageJournal {
 public:
  explicit FullOnce(std::vector<PageNumber>& saved) : saved_(saved) {}
  void Begin(std::uint64_t) override {}
  void Save(PageNumber page, storage::ByteView image) override {
    if (!std::exchange(failed_, true)) throw common::Error(common::kDiskFull);
    EXPECT_EQ(image[0], std::byte{0}) << "the image is from before the change";
    saved_.push_back(page);
  }
  void Announce(PageNumber, storage::ByteView) override {}
  void Sync() override {}
  void Reset() override {}

 private:
  std::vector<PageNumber>& saved_;
  bool failed_ = false;
};

TEST(Pager, SavesAnImageAgainThatTheJournalCouldNotTake) {
  ScratchFile file;
  file.Resize(2 * kPageSize);
  std::vector<PageNumber> saved;
  Pager pager = file.Open(16, false, std::make_unique<FullOnce>(saved));
  const auto change = [&] { pager.Edit(1).bytes()[0] = std::byte{7}; };
  EXPECT_EQ(NumberOf(change), common::kDiskFull);
  EXPECT_EQ(pager.Read(1).bytes()[0], std::byte{0});
  change();
  change();
  EXPECT_EQ(saved, std::vector<PageNumber>{1});
}

TEST(Pager, RefusesWhatTheFileCannotGive) {
  ScratchFile file;
  file.Resize(3 * kPageSize + 100);  // a cut last page
  Pager reading = file.Open(0, true);
  EXPECT_EQ(reading.page_count(), 3u);
  EXPECT_EQ(NumberOf([&] { reading.Read(3); }), common::kDamagedDatabase);
  EXPECT_EQ(NumberOf([&] { reading.Edit(1); }), common::kReadOnly);
  EXPECT_EQ(NumberOf([&] { reading.Append(); }), common::kReadOnly);
  EXPECT_FALSE(reading.dirty());

  file.Resize(kMaxFileSize - kPageSize);
  Pager full = file.Open(64);
  full.Append();
  EXPECT_EQ(NumberOf([&] { full.Append(); }), common::kDiskFull);
  EXPECT_EQ(full.page_count(), kMaxFileSize / kPageSize);
}

}  // namespace
}  // namespace corvix::jet
