#include "cli/source_check.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>
#include <string_view>

#include "common/error.h"
#include "common/text.h"
#include "core/table_source.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/table_files.h"

namespace corvix::cli {
namespace {

constexpr std::array<std::string_view, 3> kTables{"CENTRAL", "COMPS", "PHOTO"};

std::optional<foxpro::TableFiles> Find(storage::FileSystem& files, const std::filesystem::path& directory,
                                       std::string_view table) {
  try {
    return foxpro::FindTableFiles(files, directory, table);
  } catch (const common::Error& error) {
    if (error.number() != common::kObjectNotFound) throw;
    return std::nullopt;
  }
}

foxpro::Finding Problem(std::string place, std::string text) {
  return {foxpro::Finding::Severity::Problem, std::move(place), std::move(text)};
}

std::optional<foxpro::Finding> CheckKeyIndex(storage::FileSystem& files, const foxpro::TableFiles& paths) {
  const std::string index_name = paths.FileName(".CDX");
  try {
    if (!paths.index) {
      const auto table = files.Open(paths.table, storage::OpenMode::Read);
      if (foxpro::ReadDbfHeader(*table, paths.table.string()).HasStructuralIndex()) return std::nullopt;
      return Problem(index_name,
                     fmt::format("the file is missing, and a conversion looks records up by its tag {}; "
                                 "copy {} from where {} came from, or let the old program rebuild it",
                                 core::kCentralKey, index_name, paths.FileName(".DBF")));
    }
    const foxpro::CdxFile index(files.Open(*paths.index, storage::OpenMode::Read), index_name);
    if (index.FindTag(core::kCentralKey) != nullptr) return std::nullopt;
    return Problem(index_name,
                   fmt::format("there is no tag {}, by which a conversion looks records up; let the old "
                               "program rebuild the index, or copy the right {}",
                               core::kCentralKey, index_name));
  } catch (const common::Error&) {
    return std::nullopt;  // damage is the business of the table's own check
  }
}

}  // namespace

std::vector<foxpro::Finding> CheckSource(storage::FileSystem& files, const std::filesystem::path& directory) {
  std::array<std::optional<foxpro::TableFiles>, kTables.size()> found;
  std::ranges::transform(kTables, found.begin(),
                         [&](std::string_view table) { return Find(files, directory, table); });
  std::vector<foxpro::Finding> findings;
  if (std::ranges::none_of(found, [](const auto& paths) { return paths.has_value(); })) return findings;
  for (std::size_t i = 0; i < kTables.size(); ++i) {
    if (!found[i]) {
      const std::string name = std::string(kTables[i]) + ".DBF";
      findings.push_back(Problem(
          name,
          fmt::format(
              "the table is missing, and a conversion ends without it; copy {0}.DBF and {0}.CDX{1} into "
              "the directory",
              kTables[i], kTables[i] == "COMPS" ? " and COMPS.FPT" : "")));
    } else if (auto finding = CheckKeyIndex(files, *found[i])) {
      findings.push_back(*std::move(finding));
    }
  }
  return findings;
}

}  // namespace corvix::cli
