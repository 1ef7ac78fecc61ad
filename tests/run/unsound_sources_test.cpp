// An office whose source files are not sound: what a crash, a wrong copy or another program left of them.
// Each mutation is seeded. What the files hold is read here byte by byte, without the engine, and the run
// must account for every live record of it, or refuse the files and leave the target alone.
#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>

#include "common/text.h"
#include "core/lookup.h"
#include "sample/sample_writer.h"
#include "storage/base/bytes.h"
#include "storage/base/code_page.h"
#include "storage/base/memory_file.h"
#include "storage/foxpro/foxpro_writer.h"
#include "storage/jet/jet_database.h"
#include "support/file_run.h"
#include "support/jet_files.h"

namespace corvix {
namespace {

using Bytes = std::vector<std::byte>;

const std::filesystem::path kOffice = "office";
const std::filesystem::path kDatabase = kOffice / "FOLVANE.MDB";
constexpr std::size_t kPage = 512;

/// A live record as its bytes have it.
struct RawRecord {
  std::int64_t number = 0;
  std::map<std::string, std::string> texts;  // of its character fields, without padding
  std::string Key() const { return common::UpperCase(common::Trim(texts.at("CENTRALKEY"))); }
};

/// Whole records as far as the file has them, whatever its header counts.
std::vector<RawRecord> LiveRecords(const Bytes& file) {
  const std::size_t first = storage::ReadLittle<std::uint16_t>(file, 8);
  const std::size_t length = storage::ReadLittle<std::uint16_t>(file, 10);
  const std::size_t counted = storage::ReadLittle<std::uint32_t>(file, 4);
  const storage::CodePage page(1252);
  std::vector<RawRecord> records;
  for (std::size_t i = 0; first + (i + 1) * length <= file.size(); ++i) {
    const auto record = storage::AsText(storage::ByteView(file).subspan(first + i * length, length));
    if (i >= counted && record[0] != ' ' && record[0] != '*') break;
    if (record[0] == '*') continue;
    RawRecord& raw = records.emplace_back(RawRecord{.number = static_cast<std::int64_t>(i + 1)});
    std::size_t at = 1;
    for (std::size_t d = 32; file[d] != std::byte{'\r'}; d += 32) {
      const std::string name = storage::AsText(storage::ByteView(file).subspan(d, 11)).data();
      const std::size_t width = std::to_integer<std::size_t>(file[d + 16]);
      if (file[d + 11] == std::byte{'C'})
        raw.texts[name] = page.ToUtf8(common::TrimRight(record.substr(at, width)));
      at += width;
    }
  }
  return records;
}

class UnsoundSources : public testing::Test {
 protected:
  UnsoundSources() {
    sample::WriteOffice(sound_, kOffice, {.seed = 3, .records = 40, .duplicates_percent = 20});
    sample::WriteOffice(foreign_, kOffice, {.seed = 4, .records = 60, .duplicates_percent = 0});
  }

  std::size_t Below(std::size_t limit) { return random_() % std::max<std::size_t>(1, limit); }
  Bytes& File(const std::string& name) { return files_.Contents(kOffice / name); }
  std::string AnyTable() { return std::array{"CENTRAL", "COMPS", "PHOTO"}[Below(3)]; }

  void MakeSound() {
    for (const std::string name : {"CENTRAL.DBF", "CENTRAL.CDX", "COMPS.DBF", "COMPS.CDX", "COMPS.FPT",
                                   "PHOTO.DBF", "PHOTO.CDX", "FOLVANE.MDB"}) {
      files_.Open(kOffice / name, storage::OpenMode::Create)->WriteAt(0, sound_.Contents(kOffice / name));
    }
  }

  /// One thing that happens to files.
  std::string Mutate() {
    const std::string table = AnyTable();
    Bytes& dbf = File(table + ".DBF");
    Bytes& cdx = File(table + ".CDX");
    Bytes& fpt = File("COMPS.FPT");
    const std::size_t first = storage::ReadLittle<std::uint16_t>(dbf, 8);
    const std::size_t length = storage::ReadLittle<std::uint16_t>(dbf, 10);
    const auto count = storage::ReadLittle<std::uint32_t>(dbf, 4);
    const auto record_at = [&](std::size_t i) { return first + i * length; };
    const auto flip = [&](Bytes& bytes, std::size_t from, std::size_t to) {
      for (std::size_t n = 1 + Below(8); n > 0; --n)
        bytes[from + Below(std::min(to, bytes.size()) - from)] = static_cast<std::byte>(random_());
    };
    const auto put_count = [&](std::uint32_t value) { storage::WriteLittle<std::uint32_t>(dbf, 4, value); };
    const std::pair<const char*, std::function<void()>> kMutations[] = {
        {"bytes of the index", [&] { flip(cdx, 0, cdx.size()); }},
        // Not the direction behind it: a tag that descends is as good, and is walked that way.
        {"header of a tag", [&] { flip(cdx, 0x600, 0x600 + 502); }},
        {"expression of a tag", [&] { flip(cdx, 0x800, 0x800 + 16); }},
        {"head of an index page",
         [&] {
           const std::size_t page = Below(cdx.size() / kPage) * kPage;
           flip(cdx, page, page + 24);
         }},
        {"an index page in place of another",
         [&] {
           std::copy_n(cdx.begin() + static_cast<std::ptrdiff_t>(Below(cdx.size() / kPage) * kPage), kPage,
                       cdx.begin() + static_cast<std::ptrdiff_t>(Below(cdx.size() / kPage) * kPage));
         }},
        {"index cut", [&] { cdx.resize(Below(cdx.size())); }},
        {"index missing", [&] { files_.Remove(kOffice / (table + ".CDX")); }},
        {"index of another table", [&] { cdx = sound_.Contents(kOffice / (AnyTable() + ".CDX")); }},
        {"index of another office", [&] { cdx = foreign_.Contents(kOffice / (table + ".CDX")); }},
        {"table of another office", [&] { dbf = foreign_.Contents(kOffice / (table + ".DBF")); }},
        {"memos of another office", [&] { fpt = foreign_.Contents(kOffice / "COMPS.FPT"); }},
        {"count too small", [&] { put_count(static_cast<std::uint32_t>(Below(count))); }},
        {"count too great", [&] { put_count(count + 1 + static_cast<std::uint32_t>(Below(1000))); }},
        {"table cut", [&] { dbf.resize(Below(dbf.size())); }},
        {"records appended without the index",
         [&] {
           dbf.pop_back();
           for (std::size_t n = 1 + Below(3); n > 0; --n) {
             const auto from = dbf.begin() + static_cast<std::ptrdiff_t>(record_at(Below(count)));
             Bytes copy(from, from + static_cast<std::ptrdiff_t>(length));
             copy[1] = static_cast<std::byte>('1' + n);
             dbf.insert(dbf.end(), copy.begin(), copy.end());
           }
           if (Below(2) == 0) put_count(static_cast<std::uint32_t>((dbf.size() - first) / length));
         }},
        {"keys changed without the index",
         [&] {
           for (std::size_t n = 1 + Below(4); n > 0; --n)
             dbf[record_at(Below(count)) + 1 + Below(4)] = static_cast<std::byte>('A' + Below(26));
         }},
        {"deletion marks",
         [&] {
           for (std::size_t n = 1 + Below(6); n > 0; --n)
             dbf[record_at(Below(count))] = std::byte{Below(3) == 0 ? std::uint8_t{' '} : std::uint8_t{'*'}};
         }},
        {"records exchanged",
         [&] {
           std::swap_ranges(dbf.begin() + static_cast<std::ptrdiff_t>(record_at(0)),
                            dbf.begin() + static_cast<std::ptrdiff_t>(record_at(1)),
                            dbf.begin() + static_cast<std::ptrdiff_t>(record_at(count - 1)));
         }},
        {"header of the table", [&] { flip(dbf, 0, 12); }},
        {"numbers and dates", [&] { flip(dbf, record_at(0) + length - 20, record_at(0) + length); }},
        {"memos", [&] { flip(fpt, 0, fpt.size()); }},
        {"memos cut", [&] { fpt.resize(Below(fpt.size())); }},
    };
    const auto& [name, mutate] = kMutations[Below(std::size(kMutations))];
    mutate();
    return table + ": " + name;
  }

  /// Runs; false when the files were refused. Nothing but an error with a text may refuse them.
  bool Convert(test::FileRun& run) {
    try {
      if (run.Run() == run::RunEnd::Completed) return true;
      EXPECT_TRUE(run.session.ended_by.has_value() || !run.host.statuses.empty());
    } catch (const common::ProgramEnd&) {
      EXPECT_FALSE(run.host.dialogs.notices.empty());
    } catch (const common::Error& error) {
      EXPECT_STRNE(error.what(), "");
      run::CloseTarget(run.session, run.host);
    }
    return false;
  }

  void ExpectRecordsAccountedFor(const test::FileRun& run) {
    std::vector<std::int64_t> live, told;
    for (const RawRecord& record : LiveRecords(File("CENTRAL.DBF"))) live.push_back(record.number);
    for (const run::RecordEvent& event : run.host.events) told.push_back(event.record);
    std::ranges::sort(told);
    EXPECT_EQ(told, live);
  }

  /// Rows that were added hold what the records with their key hold, and the others are as they were.
  void ExpectRowsOfTheirRecords(const test::FileRun& run) {
    std::map<std::int64_t, RawRecord> central;
    for (const RawRecord& record : LiveRecords(File("CENTRAL.DBF"))) central[record.number] = record;
    std::multimap<std::string, std::string> comps, photo;
    for (const RawRecord& record : LiveRecords(File("COMPS.DBF")))
      comps.emplace(record.Key(), record.texts.at("CONDITION"));
    for (const RawRecord& record : LiveRecords(File("PHOTO.DBF")))
      photo.emplace(record.Key(), record.texts.at("PICTID"));

    core::TableSource target{.name = "target"};
    const auto database = jet::OpenJetDatabase(files_, kDatabase, core::Access::ReadOnly);
    target.Recordset = database->OpenTable("COMPS");
    for (const run::RecordEvent& event : run.host.events) {
      if (event.outcome != run::Outcome::Added) continue;
      SCOPED_TRACE(event.record);
      const RawRecord& record = central.at(event.record);
      std::string key = record.Key();
      ASSERT_TRUE(core::FindRecord(target, key, core::kCentralKey)) << key;
      const auto stored = [&](std::string_view field) {
        return std::string(common::Trim(core::GetFieldData(target, field)));
      };
      EXPECT_EQ(common::UpperCase(stored("CENTRALKEY")), record.Key());
      EXPECT_EQ(stored("OWNER"), common::Trim(record.texts.at("OWNER")));
      const auto [begin, end] = comps.equal_range(record.Key());
      EXPECT_TRUE(begin == end ? stored("CONDITION").empty() : std::any_of(begin, end, [&](const auto& each) {
        return stored("CONDITION") == common::Trim(each.second);
      })) << stored("CONDITION");
      std::string lines = stored("PHOTOS");
      const auto [first, last] = photo.equal_range(record.Key());
      EXPECT_EQ(lines.empty(), first == last);
      EXPECT_TRUE(first == last || lines.find(std::string(common::Trim(first->second))) != std::string::npos);
    }
  }

  std::mt19937 random_{1993};
  storage::MemoryFileSystem sound_;
  storage::MemoryFileSystem foreign_;
  storage::MemoryFileSystem files_;
};

TEST_F(UnsoundSources, EveryLiveRecordIsAccountedForOrTheRunIsRefused) {
  int refused = 0;
  constexpr int kRounds = 200;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    MakeSound();
    const std::string what = Mutate();
    SCOPED_TRACE(what + ", round " + std::to_string(round));
    const Bytes before = File("FOLVANE.MDB");
    test::FileRun run(files_, kOffice, kOffice);
    if (Convert(run)) {
      ExpectRecordsAccountedFor(run);
      ExpectRowsOfTheirRecords(run);
    } else {
      ++refused;
      EXPECT_EQ(File("FOLVANE.MDB"), before);
    }
  }
  EXPECT_LT(refused, kRounds / 3) << "what can be read is read";
}

/// Their capitals are in no code page of the sources, or in no other than Unicode.
TEST_F(UnsoundSources, KeysKeepLettersWithoutACapitalOfTheirCodePage) {
  sample::WriteTarget(files_, kOffice, {.records = 0});
  const std::vector<foxpro::NewTag> tags = {{.name = "CENTRALKEY", .key = "UPPER(CENTRALKEY)"}};
  const std::vector<std::string> keys = {"1 \u00b5 ST", "2 \u0192 AVE", "3 \u00df RD", "4 R\u00edO CT",
                                         "5 \u00d1 LN"};
  const auto write = [&](const char* table, const char* field, const char* other) {
    foxpro::FoxProWriter writer(files_, kOffice, table,
                                {.fields = {{"CENTRALKEY", 'C', 35}, {field, 'C', 12}, {other, 'C', 20}},
                                 .tags = tags,
                                 .language_driver = 0x01});
    for (const std::string& key : keys) {
      writer.SetText(0, key);
      writer.SetText(1, "GOOD");
      writer.SetText(2, "FRONT");
      writer.Append();
    }
    writer.Finish();
  };
  write("CENTRAL", "OWNER", "CITY");
  write("COMPS", "CONDITION", "NEIGHBORHD");
  write("PHOTO", "PICTID", "VIEW");
  test::FileRun run(files_, kOffice, kOffice);
  ASSERT_TRUE(Convert(run));
  const auto database = jet::OpenJetDatabase(files_, kDatabase, core::Access::ReadOnly);
  core::TableSource target{.name = "target"};
  target.Recordset = database->OpenTable("COMPS");
  ASSERT_EQ(target.Records().RecordCount(), 5);
  for (; !target.Records().PastEnd(); target.Records().MoveNext()) {
    SCOPED_TRACE(core::GetFieldData(target, "CENTRALKEY"));
    EXPECT_EQ(common::Trim(core::GetFieldData(target, "CONDITION")), "GOOD");
    EXPECT_EQ(core::GetFieldData(target, "PHOTOS"), "FRONT|GOOD\r\n");
  }
}

}  // namespace
}  // namespace corvix
