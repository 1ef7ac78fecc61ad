// A whole database is fuzzed: read, sought, written into, checked.
#include "common/error.h"
#include "fuzz_files.h"
#include "storage/jet/jet_check.h"
#include "storage/jet/jet_database.h"
#include "storage/jet/pager.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  storage::MemoryFileSystem files;
  fuzz::PutFile(files, "F.MDB", {data, size});
  try {
    jet::Pager pager(files.Open("F.MDB", storage::OpenMode::Read), "F.MDB", {.read_only = true});
    jet::CheckDatabase(pager);
  } catch (const common::Error&) {
  }
  try {
    Use(files);
  } catch (const common::Error&) {
  }
  return 0;
}
