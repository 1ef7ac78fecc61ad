// Damaged files: told apart, named, never believed. The sweeps at the end also run under the sanitizers.
#include <functional>
#include <random>
#include <set>

#include "foxpro/tables.h"

namespace corvix::foxpro {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class DamagedIndex : public testing::Test {
 protected:
  /// Offsets in the index of MakeKeys: the tag's header behind the directory, its first page behind the
  /// header.
  static constexpr std::size_t kHeader = 0x600;
  static constexpr std::size_t kFirstPage = 0xA00;

  void Make(const std::vector<std::string>& keys, std::uint8_t width = 10) { MakeKeys(files_, keys, width); }
  std::vector<std::byte>& Index() { return files_.Contents(kDirectory / "T.CDX"); }
  void Put(std::size_t offset, std::string_view bytes) {
    std::ranges::copy(storage::AsBytes(bytes), Index().begin() + static_cast<std::ptrdiff_t>(offset));
  }

  storage::MemoryFileSystem files_;
};

TEST_F(DamagedIndex, KeysOutOfOrderAreStillFound) {
  Make({"A", "B", "C"}, 1);
  Put(kFirstPage + 510, "Z");  // the key of record 2
  EXPECT_THAT(ProblemsOf(files_),
              AllOf(HasSubstr("does not come after"), HasSubstr("record 2: the index holds the key 'Z'")));
  const auto records = Open(files_);
  EXPECT_THAT(Walk(*records, "KEY"), testing::ElementsAre(1, 2, 3));
  EXPECT_EQ(Seek(*records, "C"), 3u);
  records->SetBookmark({1});
  records->MoveNext();
  EXPECT_EQ(records->RecordNumber(), 2);
}

TEST_F(DamagedIndex, ParentsThatDoNotFitTheirChildrenDoNotHideRecords) {
  std::vector<std::string> keys;
  for (int i = 0; i < 300; ++i) keys.push_back(fmt::format("{:010}", i * 7919 % 1000003));
  Make(keys);
  const std::uint32_t root = storage::ReadLittle<std::uint32_t>(Index(), kHeader);
  ASSERT_GT(root, kFirstPage);
  Put(root + 12, "0000000000");  // the first child's greatest key
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("is not the last entry of its child"));
  const auto records = Open(files_);
  records->SelectIndex("KEY");
  for (std::uint32_t i = 0; i < keys.size(); ++i) EXPECT_EQ(Seek(*records, keys[i]), i + 1);
}

/// What an office may find beside its table. The table stays as it is but for what a case does to it.
TEST_F(DamagedIndex, AnIndexThatDoesNotFitIsReplacedAndToldWhy) {
  std::vector<std::string> keys;
  for (int i = 0; i < 300; ++i) keys.push_back(fmt::format("{:05}", i * 7919 % 10007));
  const std::uint32_t root = [&] {
    Make(keys);
    return storage::ReadLittle<std::uint32_t>(Index(), kHeader);
  }();
  auto& table = files_.Contents(kDirectory / "T.DBF");
  const auto add_record = [&](std::string_view key) {
    table.back() = std::byte{' '};
    std::ranges::copy(storage::AsBytes(fmt::format("{:10}\x1A", key)), std::back_inserter(table));
  };
  const auto replace_index = [&](const std::vector<std::string>& others) {
    storage::MemoryFileSystem elsewhere;
    MakeKeys(elsewhere, others);
    Index() = elsewhere.Contents(kDirectory / "T.CDX");
  };
  std::string itself(4, '\0');
  storage::WriteBig<std::uint32_t>(std::as_writable_bytes(std::span(itself)), 0, root);
  const struct {
    std::function<void()> damage;
    const char* told;
    std::size_t live = 300;
  } kCases[] = {
      {[] {}, ""},
      {[&] { table[65] = std::byte{'*'}; }, "", 299},
      {[&] { Put(kFirstPage + 512 + 8, std::string_view("\x00\x0A\x00\x00", 4)); }, "its tree is damaged: "},
      {[&] { Put(root + 12 + 14, itself); }, "its tree is damaged: the page is reached twice"},
      {[&] { Put(root + 12, "0000000000"); }, "its tree is damaged: entry 0 is not the last entry"},
      {[&] { Index().resize(700); }, "T.CDX cannot be read: "},
      {[&] { files_.Remove(kDirectory / "T.CDX"); }, "the index file T.CDX is missing"},
      {[&] { Put(0x400 + 512 - 3, "yek"); }, "T.CDX has no tag KEY"},
      {[&] { Put(0x800, std::string_view("\0", 1)); }, "T.CDX has no tag KEY"},
      {[&] {
         replace_index({"B", "A"});
       },
       "live records without an entry: 298 (the first: record 3), entries with another key than their "
       "record: 2"},
      {[&] {
         auto others = keys;
         std::ranges::rotate(others, others.begin() + 1);
         others.push_back("X");
         replace_index(others);
       },
       "entries with another key than their record: 300 (the first: record 1), entries of records that"},
      {[&] { table[66 + 11] = std::byte{'X'}; },
       "entries with another key than their record: 1 (the first: record 2)"},
      {[&] {
         add_record("NEW");
         table[4] = std::byte{301 & 0xFF};
       },
       "live records without an entry: 1 (the first: record 301)", 301},
      {[&] {
         add_record("NEW");
         add_record("NEWER");
       },
       "the header of T.DBF counts 300 records, the file holds 302", 302},
      {[&] {
         table.back() = std::byte{' '};
         table.push_back(std::byte{'N'});
       },
       "T.DBF ends with the first 2 bytes of a record", 300},
  };
  for (const auto& each : kCases) {
    Make(keys);
    each.damage();
    SCOPED_TRACE(each.told);
    const auto before = table;
    const auto records = Open(files_);
    const auto walk = Walk(*records, "KEY");
    EXPECT_THAT(records->RebuiltIndex(), HasSubstr(each.told));
    EXPECT_EQ(records->RebuiltIndex().empty(), !*each.told);
    EXPECT_EQ(walk.size(), each.live);
    EXPECT_EQ(records->RecordCount(), static_cast<std::int32_t>(each.live));
    EXPECT_EQ((std::set<std::uint32_t>{walk.begin(), walk.end()}.size()), each.live)
        << "no record comes twice";
    std::string last;
    for (const std::uint32_t number : walk) {
      records->SetBookmark({number});
      const std::string key = TextOf(*records);
      EXPECT_LE(last, key);
      EXPECT_EQ(Seek(*records, key), number);
      last = key;
    }
    if (std::string_view(each.told) !=
        "T.CDX has no tag KEY") {  // the checker does not know which are wanted
      EXPECT_EQ(ProblemsOf(files_).empty(), !*each.told) << ProblemsOf(files_);
    }
    EXPECT_EQ(table, before);
  }
  Make(keys);
  table[0x41] = std::byte{' '};
  Put(0x800, "K?Y");
  EXPECT_THAT(ErrorOf([&] { Open(files_)->SelectIndex("KEY"); }),
              AllOf(StartsWith("3015"), HasSubstr("'K?Y'")));
}

/// The index is compared when it is selected; what changes the table later is noticed record by record.
TEST_F(DamagedIndex, ARecordWithAnotherKeyThanTheSoughtOneIsNotUsed) {
  std::vector<std::string> keys(500, "A");
  keys[250] = "B";
  Make(keys);
  const auto records = Open(files_);
  records->SelectIndex("KEY");
  files_.Contents(kDirectory / "T.DBF")[65 + 250 * 11 + 1] = std::byte{'X'};
  EXPECT_EQ(Seek(*records, "B"), 0u);
  EXPECT_EQ(records->RebuiltIndex(), "");
}

TEST_F(DamagedIndex, StaleIndexesAreReported) {
  Make({"A", "B", "C"});
  auto& table = files_.Contents(kDirectory / "T.DBF");
  table[65 + 11 + 1] = std::byte{'X'};  // key of record 2
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("record 2: the index holds the key 'B', the record gives 'X'"));
  // A record that was appended without the index.
  table.back() = std::byte{' '};
  table.insert(table.end(), 10, std::byte{'Z'});
  table[4] = std::byte{4};
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("record 4: the record has no entry"));
}

TEST_F(DamagedIndex, SequencesOtherThanBytesAreWalkedAndSearchedByTheRecords) {
  Make({"xyz", "Abc", "*ABC", "abc"}, 3);
  Put(kHeader + 494, "GENERAL");
  const auto records = Open(files_);
  EXPECT_THAT(Walk(*records, "KEY"), testing::ElementsAre(2, 4, 1)) << "as the tree has them";
  EXPECT_EQ(Seek(*records, "ABC"), 2u) << "capital and small letters weigh the same";
  EXPECT_EQ(Seek(*records, "XYZ"), 1u);
  EXPECT_EQ(Seek(*records, "AB"), 0u);
  EXPECT_EQ(ProblemsOf(files_), "");
}

TEST(DamagedTable, CutTablesAreRefusedAtEveryLength) {
  storage::MemoryFileSystem files;
  MakeKeys(files, {"A", "B", "C"});
  const auto whole = files.Contents(kDirectory / "T.DBF");
  for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
    files.Contents(kDirectory / "T.DBF")
        .assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THAT(ErrorOf([&] { Open(files); }),
                AllOf(StartsWith("3049"), HasSubstr("T.DBF"), HasSubstr("copy the table again")))
        << size;
    EXPECT_NE(ProblemsOf(files), "") << size;
  }
  files.Contents(kDirectory / "T.DBF").assign(whole.begin(), whole.end() - 1);
  EXPECT_EQ(ProblemsOf(files), "") << "the end mark may be missing";
}

TEST(DamagedTable, HeadersThatContradictThemselvesAreRefused) {
  const struct {
    std::size_t offset;
    int value;
    const char* text;
  } kCases[] = {{10, 12, "The fields take 11 bytes"},
                {10, 0, "The fields take"},
                {8, 0xFF, "first record"},
                {8, 3, "first record"},
                {8, 40, "The fields take 1 bytes"},
                {43, 'z', "type byte 0x7A"},
                {43, 'I', "type byte"},
                {48, 0, "length 0"},
                {7, 0x7F, "promises"}};
  for (const auto& [offset, value, text] : kCases) {
    storage::MemoryFileSystem files;
    MakeKeys(files, {"A", "B", "C"});
    files.Contents(kDirectory / "T.DBF")[offset] = static_cast<std::byte>(value);
    EXPECT_THAT(ErrorOf([&] { Open(files); }), AllOf(StartsWith("3049"), HasSubstr(text))) << offset;
  }
}

/// Everything that a user of a table does; errors of the engine are fine, anything else fails the test.
void UseTable(storage::FileSystem& files) {
  try {
    const auto records = Open(files, "HOMES");
    std::uint64_t moves = 0;
    constexpr std::uint64_t kMostMoves = 200000;  // far above the entries of the sound index
    const auto walk = [&] {
      for (records->MoveFirst(); !records->PastEnd(); records->MoveNext()) {
        ASSERT_LT(++moves, kMostMoves) << "the walk does not end";
        for (std::size_t i = 0; i < records->Fields().size(); ++i) {
          try {
            records->Read(i);
            TextOf(*records, i);
          } catch (const common::Error&) {
          }
        }
      }
    };
    walk();
    for (const Tag& tag : records->Tags()) {
      try {
        records->SelectIndex(tag.name);
        records->SeekEqual("50 OAK ST");
        records->SeekEqual("3");
        walk();
        records->SetBookmark({1});
        records->MoveNext();
      } catch (const common::Error&) {
      }
    }
  } catch (const common::Error&) {
  }
  CheckTable(files, kDirectory, "HOMES");
}

TEST(DamageSweep, NothingCrashesOrHangs) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(
      files, kDirectory, "HOMES",
      {.fields =
           {{"KEY", 'C', 35}, {"PRICE", 'N', 10, 2}, {"DAY", 'D', 8}, {"POOL", 'L', 1}, {"NOTE", 'M', 10}},
       .tags = {{.name = "KEY", .key = "UPPER(KEY)"},
                {.name = "PRICE", .key = "PRICE", .condition = "!DELETED()", .descending = true}}});
  for (int i = 0; i < 80; ++i) {
    writer.SetText(0, fmt::format("{} Oak St", i * 37 % 101));
    writer.SetNumber(1, i * 1000 - 5000);
    writer.SetDate(2, {1900 + i, 1 + i % 12, 1 + i % 28});
    if (i % 3 == 0) writer.SetMemo(4, std::string(static_cast<std::size_t>(i), 'm'));
    if (i % 11 == 0) writer.SetDeleted();
    writer.Append();
  }
  writer.Finish();
  UseTable(files);

  std::mt19937 random(1993);
  for (const char* name : {"HOMES.DBF", "HOMES.CDX", "HOMES.FPT"}) {
    SCOPED_TRACE(name);
    auto& bytes = files.Contents(kDirectory / name);
    const auto whole = bytes;
    for (std::size_t size = 0; size < whole.size(); size += 1 + whole.size() / 40) {
      bytes.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      UseTable(files);
    }
    for (int round = 0; round < 250; ++round) {
      SCOPED_TRACE(round);
      bytes = whole;
      // Mostly the structures at the beginning, and one to eight bytes at once.
      const std::size_t span = round % 2 == 0 ? std::min<std::size_t>(whole.size(), 2560) : whole.size();
      for (unsigned flips = 1 + random() % 8; flips > 0; --flips)
        bytes[random() % span] = static_cast<std::byte>(random());
      UseTable(files);
    }
    bytes = whole;
  }
  EXPECT_EQ(ProblemsOf(files, "HOMES"), "");
}

}  // namespace
}  // namespace corvix::foxpro
