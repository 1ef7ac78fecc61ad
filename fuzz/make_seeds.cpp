// Writes the seeds of every fuzz target into DIR/TARGET: sound files of our own making, and some that are cut
// or have single bytes changed, so that the replay meets damage too.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_files.h"

namespace {

namespace fs = std::filesystem;
using corvix::fuzz::AsInput;
using corvix::fuzz::Input;

void Write(const fs::path& path, Input bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void WriteFamily(const fs::path& directory, Input sound, int damaged) {
  Write(directory / "sound", sound);
  std::mt19937 random(20260);
  for (int i = 0; i < damaged && !sound.empty(); ++i) {
    std::vector<std::uint8_t> bytes(sound.begin(), sound.end());
    if (i % 4 == 0) {
      bytes.resize(random() % bytes.size());
    } else {
      for (int n = 0; n < 3; ++n) bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
    }
    Write(directory / ("damaged" + std::to_string(i)), bytes);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds DIR\n");
    return 2;
  }
  const fs::path root = argv[1];
  WriteFamily(root / "dbf", corvix::fuzz::SoundFile("COMPS.DBF"), 40);
  WriteFamily(root / "cdx", corvix::fuzz::SoundFile("COMPS.CDX"), 40);
  WriteFamily(root / "fpt", corvix::fuzz::SoundFile("COMPS.FPT"), 40);
  WriteFamily(root / "mdb", corvix::fuzz::SoundFile("FOLVANE.MDB"), 60);
  constexpr std::string_view kSettings =
      "[PREFERENCES]\r\nCONVERTPHOTOS=1\r\n; note\r\n\r\n[DIRECTORIES]\r\nCOMPDIR=\"C:\\OLD\"\r\n";
  WriteFamily(root / "ini", AsInput(std::as_bytes(std::span(kSettings))), 20);
  WriteFamily(root / "journal", AsInput(corvix::fuzz::CrashedOffice().journal), 20);
  return 0;
}
