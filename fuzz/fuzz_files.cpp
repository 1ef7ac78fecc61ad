#include "fuzz_files.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "common/error.h"
#include "sample/sample_writer.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "support/faulty_file_system.h"
#include "support/file_run.h"

namespace corvix::fuzz {
namespace {

constexpr int kMostRecords = 5000;  // an index with cycles must not make a run endless

/// The answer to damage is an error; the next step is tried all the same.
template <typename Step>
void Expecting(Step step) {
  try {
    step();
  } catch (const common::Error&) {
  }
}

storage::MemoryFileSystem MakeOffice() {
  storage::MemoryFileSystem files;
  sample::WriteOffice(files, "", {.seed = 3, .records = 12, .duplicates_percent = 50});
  return files;
}

/// Converts the sound office; the power fails at operation `cut`, if there is one.
std::unique_ptr<test::FaultyFileSystem> ConvertUntil(std::optional<std::uint64_t> cut) {
  auto files = std::make_unique<test::FaultyFileSystem>();
  for (const char* name : {"CENTRAL.DBF", "CENTRAL.CDX", "COMPS.DBF", "COMPS.CDX", "COMPS.FPT", "PHOTO.DBF",
                           "PHOTO.CDX", "FOLVANE.MDB"}) {
    const auto bytes = std::as_bytes(SoundFile(name));
    files->Put(std::filesystem::path("office") / name, {bytes.begin(), bytes.end()});
  }
  if (cut) files->CutAt(*cut);
  test::FileRun conversion(*files, "office", "office");
  try {
    conversion.Run();
  } catch (const test::PowerCut&) {
  }
  return files;
}

Crash MakeCrash() {
  const auto whole = ConvertUntil({});
  const auto reset = std::ranges::find(whole->log(), test::Change::Truncate);
  const auto database_sync = reset - whole->log().begin() - 1;
  const auto cut = ConvertUntil(static_cast<std::uint64_t>(database_sync));
  auto device = cut->AfterCut(test::Unsynced::Mixed);
  return {device.at("office/FOLVANE.MDB"), device.at("office/FOLVANE.MDB-journal")};
}

void ReadAll(core::RecordSet& records) {
  std::string text;
  for (int n = 0; n < kMostRecords && !records.PastEnd(); ++n) {
    for (std::size_t field = 0; field < records.Fields().size(); ++field) {
      Expecting([&] { records.ReadText(field, text); });
      Expecting([&] { records.Read(field); });
    }
    records.MoveNext();
  }
}

}  // namespace

Input AsInput(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

void PutFile(storage::MemoryFileSystem& files, std::string_view name, Input bytes) {
  files.Open(name, storage::OpenMode::Create)->WriteAt(0, std::as_bytes(bytes));
}

const storage::MemoryFileSystem& SoundOffice() {
  static const storage::MemoryFileSystem office = MakeOffice();
  return office;
}

Input SoundFile(std::string_view name) {
  static storage::MemoryFileSystem office = SoundOffice();
  return AsInput(office.Contents(name));
}

const Crash& CrashedOffice() {
  static const Crash crash = MakeCrash();
  return crash;
}

void UseRecords(core::RecordSet& records, std::string_view index) {
  Expecting([&] { ReadAll(records); });
  Expecting([&] {
    records.SelectIndex(index);
    records.MoveFirst();
    ReadAll(records);
  });
  for (const char* key : {"", "1 OAK ST", "ZZZZ", "5123 BAKER LN"}) {
    Expecting([&] { records.SeekEqual(key); });
    Expecting([&] { records.MoveNext(); });
  }
}

void UseTableWith(std::string_view name, Input fuzzed) {
  storage::MemoryFileSystem files;
  for (const char* sound : {"COMPS.DBF", "COMPS.CDX", "COMPS.FPT"}) PutFile(files, sound, SoundFile(sound));
  PutFile(files, name, fuzzed);
  Expecting([&] { UseRecords(*foxpro::OpenFoxProTable(files, "", "COMPS"), "CENTRALKEY"); });
  Expecting([&] { foxpro::CheckTable(files, "", "COMPS"); });
}

}  // namespace corvix::fuzz
