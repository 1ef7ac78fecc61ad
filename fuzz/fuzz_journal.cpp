// The journal beside a sound database is fuzzed.
#include "common/error.h"
#include "fuzz_files.h"
#include "storage/jet/jet_database.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvix;
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "FOLVANE.MDB", fuzz::SoundFile("FOLVANE.MDB"));
  fuzz::PutFile(files, "FOLVANE.MDB-journal", {data, size});
  for (const auto access : {core::Access::ReadOnly, core::Access::ReadWrite}) {
    try {
      fuzz::UseRecords(*jet::OpenJetDatabase(files, "FOLVANE.MDB", access)->OpenTable("COMPS"), "CENTRALKEY");
    } catch (const common::Error&) {
    }
  }
  return 0;
}
