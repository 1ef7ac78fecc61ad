// Index trees of every shape, built by the writer and judged by walking, seeking and the structure checker.
#include <algorithm>
#include <map>
#include <random>

#include "foxpro/tables.h"
#include "storage/foxpro/key_sorter.h"

namespace corvix::foxpro {
namespace {

struct Shape {
  const char* name;
  std::size_t count;
  std::uint8_t width;
  int letters;           // size of the alphabet: few letters make many equal keys
  std::uint32_t levels;  // that the tree must reach
};

class IndexTrees : public testing::TestWithParam<Shape> {};

TEST_P(IndexTrees, WalkAndSeekAsASortedListWould) {
  const Shape& shape = GetParam();
  std::mt19937 random(20020305);
  const auto number = [&](std::size_t below) { return random() % below; };
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < shape.count; ++i) {
    std::string key(number(shape.width + std::size_t{1}), ' ');
    if (shape.width > 100) key.resize(shape.width);  // full width, so that two keys fill a leaf
    for (char& c : key) c = static_cast<char>('A' + number(static_cast<std::size_t>(shape.letters)));
    keys.push_back((number(10) == 0 ? "*" : "") + key);
  }
  storage::MemoryFileSystem files;
  MakeKeys(files, keys, shape.width,
           {{.name = "UP", .key = "KEY"}, {.name = "DOWN", .key = "KEY", .descending = true}});

  const TableReport report = CheckTable(files, kDirectory, "T");
  EXPECT_EQ(ProblemsOf(files), "");
  ASSERT_EQ(report.facts.tags.size(), 2u);
  EXPECT_EQ(report.facts.tags[1].levels, shape.levels);
  EXPECT_EQ(report.facts.tags[1].entries, shape.count);
  EXPECT_TRUE(report.facts.tags[1].keys_compared);

  std::vector<std::pair<std::string, std::uint32_t>> live;
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    if (keys[i].starts_with('*')) continue;
    live.emplace_back(fmt::format("{:{}}", keys[i], shape.width), i + 1);
  }
  std::ranges::sort(live);
  std::vector<std::uint32_t> expected;
  for (const auto& [key, record] : live) expected.push_back(record);
  const auto records = Open(files);
  EXPECT_EQ(records->RecordCount(), static_cast<std::int32_t>(live.size()));
  EXPECT_EQ(Walk(*records, "UP"), expected);
  std::ranges::reverse(expected);
  EXPECT_EQ(Walk(*records, "DOWN"), expected);

  std::map<std::string, std::pair<std::uint32_t, std::uint32_t>> first_and_last;
  for (const auto& [key, record] : live) {
    first_and_last.try_emplace(key, record, record).first->second.second = record;
  }
  for (const char* tag : {"UP", "DOWN"}) {
    records->SelectIndex(tag);
    for (std::size_t i = 0; i < keys.size(); i += 1 + keys.size() / 500) {
      std::string key = keys[i].substr(keys[i].starts_with('*') ? 1 : 0);
      for (const std::string& sought : {key, key + "A", key.substr(0, key.size() / 2)}) {
        const auto found = first_and_last.find(fmt::format("{:{}}", sought, shape.width));
        std::uint32_t record = 0;
        if (found != first_and_last.end()) record = *tag == 'U' ? found->second.first : found->second.second;
        ASSERT_EQ(Seek(*records, sought), record) << tag << " '" << sought << "'";
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, IndexTrees,
                         testing::Values(Shape{"Empty", 0, 35, 26, 1}, Shape{"One", 1, 35, 26, 1},
                                         Shape{"OneLeafOfOneByte", 200, 1, 4, 1},
                                         Shape{"ManyEqual", 5000, 3, 2, 2},
                                         Shape{"Addresses", 20000, 35, 26, 4}, Shape{"Wide", 40, 240, 26, 6},
                                         Shape{"Pairs", 24, 200, 26, 5},
                                         Shape{"BigRecordNumbers", 70000, 4, 26, 3}),
                         [](const auto& shape) { return shape.param.name; });

TEST(IndexTrees, KeysBeyondTheBudgetAreSortedInParts) {
  std::mt19937 random(7);
  KeySorter in_parts(2, 600);
  std::vector<std::pair<std::string, std::uint32_t>> expected;
  for (std::uint32_t record = 1000; record > 0; --record) {
    std::string key{static_cast<char>('A' + random() % 26), static_cast<char>('A' + random() % 26)};
    in_parts.Add(storage::AsBytes(key), record);
    expected.emplace_back(std::move(key), record);
  }
  std::ranges::sort(expected);
  in_parts.Sort();
  for (const auto& [key, record] : expected) {
    ASSERT_TRUE(in_parts.Next());
    ASSERT_EQ(storage::AsText(in_parts.Key()), key);
    ASSERT_EQ(in_parts.Record(), record);
  }
  EXPECT_FALSE(in_parts.Next());
}

TEST(IndexTrees, MoreTagsThanOnePageOfTheDirectory) {
  storage::MemoryFileSystem files;
  std::vector<NewTag> tags;
  for (int i = 0; i < 120; ++i) tags.push_back({.name = fmt::format("TAG{:07}", i * 7919), .key = "KEY"});
  MakeKeys(files, {"B", "A"}, 3, tags);
  EXPECT_EQ(ProblemsOf(files), "");
  const auto records = Open(files);
  EXPECT_EQ(records->Tags().size(), 120u);
  EXPECT_THAT(Walk(*records, tags[60].name), testing::ElementsAre(2, 1));
}

TEST(IndexTrees, NullsComeFirstUnderTheByteThatTellsThem) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T",
                      {.fields = {{"C", 'C', 3, 0, descriptor::kNullable},
                                  {"I", 'I', 4, 0, descriptor::kNullable},
                                  {"_NullFlags", '0', 1}},
                       .tags = {{.name = "C", .key = "C"}, {.name = "I", .key = "I"}},
                       .version = DbfVersion::Visual});
  for (const auto& [text, integer, flags] :
       {std::tuple("b", "\1\0\0\0", "\1"), {"", "\2\0\0\0", "\0"}, {"a", "\0\0\0\0", "\2"}}) {
    writer.SetRaw(0, text);
    writer.SetRaw(1, std::string_view(integer, 4));
    writer.SetRaw(2, std::string_view(flags, 1));
    writer.Append();
  }
  writer.Finish();
  EXPECT_EQ(ProblemsOf(files), "");
  const auto records = Open(files);
  EXPECT_THAT(Walk(*records, "C"), testing::ElementsAre(1, 2, 3));
  EXPECT_EQ(Seek(*records, "a"), 3u);
  EXPECT_EQ(Seek(*records, ""), 2u) << "blank is not Null in a key";
  EXPECT_THAT(Walk(*records, "I"), testing::ElementsAre(3, 1, 2));
  EXPECT_EQ(Seek(*records, "2"), 2u);
}

}  // namespace
}  // namespace corvix::foxpro
