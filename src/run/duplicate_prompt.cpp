#include "run/duplicate_prompt.h"

#include <fmt/format.h>

#include "common/path_names.h"
#include "common/text.h"
#include "core/lookup.h"
#include "core/text_form.h"

namespace corvix::run {
namespace {

using core::kCentralKey;
using enum PromptTable;

PromptRow CompsRow(std::string_view caption, std::string_view label, std::string_view box,
                   std::string_view field, std::string_view target_field) {
  return {caption, {{label, Comps, field}}, {{box, Target, target_field}}};
}

std::vector<PromptRow> MakeRows() {
  return {
      {"Address",
       {{"lblAddress", Central, "ADDRESS"}},
       {{"Text17", Target, "Address"}, {"Text15", Target, "Address2"}}},
      {"City",
       {{"lblCity", Central, "CITY"}, {"lblState", Central, "ST"}, {"lblZip", Central, "ZIP"}},
       {{"txtCity", Target, "City"}, {"txtSt", Target, "St"}, {"txtZip", Target, "Zip"}}},
      {"County", {{"lblCounty", Central, "COUNTY"}}, {{"txtCounty", Central, "County"}}},
      CompsRow("Load Date", "lblLoadDate", "TxtCLoadDate", "loaddate", "LOADDATE"),
      CompsRow("Neighborhood", "lblNeighborHd", "Text9", "NEIGHBORHD", "NEIGHBORHD"),
      CompsRow("Sale Price", "lblSellingPr", "Text8", "SELLINGPR", "SELLINGPR"),
      CompsRow("Source", "lblDataSource", "Text7", "DATASOURCE", "DATASOURCE"),
      CompsRow("Days On Market", "lblDaysOnMkt", "Text10", "DAYSONMKT", "DAYSONMKT"),
      CompsRow("Sale Date", "lblSaleDate", "Text6", "SALEDATE", "saledate"),
      CompsRow("YearBuilt", "lblYearBuilt", "Text5", "YEARBUILT", "yearbuilt"),
      {"Room Count",
       {{"lblRoomCount", Comps, "ROOMCOUNT"}, {"lblBedRoom", Comps, "BEDROOM"}, {"lblBath", Comps, "BATH"}},
       {{"Text3", Target, "roomcount"}, {"Text2", Target, "bedroom"}, {"Text1", Target, "bath"}}},
      CompsRow("GLA", "lblGla", "Text4", "GLA", "gla"),
      CompsRow("Stories", "lblStrCode", "Text11", "STRCODE", "STRCODE"),
      CompsRow("Class Type Style", "lblCTSCode", "Text12", "CTSCODE", "CTSCODE"),
  };
}

/// Name of the table in a file. A path splits at its first ".", which a directory may hold, so the
/// directories are left out.
std::string TableOf(std::string_view file) { return common::FileBaseName(file.substr(file.rfind('\\') + 1)); }

std::string RecordOf(std::string_view table, const core::TableSource& source) {
  const std::int64_t number = source.Recordset ? source.Recordset->RecordNumber() : 0;
  return number == 0 ? std::string() : fmt::format("{} record {}", table, number);
}

}  // namespace

std::span<const PromptRow> PromptRows() {
  static const std::vector<PromptRow> rows = MakeRows();
  return rows;
}

PromptContents::PromptContents(Session& session) : datCentral_(session.sources.datCentral) {
  const std::string key(common::Trim(session.values.CurrentKey));
  const settings::PathStrings& paths = session.paths;
  comps_table_ = TableOf(paths.CompFile);
  core::Connect2DBF(session.access, datcomps_, paths.CompPath, comps_table_, 0);
  core::Connect2mdb(session.access, DATFOLVANE_, paths.CompsFile, "comps", 0);
  const auto look_up = [&key](core::TableSource& source) {
    std::string sought = key;
    return core::FindRecord(source, sought, kCentralKey);
  };
  source_found_ = look_up(datcomps_);
  question_ = "Comp Address '" + key + "' was found.  Overwrite?";
  target_found_ = look_up(DATFOLVANE_);
}

std::string PromptContents::SourceRecords() const {
  if (!source_found_) return {};
  const std::string central = RecordOf("CENTRAL", datCentral_);
  const std::string comps = RecordOf(comps_table_, datcomps_);
  return central + (central.empty() || comps.empty() ? "" : ", ") + comps;
}

std::string PromptContents::Text(const PromptCell& cell) const {
  switch (cell.table) {
    case Comps:
      return source_found_ ? core::GetFieldData(datcomps_, cell.field) : std::string();
    case Central:
      return source_found_ ? core::GetFieldData(datCentral_, cell.field) : std::string();
    case Target:
      return target_found_ ? core::GetFieldData(DATFOLVANE_, cell.field) : std::string();
  }
  return {};
}

bool PromptContents::Differs(const PromptRow& row, std::size_t position) const {
  if (position >= row.source.size() || position >= row.target.size()) return false;
  const std::string source = Text(row.source[position]);
  const std::string target = Text(row.target[position]);
  if (common::Trim(source) == common::Trim(target)) return false;
  const auto day = IsDate(row.target[position]) ? core::ParseDate(source) : std::nullopt;
  return !day || day != core::ParseDate(target);
}

bool PromptContents::IsDate(const PromptCell& cell) const {
  if (cell.table != Target || !target_found_) return false;
  const auto field = DATFOLVANE_.Recordset->FindField(cell.field);
  return field && DATFOLVANE_.Recordset->Fields()[*field].type == core::FieldType::Date;
}

}  // namespace corvix::run
