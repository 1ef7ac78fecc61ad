#include "cli/file_facts.h"

#include <array>
#include <optional>
#include <string_view>

#include "common/error.h"
#include "storage/foxpro/table_files.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::uint32_t, 256> MakeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? value >> 1 ^ 0xEDB88320u : value >> 1;
    table[i] = value;
  }
  return table;
}

FileFacts Read(storage::FileSystem& files, const fs::path& path) {
  const auto file = files.Open(path, storage::OpenMode::Read);
  FileFacts facts{.path = path};
  std::vector<std::byte> block(std::size_t{1} << 20);
  while (const std::size_t count = file->ReadAt(facts.size, block)) {
    facts.crc32 = Crc32(std::span(block).first(count), facts.crc32);
    facts.size += count;
  }
  return facts;
}

}  // namespace

std::uint32_t Crc32(storage::ByteView bytes, std::uint32_t crc) {
  static constexpr std::array<std::uint32_t, 256> kTable = MakeTable();
  crc = ~crc;
  for (const std::byte byte : bytes)
    crc = crc >> 8 ^ kTable[(crc ^ std::to_integer<std::uint32_t>(byte)) & 0xFF];
  return ~crc;
}

std::vector<FileFacts> FactsOf(storage::FileSystem& files, const fs::path& database, const fs::path& source) {
  std::vector<FileFacts> facts;
  const auto add = [&](const std::optional<fs::path>& path) {
    if (path && files.Exists(*path)) facts.push_back(Read(files, *path));
  };
  add(database);
  for (const std::string_view table : {"CENTRAL", "COMPS", "PHOTO"}) {
    try {
      const foxpro::TableFiles found = foxpro::FindTableFiles(files, source, table);
      for (const auto& path : {std::optional(found.table), found.index, found.fpt, found.dbt}) add(path);
    } catch (const common::Error& error) {
      if (error.number() != common::kObjectNotFound && error.number() != common::kPathNotFound) throw;
    }
  }
  return facts;
}

}  // namespace corvix::cli
