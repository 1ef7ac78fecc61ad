// The DBF file of a table is fuzzed; the files beside it are sound.
#include "fuzz_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  corvix::fuzz::UseTableWith("COMPS.DBF", {data, size});
  return 0;
}
