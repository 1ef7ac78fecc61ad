// A whole database is fuzzed: read, sought, written into, checked. One that was sound stays so.
#include <cstdlib>

#include "common/error.h"
#include "fuzz_files.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/jet_database.h"
#include "storage/jet/pages/pager.h"

namespace {

using namespace corvix;

void Use(storage::MemoryFileSystem& files) {
  const auto database = jet::OpenJetDatabase(files, "F.MDB", core::Access::ReadWrite);
  const auto records = database->OpenTable("COMPS");
  fuzz::UseRecords(*records, "CENTRALKEY");
  records->BeginAdd();
  records->Write(core::RequireField(*records, "CENTRALKEY"), std::string("4 NEW CT"));
  records->Write(core::RequireField(*records, "NOTES"), std::string(5000, 'n'));
  records->Store();
  records->MoveFirst();
  records->BeginEdit();
  records->Write(core::RequireField(*records, "PHOTOS"), std::string(300, 'p'));
  records->Store();
  database->Close();
}

bool IsSound(storage::MemoryFileSystem& files) {
  try {
    jet::Pager pager(files.Open("F.MDB", storage::OpenMode::Read), "F.MDB", {.read_only = true});
    return jet::CheckDatabase(pager).IsClean();
  } catch (const common::Error&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "F.MDB", {data, size});
  const bool was_sound = IsSound(files);
  try {
    Use(files);
  } catch (const common::Error&) {
  }
  if (was_sound && !IsSound(files)) std::abort();
  return 0;
}
