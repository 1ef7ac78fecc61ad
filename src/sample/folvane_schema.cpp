#include "sample/folvane_schema.h"

namespace corvix::sample {
namespace {

using jet::ColumnDescription;
using jet::ColumnType;

ColumnDescription Text(std::string name, std::uint16_t length) {
  return {.name = std::move(name), .type = ColumnType::Text, .length = length};
}

ColumnDescription Plain(std::string name, ColumnType type) { return {.name = std::move(name), .type = type}; }

}  // namespace

jet::DatabaseDescription FolvaneSchema(const FolvaneOptions& options) {
  jet::TableDescription comps;
  comps.name = "COMPS";
  comps.columns = {
      {.name = "RECID", .type = ColumnType::Long, .autonumber = true},
      Text("CENTRALKEY", 35),
      Text("Address", 35),
      Text("Address2", 35),
      Text("City", 25),
      Text("St", 2),
      Text("Zip", 10),
      Text("COUNTY", 20),
      Text("SUBDIV", 30),
      Text("CENSUS", 10),
      Text("MAPREF", 15),
      Plain("LOTSIZE", ColumnType::Double),
      Text("OWNER", 30),
      Plain("LOADDATE", ColumnType::Date),
      Text("NEIGHBORHD", 20),
      Plain("SELLINGPR", ColumnType::Double),
      Text("DATASOURCE", 25),
      Plain("DAYSONMKT", ColumnType::Single),
      Plain("SaleDate", ColumnType::Date),
      Plain("SaleSerial", ColumnType::Double),
      Text("YEARBUILT", 4),
      Plain("ROOMCOUNT", ColumnType::Single),
      Plain("BEDROOM", ColumnType::Single),
      Plain("BATH", ColumnType::Single),
      Plain("GLA", ColumnType::Double),
      Text("STRCODE", 8),
      Text("CTSCODE", 10),
      Text("CONDITION", 12),
      Plain("GARAGE", ColumnType::Integer),
      Plain("POOL", ColumnType::YesNo),
      Plain("COMMENTS", ColumnType::Memo),
      options.photos_is_text ? Text("PHOTOS", 255) : Plain("PHOTOS", ColumnType::Memo),
      Plain("FRONT", ColumnType::YesNo),
      Plain("ADJUSTED", ColumnType::Currency),
      Plain("NOTES", ColumnType::Memo),
  };
  for (ColumnDescription& column : comps.columns) column.allow_zero_length = options.allow_zero_length;
  comps.indexes = {
      {.name = "PrimaryKey", .columns = {{"RECID"}}, .primary = true},
      {.name = "CENTRALKEY", .columns = {{"CENTRALKEY"}}, .unique = true},
      {.name = "CityIdx", .columns = {{"City"}}},
      {.name = "PriceIdx", .columns = {{"SELLINGPR"}}},
      {.name = "SaleDateIdx", .columns = {{"SaleDate"}}},
  };
  jet::DatabaseDescription database;
  database.tables.push_back(std::move(comps));
  return database;
}

}  // namespace corvix::sample
