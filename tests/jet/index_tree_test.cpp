#include "storage/jet/index/index_tree.h"

#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <random>
#include <set>

#include "common/error.h"
#include "jet/index_tables.h"
#include "jet/index_tree_check.h"
#include "storage/base/memory_file.h"

namespace corvix::jet {
namespace {

using test::EntryOf;
using test::ExamineTree;
using test::TreeFacts;
using testing::IsEmpty;

constexpr PageNumber kTable = 9;

/// Pages at the end of the file, released ones first.
class TestPages : public IndexPages {
 public:
  explicit TestPages(Pager& pager) : pager_(pager) {}
  PageNumber Allocate() override {
    PageNumber page = 0;
    if (released_.empty()) {
      page = pager_.Append().number();
    } else {
      page = released_.back();
      released_.pop_back();
      std::ranges::fill(pager_.Edit(page).bytes(), std::byte{0xAA});
    }
    used_.insert(page);
    return page;
  }
  void Release(PageNumber page) override {
    EXPECT_EQ(used_.erase(page), 1u) << "page " << page << " released but not in use";
    released_.push_back(page);
  }
  const std::set<PageNumber>& used() const { return used_; }

 private:
  Pager& pager_;
  std::vector<PageNumber> released_;
  std::set<PageNumber> used_;
};

struct Bench {
  storage::MemoryFileSystem files;
  Pager pager{files.Open("t.mdb", storage::OpenMode::Create), "t.mdb", {}};
  TestPages pages{pager};
  PageNumber root = (pager.Append(), pages.Allocate());
  IndexTree tree{pager, root, kTable, &pages};

  Bench() { IndexPageEdit::Format(pager.Edit(root).bytes(), PageType::IndexLeaf, kTable); }

  /// The tree is sound, owns its pages and no others, and holds exactly these entries.
  TreeFacts Expect(const std::set<Key>& model) {
    TreeFacts facts = ExamineTree(pager, root, kTable);
    EXPECT_THAT(facts.faults, IsEmpty());
    EXPECT_EQ(facts.pages, pages.used());
    EXPECT_EQ(facts.loose_bounds, 0u);
    EXPECT_TRUE(std::ranges::equal(facts.entries, model));
    return facts;
  }
};

Key Bytes(std::string_view text) {
  const auto bytes = storage::AsBytes(text);
  return {bytes.begin(), bytes.end()};
}

Key Number(std::size_t number) {
  Key key{std::byte{0x7F}};
  for (int shift = 24; shift >= 0; shift -= 8) key.push_back(static_cast<std::byte>(number >> shift & 0xFF));
  return key;
}

RowRef Row(std::size_t i) {
  return {static_cast<PageNumber>(20 + i / 200), static_cast<std::uint8_t>(i % 200)};
}

struct Load {
  const char* name;
  std::size_t count;
  Key (*key)(std::size_t i, std::mt19937& random);
  double least_fill;
  std::size_t least_depth;
};

class Loads : public testing::TestWithParam<Load> {};

TEST_P(Loads, KeepEveryRuleWhileTheyComeAndGo) {
  const Load& load = GetParam();
  std::mt19937 random(20260611);
  Bench bench;
  std::set<Key> model;
  std::vector<std::pair<Key, RowRef>> entries;
  const auto insert = [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
      const Key key = load.key(i, random);
      ASSERT_TRUE(bench.tree.Insert(key, Row(i)));
      model.insert(EntryOf(key, Row(i)));
      entries.emplace_back(key, Row(i));
      if (i == 100 || i == 3000) bench.Expect(model);
    }
  };
  insert(0, load.count);
  const TreeFacts full = bench.Expect(model);
  EXPECT_GE(full.fill, load.least_fill);
  EXPECT_GE(full.depth, load.least_depth);
  EXPECT_FALSE(bench.tree.Insert(entries[7].first, entries[7].second)) << "an entry that is there already";
  for (std::size_t i = 0; i < entries.size(); i += 97) {
    const auto found = bench.tree.Find(entries[i].first);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(EntryOf(entries[i].first, *found), *model.lower_bound(entries[i].first));
  }

  std::ranges::shuffle(entries, random);
  const auto erase = [&](std::size_t until) {
    while (entries.size() > until) {
      const auto [key, row] = entries.back();
      entries.pop_back();
      ASSERT_TRUE(bench.tree.Erase(key, row));
      ASSERT_FALSE(bench.tree.Erase(key, row)) << "an entry that is gone";
      model.erase(EntryOf(key, row));
    }
    bench.Expect(model);
  };
  erase(load.count / 2);
  insert(load.count, load.count + load.count / 4);
  bench.Expect(model);
  std::ranges::shuffle(entries, random);
  erase(load.count / 50);
  erase(0);
  EXPECT_EQ(bench.pages.used(), std::set<PageNumber>{bench.root});
}

Key Padded(std::mt19937& random, std::size_t length) {
  Key key = Number(random());
  key.resize(length, std::byte{7});
  return key;
}

Key AfterPrefix(std::mt19937& random) {
  Key key = Bytes(std::string(400, 'p'));
  const Key end = Number(random());
  key.insert(key.end(), end.begin(), end.end());
  return key;
}

Key Word(std::mt19937& random) {
  Key key{std::byte{0x7F}};
  for (std::size_t n = 1 + random() % 34; n > 0; --n)
    key.push_back(static_cast<std::byte>(0x36 + random() % 4));
  key.insert(key.end(), {std::byte{1}, std::byte{0}});
  return key;
}

using Random = std::mt19937;
const Load kLoads[] = {
    {"ascending", 50'000, [](std::size_t i, Random&) { return Number(i); }, 0.98, 2},
    {"descending", 50'000, [](std::size_t i, Random&) { return Number(~i); }, 0.98, 2},
    {"random", 50'000, [](std::size_t, Random& random) { return Number(random()); }, 0.6, 2},
    {"few_keys", 50'000, [](std::size_t, Random& random) { return Number(random() % 7); }, 0.6, 2},
    {"two_ends", 20'000, [](std::size_t i, Random&) { return Number((1u << 30) + (i % 2 ? i : 0 - i)); }, 0.9,
     2},
    {"shared_prefix", 20'000, [](std::size_t, Random& random) { return AfterPrefix(random); }, 0.6, 2},
    {"long_keys", 4'000, [](std::size_t, Random& random) { return Padded(random, 100 + random() % 590); },
     0.55, 4},
    {"longest_keys", 600,
     [](std::size_t, Random& random) { return Padded(random, random() % 3 == 0 ? IndexTree::kMaxKey : 6); },
     0.3, 3},
    {"words", 50'000, [](std::size_t, Random& random) { return Word(random); }, 0.6, 3}};

INSTANTIATE_TEST_SUITE_P(, Loads, testing::ValuesIn(kLoads),
                         [](const auto& load) { return load.param.name; });

TEST(IndexCursor, WalksBothWaysAndSurvivesChanges) {
  std::mt19937 random(7);
  Bench bench;
  std::set<Key> model;
  const auto key_of = [](const Key& entry) { return storage::ByteView(entry).first(entry.size() - 4); };
  for (std::size_t i = 0; i < 3000; ++i) {
    const Key key = Number(random() % 1000);
    bench.tree.Insert(key, Row(i));
    model.insert(EntryOf(key, Row(i)));
  }
  IndexTree::Cursor cursor(bench.tree);
  std::vector<Key> forwards;
  for (bool ok = cursor.First(); ok; ok = cursor.Next())
    forwards.push_back(EntryOf(cursor.key(), cursor.row()));
  EXPECT_TRUE(std::ranges::equal(forwards, model));
  EXPECT_FALSE(cursor.valid());
  std::vector<Key> backwards;
  for (bool ok = cursor.Last(); ok; ok = cursor.Previous())
    backwards.push_back(EntryOf(cursor.key(), cursor.row()));
  EXPECT_TRUE(std::ranges::equal(backwards, std::vector(model.rbegin(), model.rend())));

  // A random walk while entries, the one under the cursor among them, come and go.
  ASSERT_TRUE(cursor.First());
  Key at = *model.begin();
  for (std::size_t step = 0; step < 20'000; ++step) {
    if (step % 3 == 0 && model.size() > 10) {
      const auto victim = random() % 4 == 0 ? model.find(at) : model.lower_bound(Number(random() % 1000));
      if (victim != model.end()) {
        ASSERT_TRUE(bench.tree.Erase(key_of(*victim), RowOfEntry(*victim)));
        model.erase(victim);
      }
    } else if (step % 3 == 1) {
      const Key key = Number(random() % 1000);
      bench.tree.Insert(key, Row(3000 + step));
      model.insert(EntryOf(key, Row(3000 + step)));
    }
    const bool forward = random() % 2 == 0;
    auto next = forward ? model.upper_bound(at) : model.lower_bound(at);
    const bool expected = forward ? next != model.end() : next != model.begin();
    ASSERT_EQ(forward ? cursor.Next() : cursor.Previous(), expected);
    if (!expected) {
      ASSERT_TRUE(cursor.LowerBound(Number(500)));
      at = *model.lower_bound(Number(500));
      continue;
    }
    at = forward ? *next : *std::prev(next);
    ASSERT_EQ(EntryOf(cursor.key(), cursor.row()), at);
  }
}

TEST(IndexCursor, FindsItsPlaceAgainWhenAChangeIsUndone) {
  Bench bench;
  for (std::uint32_t i = 0; i < 2000; i += 2) bench.tree.Insert(Number(i), Row(i));
  IndexTree::Cursor cursor(bench.tree);
  ASSERT_TRUE(cursor.LowerBound(Number(1000)));
  {
    const Savepoint savepoint(bench.pager);
    for (std::uint32_t i = 1; i < 2000; i += 2) bench.tree.Insert(Number(i), Row(i));
    ASSERT_TRUE(cursor.Next());
    EXPECT_EQ(cursor.row(), Row(1001));
  }
  ASSERT_TRUE(cursor.Next());
  EXPECT_EQ(cursor.row(), Row(1002));
  EXPECT_TRUE(bench.tree.Insert(Number(5000), Row(5000))) << "the last leaf before the undo is not trusted";
  EXPECT_THAT(ExamineTree(bench.pager, bench.root, kTable).faults, IsEmpty());
  EXPECT_EQ(ExamineTree(bench.pager, bench.root, kTable).entries.size(), 1001u);
}

TEST(IndexTree, TakesOverTreesThatListTheirLastChild) {
  Bench bench;
  std::set<Key> model;
  for (std::uint32_t i = 0; i < 2000; ++i) {
    bench.tree.Insert(Number(i), Row(i));
    model.insert(EntryOf(Number(i), Row(i)));
  }
  {  // the tail child becomes a listed one
    const PageEdit edit = bench.pager.Edit(bench.root);
    IndexPageEdit node(edit);
    Key entry = *model.rbegin();
    for (const unsigned shift : {24u, 16u, 8u, 0u})
      entry.push_back(static_cast<std::byte>(node.tail() >> shift & 0xFF));
    EntryList list;
    ASSERT_TRUE(node.Insert(node.End(), entry, list));
    node.SetTail(0);
  }
  EXPECT_EQ(bench.tree.Find(Number(1999)), Row(1999));
  EXPECT_EQ(bench.tree.Find(Number(2000)), std::nullopt);
  for (std::uint32_t i = 2000; i < 4000; ++i) {
    IndexTree(bench.pager, bench.root, kTable, &bench.pages).Insert(Number(i), Row(i));
    model.insert(EntryOf(Number(i), Row(i)));
  }
  bench.Expect(model);
}

TEST(IndexTree, RefusesKeysThatNoPageCouldDivide) {
  Bench bench;
  EXPECT_TRUE(bench.tree.Insert(Key(IndexTree::kMaxKey, std::byte{1}), Row(0)));
  const Key too_long(IndexTree::kMaxKey + 1, std::byte{1});
  EXPECT_EQ(test::NumberOf([&] { bench.tree.Insert(too_long, Row(1)); }), common::kCannotBuildKey);
}

}  // namespace
}  // namespace corvix::jet
