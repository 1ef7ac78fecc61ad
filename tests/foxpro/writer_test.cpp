// The writer, byte by byte: the worked examples of docs/formats/foxpro.md are made here.
#include "foxpro/tables.h"

namespace corvix::foxpro {
namespace {

std::string Hex(storage::MemoryFileSystem& files, const char* name, std::size_t offset, std::size_t length) {
  std::string hex;
  const auto& bytes = files.Contents(kDirectory / name);
  for (const std::byte b : storage::Slice(storage::ByteView(bytes), offset, length)) {
    hex += fmt::format("{}{:02x}", hex.empty() ? "" : " ", std::to_integer<unsigned>(b));
  }
  return hex;
}

class WrittenTable : public testing::Test {
 protected:
  void SetUp() override {
    FoxProWriter writer(
        files_, kDirectory, "HOUSE",
        {.fields = {{"CENTRALKEY", 'C', 20}, {"PRICE", 'N', 8, 2}, {"NOTES", 'M', 10}},
         .tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"},
                  {.name = "PRICE", .key = "PRICE", .condition = "PRICE>0", .descending = true}},
         .language_driver = 0x03});
    for (const auto& [key, price] :
         {std::pair("12 OAK ST", 99500.0), {"12 OAK STREET", 0.0}, {"12 OAK ST", -1.5}}) {
      writer.SetText(0, key);
      writer.SetNumber(1, price);
      writer.SetMemo(2, "Corner lot");
      writer.Append();
    }
    writer.Finish();
  }
  storage::MemoryFileSystem files_;
};

TEST_F(WrittenTable, TableFile) {
  EXPECT_EQ(
      Hex(files_, "HOUSE.DBF", 0, 32),
      "f5 66 03 05 03 00 00 00 81 00 27 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 03 00 00");
  EXPECT_EQ(
      Hex(files_, "HOUSE.DBF", 64, 32),
      "50 52 49 43 45 00 00 00 00 00 00 4e 15 00 00 00 08 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  const std::string body(storage::AsText(files_.Contents(kDirectory / "HOUSE.DBF")).substr(128));
  EXPECT_EQ(body,
            "\r"
            " 12 OAK ST           99500.00         8"
            " 12 OAK STREET           0.00         9"
            " 12 OAK ST              -1.50        10"
            "\x1A");
}

TEST_F(WrittenTable, MemoFile) {
  EXPECT_EQ(Hex(files_, "HOUSE.FPT", 0, 8), "00 00 00 0b 00 00 00 40");
  EXPECT_EQ(Hex(files_, "HOUSE.FPT", 512, 20), "00 00 00 01 00 00 00 0a 43 6f 72 6e 65 72 20 6c 6f 74 00 00");
}

TEST_F(WrittenTable, IndexFile) {
  // Directory: root at 0x400, keys of 10 bytes, options E0; two tags, their headers at 0x600 and 0xC00.
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0, 16), "00 04 00 00 00 00 00 00 00 00 00 00 0a 00 e0 01");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x1F4, 12), "00 00 00 00 01 00 01 00 00 00 01 00");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x400, 24),
            "03 00 02 00 ff ff ff ff ff ff ff ff d3 01 ff ff 00 00 0f 0f 10 04 04 03");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x418, 6), "00 06 00 00 0c 50");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x5F1, 15),
            "50 52 49 43 45 43 45 4e 54 52 41 4c 4b 45 59");  // PRICE CENTRALKEY

  // The tag CENTRALKEY: a leaf of three keys. The second repeats the first, the third adds REET.
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x600, 16), "00 0a 00 00 00 00 00 00 00 00 00 00 14 00 60 01");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0xA00, 24),
            "03 00 03 00 ff ff ff ff ff ff ff ff d5 01 3f 00 00 00 1f 1f 06 05 05 02");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0xA18, 6), "01 58 43 5a 42 3a");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0xBF3, 13), "52 45 45 54 31 32 20 4f 41 4b 20 53 54");  // REET 12 OAK ST

  // The tag PRICE: descending, one entry that passes its condition; 99500 as key.
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0xC00, 16), "00 10 00 00 00 00 00 00 00 00 00 00 08 00 68 01");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0xDF6, 10), "01 00 06 00 08 00 00 00 06 00");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x1018, 2), "01 40");
  EXPECT_EQ(Hex(files_, "HOUSE.CDX", 0x11FC, 4), "c0 f8 4a c0");
  EXPECT_EQ(ProblemsOf(files_, "HOUSE"), "");
}

TEST(FoxProWriter, InteriorPagesRepeatTheGreatestEntryOfEachChild) {
  storage::MemoryFileSystem files;
  std::vector<std::string> keys;
  for (int i = 0; i < 100; ++i) keys.push_back(fmt::format("{:03} OAK ST", i * 37 % 100));
  MakeKeys(files, keys);
  EXPECT_EQ(Hex(files, "T.CDX", 0x600, 4), "00 10 00 00");
  EXPECT_EQ(Hex(files, "T.CDX", 0x1000, 12), "01 00 03 00 ff ff ff ff ff ff ff ff");
  EXPECT_EQ(Hex(files, "T.CDX", 0x100C, 18), "30 34 37 20 4f 41 4b 20 53 54 00 00 00 20 00 00 0a 00");
  EXPECT_EQ(Hex(files, "T.CDX", 0x101E, 18), "30 39 35 20 4f 41 4b 20 53 54 00 00 00 24 00 00 0c 00");
  EXPECT_EQ(Hex(files, "T.CDX", 0x1030, 18), "30 39 39 20 4f 41 4b 20 53 54 00 00 00 1c 00 00 0e 00");
}

TEST(FoxProWriter, PaddingIsNeverCountedAsRepeated) {
  storage::MemoryFileSystem files;
  MakeKeys(files, {"", " A", "  A"});
  // Three keys that begin with blanks: the blank one is all padding, so the next one repeats nothing of it.
  EXPECT_EQ(Hex(files, "T.CDX", 0xA18, 6), "01 a0 03 70 02 81");
  EXPECT_EQ(Hex(files, "T.CDX", 0xBFC, 4), "41 20 20 41");
}

TEST(FoxProWriter, RefusesWhatATableCannotHold) {
  storage::MemoryFileSystem files;
  const auto make = [&](NewTable table) {
    return ErrorOf([&] {
      FoxProWriter writer(files, kDirectory, "T", std::move(table));
      writer.Finish();
    });
  };
  using testing::StartsWith;
  EXPECT_THAT(make({.fields = {}}), StartsWith("5: "));
  EXPECT_THAT(make({.fields = {{"ELEVENCHARS", 'C', 5}}}), StartsWith("5: "));
  EXPECT_THAT(make({.fields = {{"D", 'D', 7}}}), StartsWith("3049: "));
  EXPECT_THAT(make({.fields = {{"C", 'C', 5}}, .tags = {{.name = "", .key = "C"}}}), StartsWith("5: "));
  EXPECT_THAT(make({.fields = {{"C", 'C', 5}}, .tags = {{.name = "T", .key = "D"}}}), StartsWith("3250: "));
  EXPECT_THAT(make({.fields = {{"C", 'C', 250}}, .tags = {{.name = "T", .key = "C"}}}), StartsWith("5: "));
  EXPECT_THAT(make({.fields = {{"C", 'C', 5}}, .tags = {{.name = "T", .key = "C", .condition = "C"}}}),
              StartsWith("5: "));

  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"C", 'C', 3}}, .language_driver = 0x01});
  EXPECT_THAT(ErrorOf([&] { writer.SetText(0, "four"); }), StartsWith("3163: "));
  EXPECT_THAT(ErrorOf([&] { writer.SetText(0, "€"); }), StartsWith("3421: "));
  EXPECT_THAT(ErrorOf([&] { writer.SetMemo(0, "x"); }), StartsWith("5: "));
  EXPECT_THAT(ErrorOf([&] { writer.SetRaw(1, "x"); }), StartsWith("5: "));
}

}  // namespace
}  // namespace corvix::foxpro
