// The record set over tables of our own: order, seek, position, and what is said when files are missing.
#include <chrono>

#include "foxpro/tables.h"
#include "storage/base/posix_file.h"
#include "support/temporary_directory.h"

namespace corvix::foxpro {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(FoxProRecordSet, DeletedRecordsAreNotThere) {
  storage::MemoryFileSystem files;
  MakeKeys(files, {"*A", "B", "*B", "*C", "B", "D", "*D", "*E"});
  const auto records = Open(files);
  EXPECT_EQ(records->RecordNumber(), 2) << "the first one that is live";
  EXPECT_EQ(records->RecordCount(), 3);
  EXPECT_THAT(Walk(*records), ElementsAre(2, 5, 6));
  EXPECT_THAT(Walk(*records, "key"), ElementsAre(2, 5, 6));
  EXPECT_EQ(Seek(*records, "A"), 0u);
  EXPECT_EQ(Seek(*records, "B"), 2u);
  EXPECT_EQ(Seek(*records, "C"), 0u);
  EXPECT_EQ(Seek(*records, "D"), 6u);
  EXPECT_THAT(ErrorOf([&] { records->SetBookmark({1}); }), StartsWith("3167"));
  EXPECT_THAT(ErrorOf([&] { records->SetBookmark({9}); }), StartsWith("3159"));

  MakeKeys(files, {"*A", "*B"});
  const auto none = Open(files);
  EXPECT_TRUE(none->PastEnd());
  EXPECT_FALSE(none->HasRow());
  EXPECT_EQ(none->RecordCount(), 0);
  EXPECT_THAT(Walk(*none, "KEY"), ElementsAre());
  EXPECT_EQ(Seek(*none, "A"), 0u);
  EXPECT_TRUE(none->PastEnd());
}

TEST(FoxProRecordSet, SeeksCompareWholeKeys) {
  storage::MemoryFileSystem files;
  MakeKeys(
      files,
      {"12 OAK ST", "12 OAK ST N", "", "  12 OAK ST", "12345678901", "12 oak st", "12 OAK ST", "\t", "é"},
      11);
  const auto records = Open(files);
  EXPECT_THAT(ErrorOf([&] { records->SeekEqual("x"); }), StartsWith("3019"));
  records->SelectIndex("KEY");
  const std::pair<const char*, std::uint32_t> kSeeks[] = {{"12 OAK ST", 1},
                                                          {"12 OAK ST     ", 1},
                                                          {"12 OAK ST N", 2},
                                                          {"12 OAK S", 0},
                                                          {"12 OAK ST ZZ", 0},
                                                          {"  12 OAK ST", 4},
                                                          {" 12 OAK ST", 0},
                                                          {"12345678901", 5},
                                                          {"123456789012", 0},
                                                          {"12 oak st", 6},
                                                          {"12 Oak St", 0},
                                                          {"", 3},
                                                          {"            ", 3},
                                                          {"\t", 8},
                                                          {"é", 9},
                                                          {"É", 0},
                                                          {"ж", 0}};
  for (const auto& [key, record] : kSeeks) EXPECT_EQ(Seek(*records, key), record) << "'" << key << "'";
}

TEST(FoxProRecordSet, TagsOfEveryKindGiveTheirOrder) {
  storage::MemoryFileSystem files;
  MakeKeys(files, {"b", "A", "*B", "a", "C", "b", "A"}, 3,
           {{.name = "PLAIN", .key = "KEY"},
            {.name = "DOWN", .key = "KEY", .descending = true},
            {.name = "UP", .key = "UPPER(KEY)"},
            {.name = "ONE", .key = "UPPER(KEY)", .unique = true},
            {.name = "LIVE", .key = "KEY", .condition = "!DELETED() .AND. KEY<>'C'"},
            {.name = "NUMBER", .key = "RECNO()", .descending = true}});
  EXPECT_EQ(ProblemsOf(files), "");
  const auto records = Open(files);
  EXPECT_EQ(records->Tags().size(), 6u);
  EXPECT_THAT(Walk(*records, "PLAIN"), ElementsAre(2, 7, 5, 4, 1, 6));
  EXPECT_THAT(Walk(*records, "DOWN"), ElementsAre(6, 1, 4, 5, 7, 2));
  EXPECT_EQ(Seek(*records, "b"), 6u) << "the first in the order of the tag";
  records->MoveNext();
  EXPECT_EQ(records->RecordNumber(), 1);
  EXPECT_EQ(Seek(*records, "B"), 0u);
  EXPECT_THAT(Walk(*records, "UP"), ElementsAre(2, 4, 7, 1, 6, 5));
  EXPECT_EQ(Seek(*records, "b"), 0u) << "the keys are capitals";
  EXPECT_EQ(Seek(*records, "B"), 1u) << "record 3 is deleted";
  EXPECT_EQ(records->RebuiltIndex(), "");
  EXPECT_THAT(Walk(*records, "ONE"), ElementsAre(2, 4, 7, 1, 6, 5)) << "no live record is left out";
  EXPECT_THAT(records->RebuiltIndex(),
              HasSubstr("live records without an entry, as it does not take all: 3"));
  EXPECT_THAT(Walk(*records, "LIVE"), ElementsAre(2, 7, 5, 4, 1, 6));
  EXPECT_EQ(Seek(*records, "C"), 5u);
  EXPECT_THAT(Walk(*records, "NUMBER"), ElementsAre(7, 6, 5, 4, 2, 1));
  EXPECT_EQ(Seek(*records, "4.0"), 4u);
}

TEST(FoxProRecordSet, SeekConvertsTheTextToTheTypeOfTheKey) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(
      files, kDirectory, "T",
      {.fields = {{"N", 'N', 9, 2}, {"D", 'D', 8}, {"L", 'L', 1}, {"I", 'I', 4}, {"Y", 'Y', 8}},
       .tags = {{.name = "N", .key = "N"},
                {.name = "D", .key = "D"},
                {.name = "L", .key = "L"},
                {.name = "I", .key = "I"},
                {.name = "Y", .key = "Y"}},
       .version = DbfVersion::Visual});
  for (const int i : {3, -2, 0}) {
    writer.SetNumber(0, i + .25);
    writer.SetDate(1, {1899, 12, 30 + (i > 0)});
    writer.SetLogical(2, i > 0);
    std::array<std::byte, 8> bytes{};
    storage::WriteLittle<std::uint32_t>(bytes, 0, static_cast<std::uint32_t>(i));
    writer.SetRaw(3, storage::AsText(bytes).substr(0, 4));
    storage::WriteLittle<std::uint64_t>(bytes, 0, static_cast<std::uint64_t>(std::int64_t{i} * 10000));
    writer.SetRaw(4, storage::AsText(bytes));
    writer.Append();
  }
  writer.Finish();
  EXPECT_EQ(ProblemsOf(files), "");
  const auto records = Open(files);
  const struct {
    const char* tag;
    const char* text;
    std::uint32_t record;
  } kSeeks[] = {{"N", "3.25", 1},       {"N", "-1.75", 2},      {"N", "$0.25", 3},       {"N", "3", 0},
                {"D", "12/31/1899", 1}, {"D", "12/30/1899", 2}, {"D", "1/1/1900", 0},    {"L", "True", 1},
                {"L", "0", 2},          {"I", "-2", 2},         {"I", "99999999999", 0}, {"Y", "3", 1},
                {"Y", "0.01", 0}};
  for (const auto& [tag, text, record] : kSeeks) {
    records->SelectIndex(tag);
    EXPECT_EQ(Seek(*records, text), record) << tag << " " << text;
  }
  EXPECT_THAT(ErrorOf([&] { records->SeekEqual("abc"); }), AllOf(StartsWith("3250"), HasSubstr("'abc'")));
  EXPECT_THAT(Walk(*records, "N"), ElementsAre(2, 3, 1));
  EXPECT_THAT(Walk(*records, "I"), ElementsAre(2, 3, 1));
}

TEST(FoxProRecordSet, OrderGoesOnFromARecordThatWasReachedOtherwise) {
  storage::MemoryFileSystem files;
  MakeKeys(files, {"D", "B", "A", "B", "C", "A"}, 3,
           {{.name = "KEY", .key = "KEY"},
            {.name = "DOWN", .key = "KEY", .descending = true},
            {.name = "NOTB", .key = "KEY", .condition = "KEY<>'B'"},
            {.name = "ODD", .key = "KEY+'x'", .collation = "GENERAL"}});
  const auto records = Open(files);
  const struct {
    const char* tag;
    std::uint32_t from;
    std::uint32_t next;
  } kMoves[] = {{"KEY", 2, 4},  {"KEY", 4, 5},  {"KEY", 1, 0}, {"DOWN", 4, 2}, {"DOWN", 3, 0},
                {"NOTB", 2, 4}, {"NOTB", 6, 2}, {"ODD", 4, 5}, {"ODD", 6, 2}};
  for (const auto& [tag, from, next] : kMoves) {
    records->SetBookmark({from});
    records->SelectIndex(tag);
    EXPECT_EQ(records->RecordNumber(), from) << "selecting keeps the record";
    records->MoveNext();
    EXPECT_EQ(records->RecordNumber(), next) << tag << " after " << from;
    EXPECT_EQ(records->PastEnd(), next == 0);
  }
}

TEST(FoxProRecordSet, CapitalsAreThoseOfTheCodePage) {
  const struct {
    std::uint8_t driver;
    const char* key;
    const char* capitals;
  } kCases[] = {
      {0x01, "1 Peña í µ ß Ñ", "1 PEÑA í µ ß Ñ"}, {0x03, "í µ ƒ ß ÿ", "Í µ ƒ ß Ÿ"}, {0x02, "í µ ƒ", "Í µ ƒ"}};
  for (const auto& [driver, key, capitals] : kCases) {
    storage::MemoryFileSystem files;
    FoxProWriter writer(files, kDirectory, "T",
                        {.fields = {{"KEY", 'C', 20}},
                         .tags = {{.name = "KEY", .key = "UPPER(KEY)"}},
                         .language_driver = driver});
    writer.SetText(0, key);
    writer.Append();
    writer.Finish();
    const auto records = Open(files);
    EXPECT_EQ(records->InCapitals(key), capitals);
    records->SelectIndex("KEY");
    EXPECT_EQ(Seek(*records, capitals), 1u) << capitals;
  }
}

TEST(FoxProRecordSet, AnIndexIsComparedOncePerStateOfTheFiles) {
  storage::PosixFileSystem files;
  const test::TemporaryDirectory directory;
  const auto index = directory.path() / "T.CDX";
  const auto write = [&] {
    FoxProWriter writer(files, directory.path(), "T",
                        {.fields = {{"KEY", 'C', 5}}, .tags = {{.name = "KEY", .key = "KEY"}}});
    writer.SetText(0, "A");
    writer.Append();
    writer.Finish();
  };
  IndexChoices choices;
  const auto open = [&] {
    auto records = std::make_unique<FoxProRecordSet>(files, directory.path(), "T", &choices);
    records->SelectIndex("KEY");
    EXPECT_EQ(Seek(*records, "A"), records->RebuiltIndex().empty() ? 0u : 1u);
    return records;
  };
  write();
  FoxProRecordSet(files, directory.path(), "T", &choices).SelectIndex("KEY");
  const auto time = std::filesystem::last_write_time(index);
  files.Open(index, storage::OpenMode::ReadWrite)->WriteAt(0xA00 + 511, storage::AsBytes("B"));
  std::filesystem::last_write_time(index, time);
  EXPECT_EQ(open()->RebuiltIndex(), "") << "nothing tells that the file changed";
  std::filesystem::last_write_time(index, time + std::chrono::seconds(1));
  const auto rebuilt = open();
  EXPECT_THAT(rebuilt->RebuiltIndex(), HasSubstr("entries with another key than their record: 1"));
  EXPECT_EQ(open()->RebuiltIndex(), rebuilt->RebuiltIndex());
}

TEST(FoxProRecordSet, FilesAreFoundWithoutRegardToCase) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(
      files, kDirectory, "PhOtO",
      {.fields = {{"PICTID", 'C', 5}, {"NOTE", 'M', 10}}, .tags = {{.name = "P", .key = "PICTID"}}});
  writer.SetMemo(1, "m");
  writer.Append();
  writer.Finish();
  files.Rename(kDirectory / "PhOtO.CDX", kDirectory / "photo.cdx");
  files.Rename(kDirectory / "PhOtO.FPT", kDirectory / "PHOTO.fpt");
  for (const char* name : {"PHOTO", "photo", "Photo.dbf"}) {
    const auto records = Open(files, name);
    EXPECT_EQ(TextOf(*records, 1), "m");
    records->SelectIndex("p");
    EXPECT_EQ(records->FindField("pictid"), 0u);
  }
  for (const char* name : {"HOMES", "homes"}) {  // two tables that differ in case only
    FoxProWriter homes(files, kDirectory, name,
                       {.fields = {{"A", 'C', 5}}, .tags = {{.name = std::string(name), .key = "A"}}});
    homes.Finish();
  }
  EXPECT_EQ(Open(files, "homes")->Tags()[0].name, "homes");
  EXPECT_EQ(Open(files, "Homes")->Tags()[0].name, "HOMES");
  files.Remove(kDirectory / "HOMES.DBF");
  EXPECT_EQ(Open(files, "HOMES")->Tags()[0].name, "homes") << "the index that is spelt like the table";
  EXPECT_THAT(ErrorOf([&] { Open(files, "PHOTOS"); }), AllOf(StartsWith("3011"), HasSubstr("PHOTOS.DBF")));
}

TEST(FoxProRecordSet, MissingFilesAreNamedWithTheCure) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T",
                      {.fields = {{"A", 'C', 5}, {"M", 'M', 10}}, .tags = {{.name = "A", .key = "A"}}});
  writer.SetText(0, "x");
  writer.Append();
  writer.Finish();
  EXPECT_THAT(ErrorOf([&] { Open(files)->SelectIndex("B"); }), AllOf(StartsWith("3015"), HasSubstr("'B'")));

  files.Remove(kDirectory / "T.CDX");
  const auto records = Open(files);
  EXPECT_EQ(Walk(*records, "A").size(), 1u);
  EXPECT_EQ(records->RebuiltIndex(), "the index file T.CDX is missing");

  files.Remove(kDirectory / "T.FPT");
  EXPECT_THAT(ErrorOf([&] { Open(files); }), AllOf(StartsWith("3176"), HasSubstr("T.FPT, which is missing")));
}

TEST(FoxProRecordSet, TablesOfOtherProgramsAreRefusedByTheirVersionByte) {
  for (const int version : {0x00, 0x02, 0x04, 0x43, 0x63, 0x8C, 0xCB, 0xFB, 0xFF}) {
    storage::MemoryFileSystem files;
    MakeKeys(files, {"A"});
    files.Contents(kDirectory / "T.DBF")[0] = static_cast<std::byte>(version);
    EXPECT_THAT(
        ErrorOf([&] { Open(files); }),
        AllOf(StartsWith("3343"), HasSubstr(fmt::format("0x{:02X}", version)), HasSubstr("/tables/T.DBF")));
    EXPECT_THAT(ProblemsOf(files), HasSubstr(fmt::format("0x{:02X}", version)));
  }
  for (const int version : {0x03, 0xF5, 0x83, 0x8B, 0x30, 0x31, 0x32}) {
    storage::MemoryFileSystem files;
    MakeKeys(files, {"A"});
    files.Contents(kDirectory / "T.DBF")[0] = static_cast<std::byte>(version);
    EXPECT_EQ(TextOf(*Open(files)), "A") << version;
  }
}

TEST(FoxProRecordSet, LanguageDriverDecidesTheCodePage) {
  const std::pair<int, const char*> kDrivers[] = {{0x00, "Ä"}, {0x01, "Ä"}, {0x02, "Ä"}, {0x03, "Ž"},
                                                  {0x64, "Ä"}, {0x65, "О"}, {0x04, "é"}, {0xF0, "Ä"}};
  for (const auto& [driver, letter] : kDrivers) {
    storage::MemoryFileSystem files;
    FoxProWriter writer(files, kDirectory, "T",
                        {.fields = {{"C", 'C', 1}, {"M", 'M', 10}},
                         .tags = {{.name = "C", .key = "C"}},
                         .language_driver = static_cast<std::uint8_t>(driver)});
    writer.SetRaw(0, "\x8E");
    writer.SetMemoBytes(1, 1, "\x8E");
    writer.Append();
    writer.Finish();
    const auto records = Open(files);
    EXPECT_EQ(TextOf(*records, 0), letter) << driver;
    EXPECT_EQ(TextOf(*records, 1), letter) << driver;
    records->SelectIndex("C");
    EXPECT_EQ(Seek(*records, letter), 1u) << driver;
  }
}

}  // namespace
}  // namespace corvix::foxpro
