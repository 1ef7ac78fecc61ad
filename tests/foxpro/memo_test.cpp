#include "foxpro/tables.h"
#include "storage/foxpro/memo_file.h"
#include "storage/foxpro/memo_writer.h"

namespace corvix::foxpro {
namespace {

std::string TextOfLength(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('a' + i % 26);
  return text;
}

TEST(MemoFile, MemosOfEveryLengthComeBackWhateverTheBlockSize) {
  const std::size_t kLengths[] = {0, 1, 24, 25, 26, 55, 56, 57, 120, 121, 504, 505, 1016, 4096, 70000, 1};
  for (const int block_size : {1, 33, 64, 512, 16384}) {
    storage::MemoryFileSystem files;
    FoxProWriter writer(
        files, kDirectory, "T",
        {.fields = {{"TEXT", 'M', 10}}, .memo_block_size = static_cast<std::uint16_t>(block_size)});
    for (const std::size_t length : kLengths) {
      writer.SetMemo(0, TextOfLength(length));
      writer.Append();
    }
    writer.Finish();
    EXPECT_EQ(ProblemsOf(files), "") << block_size;
    const auto records = Open(files);
    for (const std::size_t length : kLengths) {
      EXPECT_EQ(records->Read(0), core::Value(TextOfLength(length))) << block_size;
      records->MoveNext();
    }
  }
}

/// A table of version 0x83 or 0x8B whose records point at the memos of the given file.
std::unique_ptr<FoxProRecordSet> OpenWithDbt(storage::MemoryFileSystem& files, DbfVersion version,
                                             const std::string& memo_file, const std::vector<int>& blocks) {
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"TEXT", 'M', 10}}, .version = version});
  for (const int block : blocks) {
    writer.SetRaw(0, fmt::format("{:10}", block));
    writer.Append();
  }
  writer.Finish();
  files.Open(kDirectory / "t.dbt", storage::OpenMode::Create)->WriteAt(0, storage::AsBytes(memo_file));
  return Open(files);
}

TEST(MemoFile, MemosOfDBase) {
  storage::MemoryFileSystem files;
  std::string file(512, '\0');
  file[0] = 4;
  file += std::string("first\x1A\x1A") + std::string(505, 'x');
  file += std::string(600, 'y') + "\x1A" + std::string(423, '\0') + "to the end";
  const auto three = OpenWithDbt(files, DbfVersion::DBase3Memo, file, {1, 2, 4});
  EXPECT_EQ(TextOf(*three), "first");
  three->MoveNext();
  EXPECT_EQ(TextOf(*three), std::string(600, 'y'));
  three->MoveNext();
  EXPECT_EQ(TextOf(*three), "to the end");

  file.assign(512, '\0');
  file[21] = 2;  // block size 512
  file += std::string("\xFF\xFF\x08\x00\x0D\x00\x00\x00", 8) + "fifth" + std::string(499, 'x');
  const auto four = OpenWithDbt(files, DbfVersion::DBase4Memo, file, {1, 0});
  EXPECT_EQ(TextOf(*four), "fifth");
  four->MoveNext();
  EXPECT_EQ(TextOf(*four), "-");
}

/// Memos that claim the rest of a large file, and ones that begin in the middle of others.
TEST(MemoFile, LengthsAreMeasuredBeforeTheyAreFollowed) {
  storage::MemoryFileSystem files;
  constexpr int kRecords = 2000;
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"TEXT", 'M', 10}}});
  for (int i = 0; i < kRecords; ++i) {
    writer.SetMemo(0, TextOfLength(500));
    writer.Append();
  }
  writer.Finish();
  auto& memos = files.Contents(kDirectory / "T.FPT");
  const auto read_all = [&] {
    const auto records = Open(files);
    std::size_t bytes = 0;
    for (; !records->PastEnd(); records->MoveNext()) {
      ErrorOf([&] { bytes += TextOf(*records).size(); });
    }
    return bytes;
  };
  EXPECT_EQ(read_all(), kRecords * 500u);
  memos[6] = memos[7] = std::byte{0};  // a block size of 1
  EXPECT_LT(read_all(), 10 * memos.size());
  memos[7] = std::byte{64};
  memos[512 + 4] = std::byte{0xFF};  // past the end
  EXPECT_LT(TextOf(*Open(files)).size(), 2 * kLongestCutMemo) << "in UTF-8";
  memos.resize(memos.size() + kLongestMemo + 512);
  memos[512 + 4] = std::byte{1};
  EXPECT_THAT(ErrorOf([&] { TextOf(*Open(files)); }), testing::HasSubstr("more than a memo has"));
  EXPECT_EQ(Open(files)->UnreadableText(0), "8");
}

TEST(MemoFile, DamageIsNamedAndNeverReadBeyondTheFile) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"TEXT", 'M', 10}}});
  for (const char* pointer : {"", "         7", "9999999999", "       abc", "        99"}) {
    writer.SetMemo(0, "something");
    if (*pointer) writer.SetRaw(0, pointer);
    writer.Append();
  }
  writer.Finish();
  files.Contents(kDirectory / "T.FPT")[512 + 4] = std::byte{0xFF};  // length of the first memo
  const std::string problems = ProblemsOf(files);
  EXPECT_THAT(problems, testing::HasSubstr("record 1, field TEXT: the memo at block 8 should end at"));
  EXPECT_THAT(problems, testing::HasSubstr("record 4, field TEXT: the bytes are no block number"));

  const auto records = Open(files);
  const std::size_t rest = files.Contents(kDirectory / "T.FPT").size() - 520;
  EXPECT_EQ(TextOf(*records).size(), rest) << "as much as there is";
  for (const char* number : {"2", "3", "5"}) {
    while (records->RecordNumber() != *number - '0') records->MoveNext();
    EXPECT_THAT(ErrorOf([&] { records->Read(0); }),
                testing::AllOf(testing::StartsWith("3049: Memo block"),
                               testing::HasSubstr(fmt::format("T.DBF, record {}, field TEXT", number))));
  }
}

}  // namespace
}  // namespace corvix::foxpro
