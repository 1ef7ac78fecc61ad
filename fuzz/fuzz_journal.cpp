// The journal beside a database that a crash left half overwritten is fuzzed.
#include <cstdlib>

#include "common/error.h"
#include "fuzz_files.h"
#include "storage/jet/jet_database.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvix;
  const auto& crashed = fuzz::CrashedOffice().database;
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "FOLVANE.MDB", fuzz::AsInput(crashed));
  fuzz::PutFile(files, "FOLVANE.MDB-journal", {data, size});
  for (const auto access : {core::Access::ReadOnly, core::Access::ReadWrite}) {
    try {
      fuzz::UseRecords(*jet::OpenJetDatabase(files, "FOLVANE.MDB", access)->OpenTable("COMPS"), "CENTRALKEY");
    } catch (const common::Error&) {
    }
    if (access == core::Access::ReadOnly && files.Contents("FOLVANE.MDB") != crashed) std::abort();
  }
  return 0;
}
