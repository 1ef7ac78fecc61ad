// A settings file is fuzzed: read, written, read again.
#include <cstdlib>

#include "common/error.h"
#include "fuzz_files.h"
#include "settings/ini_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvix;
  storage::MemoryFileSystem files;
  const settings::SettingsPlace place{files, "cfg"};
  fuzz::PutFile(files, "cfg/CORVIX.INI", {data, size});
  try {
    settings::IniReadString(place, "CORVIX.INI", "PREFERENCES", "CONVERTPHOTOS", "1");
    settings::IniWriteString(place, "CORVIX.INI", "DIRECTORIES", "COMPDIR", "C:\\DATA\\");
    const std::string back = settings::IniReadString(place, "CORVIX.INI", "DIRECTORIES", "COMPDIR", "");
    if (back != "C:\\DATA\\") std::abort();  // what was written must be read
  } catch (const common::Error&) {
  }
  return 0;
}
