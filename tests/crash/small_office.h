// An office whose keys are so long that a few hundred records split an index at two levels, with duplicates,
// photo lists of all lengths and memos; and the judge of a database that a fault left behind.
#pragma once

#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>
#include <string>
#include <vector>

#include "common/error.h"
#include "core/json_form.h"
#include "core/record_set.h"
#include "sample/random.h"
#include "storage/foxpro/foxpro_writer.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/jet_database.h"
#include "support/faulty_file_system.h"
#include "support/file_run.h"
#include "support/jet_files.h"

namespace corvix::test {

using Bytes = FaultyFileSystem::Bytes;
using Device = std::map<std::filesystem::path, Bytes>;
using Rows = std::vector<std::string>;  // as JSON, in file order

inline const std::filesystem::path kOffice = "office";
inline const std::filesystem::path kDatabase = kOffice / "FOLVANE.MDB";

inline Rows ReadRows(core::RecordSet& records) {
  Rows rows;
  for (; !records.PastEnd(); records.MoveNext()) rows.push_back(core::RowAsJson(records));
  return rows;
}

/// Every fifth key is in the target already.
inline Device MakeSmallOffice(int count) {
  storage::MemoryFileSystem files;
  const std::vector<foxpro::NewTag> tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"}};
  foxpro::FoxProWriter central(
      files, kOffice, "CENTRAL",
      {.fields = {{"CENTRALKEY", 'C', 60}, {"ADDRESS", 'C', 250}, {"LOTSIZE", 'N', 10, 2}}, .tags = tags});
  foxpro::FoxProWriter comps(
      files, kOffice, "COMPS",
      {.fields = {{"CENTRALKEY", 'C', 60}, {"CONDITION", 'C', 12}, {"SALEDATE", 'C', 10}, {"NOTES", 'M', 10}},
       .tags = tags});
  foxpro::FoxProWriter photo(
      files, kOffice, "PHOTO",
      {.fields = {{"CENTRALKEY", 'C', 60}, {"PICTID", 'C', 12}, {"VIEW", 'C', 100}}, .tags = tags});

  jet::TableDescription table{.name = "COMPS", .columns = {}, .indexes = {}};
  const auto text = [](const char* name, std::uint16_t length) {
    return jet::ColumnDescription{.name = name, .length = length};
  };
  table.columns = {{.name = "RECID", .type = jet::ColumnType::Long, .autonumber = true},
                   text("CENTRALKEY", 60),
                   text("ADDRESS", 250),
                   {.name = "LOTSIZE", .type = jet::ColumnType::Double},
                   text("CONDITION", 12),
                   {.name = "SaleDate", .type = jet::ColumnType::Date},
                   {.name = "SaleSerial", .type = jet::ColumnType::Double},
                   {.name = "NOTES", .type = jet::ColumnType::Memo},
                   {.name = "PHOTOS", .type = jet::ColumnType::Memo},
                   {.name = "FRONT", .type = jet::ColumnType::YesNo}};
  table.indexes = {{.name = "PrimaryKey", .columns = {{"RECID"}}, .primary = true},
                   {.name = "CENTRALKEY", .columns = {{"CENTRALKEY"}}, .unique = true},
                   {.name = "AddressIdx", .columns = {{"ADDRESS"}}}};
  jet::CreateDatabase(files, kDatabase, {.tables = {table}, .relationships = {}});
  const auto database = jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite);
  const auto target = database->OpenTable("COMPS");

  for (int i = 0; i < count; ++i) {
    sample::Random random(static_cast<std::uint64_t>(i));
    std::string key = fmt::format("{} OAK STREET", random.Next());
    key.resize(60, static_cast<char>('A' + i % 26));
    std::string address;
    while (address.size() < 240) address += static_cast<char>(random.Between('A', 'Z'));
    central.SetText(0, key);
    central.SetText(1, address);
    central.SetNumber(2, i);
    central.Append();
    if (i % 7 != 0) {
      comps.SetText(0, key);
      comps.SetText(1, "GOOD");
      comps.SetText(2, "3/5/02");
      comps.SetMemo(3, std::string(static_cast<std::size_t>(i), 'n'));
      comps.Append();
    }
    for (int n = 0; n < (i % 50 == 8 ? 60 : i % 4); ++n) {
      photo.SetText(0, key);
      photo.SetText(1, fmt::format("P{}-{}", i, n));
      photo.SetText(2, fmt::format("VIEW {} {}", n, std::string(80, 'v')));
      photo.Append();
    }
    if (i % 5 == 1) {
      target->BeginAdd();
      target->Write(core::RequireField(*target, "CENTRALKEY"), key);
      target->Write(core::RequireField(*target, "NOTES"), std::string(static_cast<std::size_t>(20 * i), 'o'));
      target->Store();
    }
  }
  central.Finish();
  comps.Finish();
  photo.Finish();
  database->Close();
  Device device;
  for (const char* name : {"CENTRAL.DBF", "CENTRAL.CDX", "COMPS.DBF", "COMPS.CDX", "COMPS.FPT", "PHOTO.DBF",
                           "PHOTO.CDX", "FOLVANE.MDB"}) {
    device[kOffice / name] = files.Contents(kOffice / name);
  }
  return device;
}

inline void PutAll(FaultyFileSystem& files, const Device& device) {
  for (const auto& [path, bytes] : device) files.Put(path, bytes);
}

/// The run of the tests: the user is asked about each duplicate and overwrites two of three.
struct SmallRun : FileRun {
  explicit SmallRun(storage::FileSystem& files) : FileRun(files, kOffice, kOffice) {
    session.values.DupMode = run::kAskEachTime;
    for (int i = 0; i < 100; ++i) host.prompt_results.push_back(i % 3 == 0 ? run::kAskNo : run::kAskYes);
  }
};

/// Judges databases by the checker and reads their rows; each content once.
class Judge {
 public:
  const Rows& RowsOf(const Bytes& database) {
    const auto [entry, is_new] = known_.try_emplace(database);
    if (!is_new) return entry->second;
    storage::MemoryFileSystem files;
    files.Open(kDatabase, storage::OpenMode::Create)->WriteAt(0, database);
    EXPECT_THAT(CheckFile(files, kDatabase).problems, testing::IsEmpty());
    entry->second =
        ReadRows(*jet::OpenJetDatabase(files, kDatabase, core::Access::ReadOnly)->OpenTable("COMPS"));
    return entry->second;
  }

 private:
  std::map<Bytes, Rows> known_;
};

/// The database after it was opened and closed on the device, by a program that knows nothing of the fault.
inline Bytes Reopened(const Device& device) {
  FaultyFileSystem files;
  PutAll(files, device);
  jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite)->Close();
  EXPECT_FALSE(files.Exists(kDatabase.string() + "-journal"));
  return files.Contents(kDatabase);
}

}  // namespace corvix::test
