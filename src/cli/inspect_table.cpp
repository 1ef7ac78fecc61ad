#include "cli/inspect_table.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <optional>
#include <span>

#include "cli/json_object.h"
#include "cli/shown_text.h"
#include "common/error.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/foxpro_choices.h"
#include "storage/foxpro/table_files.h"

namespace corvix::cli {
namespace {

using foxpro::DbfField;
using foxpro::Tag;

std::string_view TypeOf(const DbfField& field) {
  switch (field.type) {
    case 'C':
      return "character";
    case 'N':
      return "numeric";
    case 'F':
      return "float";
    case 'D':
      return "date";
    case 'L':
      return "logical";
    case 'M':
      return "memo";
    case 'G':
      return "general";
    case 'P':
      return "picture";
    case 'B':
      return "double";
    case 'I':
      return "integer";
    case 'Y':
      return "currency";
    case 'T':
      return "date/time";
    default:
      return {&field.type, 1};
  }
}

/// What the files of a table say about it.
struct TableDescription {
  foxpro::TableFiles paths;
  foxpro::DbfHeader header;
  std::uint32_t records = 0;  // deleted ones not counted
  std::uint32_t deleted = 0;
  std::optional<std::filesystem::path> memo;
  std::unique_ptr<foxpro::CdxFile> index;
  std::string index_problem;

  std::span<const Tag> tags() const { return index ? index->tags() : std::span<const Tag>(); }
};

TableDescription Describe(storage::FileSystem& files, const std::filesystem::path& path) {
  TableDescription table{.paths =
                             foxpro::FindTableFiles(files, path.parent_path(), path.filename().string())};
  foxpro::DbfFile file(files.Open(table.paths.table, storage::OpenMode::Read), table.paths.table.string());
  table.header = file.header();
  table.records = file.CountVisible();
  table.deleted = file.RecordCount() - table.records;
  if (foxpro::NeedsMemoFile(table.header)) table.memo = table.paths.fpt ? table.paths.fpt : table.paths.dbt;
  if (!table.paths.index) {
    if (table.header.HasStructuralIndex()) table.index_problem = table.paths.FileName(".CDX") + " is missing";
    return table;
  }
  try {
    table.index = std::make_unique<foxpro::CdxFile>(files.Open(*table.paths.index, storage::OpenMode::Read),
                                                    table.paths.index->filename().string());
  } catch (const common::Error& error) {
    table.index_problem = error.what();
  }
  return table;
}

std::string Text(const TableDescription& table) {
  std::string text =
      fmt::format("table {} ({})\n  {} records, {} deleted, code page {}\n", table.paths.name,
                  table.paths.table.string(), ShownCount(table.records), ShownCount(table.deleted),
                  foxpro::CodePageOfTable(table.header.language_driver));
  const auto out = std::back_inserter(text);
  if (foxpro::NeedsMemoFile(table.header)) {
    fmt::format_to(out, "  memos in {}\n",
                   table.memo ? table.memo->filename().string() : "a file that is missing");
  }
  text += "  fields\n";
  for (const DbfField& field : table.header.fields) {
    const std::string size = field.decimals > 0 ? fmt::format("{}.{}", field.length, field.decimals)
                                                : fmt::format("{}", field.length);
    fmt::format_to(out, "    {:<12}{:<11}{:>6}\n", ShownText(field.name), TypeOf(field), size);
  }
  if (!table.index_problem.empty()) fmt::format_to(out, "  no usable index: {}\n", table.index_problem);
  if (!table.tags().empty()) fmt::format_to(out, "  tags of {}\n", table.paths.index->filename().string());
  for (const Tag& tag : table.tags()) {
    fmt::format_to(out, "    {:<12}{}", ShownText(tag.name), ShownText(tag.key));
    if (!tag.condition.empty()) fmt::format_to(out, " for {}", ShownText(tag.condition));
    if (tag.IsUnique()) text += ", unique";
    if (tag.descending) text += ", descending";
    if (!tag.collation.empty()) fmt::format_to(out, ", collation {}", ShownText(tag.collation));
    text += '\n';
  }
  return text + "\n";
}

std::string Json(const TableDescription& table) {
  const std::string fields = JsonArray(table.header.fields, [](const DbfField& field) {
    return JsonObject()
        .Text("name", field.name)
        .Text("type", TypeOf(field))
        .Number("length", field.length)
        .Number("decimals", field.decimals)
        .Finish();
  });
  const std::string indexes = JsonArray(table.tags(), [](const Tag& tag) {
    return JsonObject()
        .Text("name", tag.name)
        .Text("expression", tag.key)
        .Text("condition", tag.condition)
        .Truth("unique", tag.IsUnique())
        .Truth("descending", tag.descending)
        .Text("collation", tag.collation)
        .Finish();
  });
  JsonObject object;
  object.Text("kind", "table")
      .Text("name", table.paths.name)
      .Text("path", table.paths.table.string())
      .Number("records", table.records)
      .Number("deleted", table.deleted)
      .Number("code_page", foxpro::CodePageOfTable(table.header.language_driver));
  if (table.memo) object.Text("memo_file", table.memo->string());
  object.Raw("fields", fields).Raw("indexes", indexes);
  if (!table.index_problem.empty()) object.Text("index_problem", table.index_problem);
  return object.Finish() + "\n";
}

}  // namespace

std::string DescribeTable(storage::FileSystem& files, const std::filesystem::path& path, bool json) {
  const TableDescription table = Describe(files, path);
  return json ? Json(table) : Text(table);
}

}  // namespace corvix::cli
