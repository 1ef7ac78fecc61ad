// Makes the databases that other readers of the format are given: DIRECTORY/sample.mdb, the same with encoded
// pages as encoded.mdb, and Extremes.jsonl, the rows that table Extremes has to have.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "core/json_form.h"
#include "jet/schema_sample.h"
#include "storage/base/memory_file.h"

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: jet_sample DIRECTORY\n";
    return 2;
  }
  const std::filesystem::path directory(arguments[1]);
  corvix::storage::MemoryFileSystem files;
  corvix::test::MakeSample(files, "sample.mdb", 2000);
  std::vector<std::byte>& bytes = files.Contents("sample.mdb");
  const auto save = [&](const char* name) {
    std::ofstream(directory / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  };
  save("sample.mdb");
  corvix::test::EncodePages(bytes, 0x5EC12E7A);
  save("encoded.mdb");

  std::ofstream rows(directory / "Extremes.jsonl");
  for (const auto& row : corvix::test::ExtremeRows()) {
    std::string line;
    for (const corvix::core::Value& value : row) {
      line += line.empty() ? "[" : ", ";
      corvix::core::AppendJson(line, value);
    }
    rows << line << "]\n";
  }
}
