// The DBF file of a table is fuzzed; the files beside it are sound.
#include "common/error.h"
#include "fuzz_files.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/foxpro/foxpro_record_set.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvix;
  storage::MemoryFileSystem files;
  for (const char* name : {"COMPS.DBF", "COMPS.CDX", "COMPS.FPT"})
    fuzz::PutFile(files, name, fuzz::SoundFile(name));
  fuzz::PutFile(files, "COMPS.DBF", {data, size});
  try {
    fuzz::UseRecords(*foxpro::OpenFoxProTable(files, "", "COMPS"), "CENTRALKEY");
  } catch (const common::Error&) {
  }
  try {
    foxpro::CheckTable(files, "", "COMPS");
  } catch (const common::Error&) {
  }
  return 0;
}
