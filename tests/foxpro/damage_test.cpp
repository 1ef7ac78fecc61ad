// Damaged files: told apart, named, never believed. The sweeps at the end also run under the sanitizers.
#include <random>

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

TEST_F(DamagedIndex, BrokenChainsEndTheWalkWithAnError) {
  std::vector<std::string> keys;
  for (int i = 0; i < 300; ++i) keys.push_back(fmt::format("{:010}", i * 7919 % 1000003));
  Make(keys);
  Put(kFirstPage + 512 + 8,
      std::string_view("\x00\x0A\x00\x00", 4));  // the second leaf points back to the first
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("do not name each other as neighbours"));
  const auto records = Open(files_);
  records->SelectIndex("KEY");
  std::size_t moves = 0;
  const auto walk = [&] {
    for (records->MoveFirst(); !records->PastEnd(); records->MoveNext()) ++moves;
  };
  EXPECT_THAT(ErrorOf(walk), AllOf(StartsWith("3049: The index is damaged"), HasSubstr("T.CDX, page at"),
                                   HasSubstr("rebuild it")));
  EXPECT_LT(moves, keys.size()) << "no record comes twice";

  Make(keys);
  const std::uint32_t root = storage::ReadLittle<std::uint32_t>(Index(), kHeader);
  std::string itself(4, '\0');
  storage::WriteBig<std::uint32_t>(std::as_writable_bytes(std::span(itself)), 0, root);
  Put(root + 12 + 14, itself);  // the first child of the root is the root
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("reached twice"));
  EXPECT_THAT(ErrorOf([&] { Walk(*Open(files_), "KEY"); }), HasSubstr("levels do not end"));
}

TEST_F(DamagedIndex, AnUnreadableIndexDoesNotKeepTheTableFromOpening) {
  Make({"A", "B"});
  Index().resize(700);
  const auto records = Open(files_);
  EXPECT_THAT(Walk(*records), testing::ElementsAre(1, 2));
  EXPECT_THAT(ErrorOf([&] { records->SelectIndex("KEY"); }), AllOf(StartsWith("3049"), HasSubstr("T.CDX")));
  EXPECT_TRUE(records->Tags().empty());
}

TEST_F(DamagedIndex, RecordsThatTheTableLacksAreSkippedAndReported) {
  Make({"A", "B", "C"});
  auto& table = files_.Contents(kDirectory / "T.DBF");
  table[4] = std::byte{2};
  const auto records = Open(files_);
  EXPECT_THAT(Walk(*records, "KEY"), testing::ElementsAre(1, 2));
  EXPECT_EQ(Seek(*records, "C"), 0u);
  EXPECT_THAT(ProblemsOf(files_), HasSubstr("names record 3, the table has 2"));
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
