#include "fuzz_files.h"

#include <string>

#include "common/error.h"
#include "sample/sample_writer.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/foxpro/foxpro_record_set.h"

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

void PutFile(storage::MemoryFileSystem& files, std::string_view name, Input bytes) {
  files.Open(name, storage::OpenMode::Create)->WriteAt(0, std::as_bytes(bytes));
}

const storage::MemoryFileSystem& SoundOffice() {
  static const storage::MemoryFileSystem office = MakeOffice();
  return office;
}

Input SoundFile(std::string_view name) {
  static storage::MemoryFileSystem office = SoundOffice();
  const auto& bytes = office.Contents(name);
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
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
