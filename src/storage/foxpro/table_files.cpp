#include "storage/foxpro/table_files.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/error.h"
#include "common/text.h"

namespace corvix::foxpro {
namespace {

constexpr std::string_view kTableExtension = ".DBF";

/// The entry that is `name` without regard to case: an exact match if there is one, else the smallest, so
/// that the choice does not depend on the order of the directory.
std::optional<std::string> FindName(const std::vector<std::string>& names, std::string_view name) {
  std::optional<std::string> best;
  for (const std::string& candidate : names) {
    if (candidate == name) return candidate;
    if (common::EqualIgnoringCase(candidate, name) && (!best || candidate < *best)) best = candidate;
  }
  return best;
}

}  // namespace

TableFiles FindTableFiles(storage::FileSystem& files, const std::filesystem::path& directory,
                          std::string_view table) {
  std::string_view base = common::Trim(table);
  if (base.size() > kTableExtension.size() &&
      common::EqualIgnoringCase(base.substr(base.size() - kTableExtension.size()), kTableExtension)) {
    base.remove_suffix(kTableExtension.size());
  }
  const std::vector<std::string> names = files.List(directory);
  const auto find = [&](std::string_view stem,
                        std::string_view extension) -> std::optional<std::filesystem::path> {
    const auto found = FindName(names, std::string(stem) + std::string(extension));
    if (!found) return std::nullopt;
    return directory / *found;
  };
  const auto found = find(base, kTableExtension);
  if (!found) {
    throw common::Error(
        common::kObjectNotFound,
        fmt::format("There is no table {}.DBF in the directory; choose the directory that holds it",
                    common::UpperCase(base)),
        directory.string());
  }
  TableFiles paths;
  paths.directory = directory;
  paths.name = common::UpperCase(base);
  paths.table = *found;
  const std::string stem =
      found->stem().string();  // siblings are spelt like the table where names are ambiguous
  paths.index = find(stem, ".CDX");
  paths.fpt = find(stem, ".FPT");
  paths.dbt = find(stem, ".DBT");
  return paths;
}

bool NeedsMemoFile(const DbfHeader& header) {
  return std::ranges::any_of(header.fields,
                             [&](const DbfField& field) { return IsMemoField(field, header.version); });
}

std::optional<MemoFile> OpenMemoFile(storage::FileSystem& files, const TableFiles& paths,
                                     const DbfHeader& header) {
  if (!NeedsMemoFile(header)) return std::nullopt;
  const MemoKind kind = MemoKindOf(header.version);
  const auto& path = kind == MemoKind::FoxPro ? paths.fpt : paths.dbt;
  if (!path) {
    throw common::Error(
        common::kCompanionFileMissing,
        fmt::format("Table {} keeps its memos in {}, which is missing; copy that file into the "
                    "directory from where {} came from",
                    paths.name, paths.FileName(MemoExtension(kind)), paths.FileName(kTableExtension)),
        paths.directory.string());
  }
  return std::optional<MemoFile>(std::in_place, files.Open(*path, storage::OpenMode::Read), kind,
                                 path->string());
}

}  // namespace corvix::foxpro
