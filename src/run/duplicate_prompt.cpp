#include "run/duplicate_prompt.h"

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

}  // namespace

std::span<const PromptRow> PromptRows() {
  static const std::vector<PromptRow> rows = MakeRows();
  return rows;
}

PromptContents::PromptContents(Session& session) {
  const std::string key(common::Trim(session.values.CurrentKey));
  const settings::PathStrings& paths = session.paths;
  core::Connect2DBF(session.access, datcomps_, paths.CompPath, common::FileBaseName(paths.CompFile), 0);
  core::Connect2DBF(session.access, datcentral_, paths.CompPath, "CENTRAL", 0);
  core::Connect2mdb(session.access, DATFOLVANE_, paths.CompsFile, "comps", 0);
  const auto look_up = [&key](core::TableSource& source) {
    std::string sought = key;
    return core::FindRecord(source, sought, kCentralKey);
  };
  source_found_ = look_up(datcomps_);
  central_found_ = source_found_ && look_up(datcentral_);
  question_ = "Comp Address '" + key + "' was found.  Overwrite?";
  target_found_ = look_up(DATFOLVANE_);
}

std::string PromptContents::Text(const PromptCell& cell) const {
  switch (cell.table) {
    case Comps:
      return source_found_ ? core::GetFieldData(datcomps_, cell.field) : std::string();
    case Central:
      return central_found_ ? core::GetFieldData(datcentral_, cell.field) : std::string();
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
