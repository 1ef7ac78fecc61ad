#include "sample/sample_writer.h"

#include <string>
#include <string_view>

#include "common/error.h"
#include "core/engine.h"
#include "core/text_form.h"
#include "sample/folvane_schema.h"
#include "storage/foxpro/foxpro_writer.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/jet_database.h"

namespace corvix::sample {
namespace {

using foxpro::Day;
using foxpro::FoxProWriter;
using foxpro::NewTable;

constexpr std::string_view kTargetFile = "FOLVANE.MDB";
constexpr std::string_view kTargetTable = "COMPS";

void CheckOptions(const OfficeOptions& options) {
  if (options.records < 0 || options.records > kMaxRecords) {
    throw common::Error(common::kInvalidCall, "An office has 0 to " + std::to_string(kMaxRecords) +
                                                  " records; choose a number between");
  }
  if (options.duplicates_percent < 0 || options.duplicates_percent > 100) {
    throw common::Error(common::kInvalidCall, "The share of duplicates is 0 to 100 percent");
  }
}

NewTable CentralTable() {
  return {.fields = {{"CENTRALKEY", 'C', 35},
                     {"ADDRESS", 'C', 35},
                     {"ADDRESS2", 'C', 35},
                     {"CITY", 'C', 25},
                     {"ST", 'C', 2},
                     {"ZIP", 'C', 10},
                     {"COUNTY", 'C', 20},
                     {"SUBDIV", 'C', 30},
                     {"CENSUS", 'C', 10},
                     {"MAPREF", 'C', 15},
                     {"LOTSIZE", 'N', 10, 2},
                     {"OWNER", 'C', 30}},
          .tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"}, {.name = "CITY", .key = "CITY"}}};
}

NewTable CompsTable() {
  return {.fields = {{"CENTRALKEY", 'C', 35},
                     {"LOADDATE", 'D', 8},
                     {"NEIGHBORHD", 'C', 20},
                     {"SELLINGPR", 'N', 10},
                     {"DATASOURCE", 'C', 25},
                     {"DAYSONMKT", 'N', 4},
                     {"SALEDATE", 'C', 10},
                     {"YEARBUILT", 'C', 4},
                     {"ROOMCOUNT", 'N', 2},
                     {"BEDROOM", 'N', 2},
                     {"BATH", 'N', 4, 1},
                     {"GLA", 'N', 6},
                     {"STRCODE", 'C', 8},
                     {"CTSCODE", 'C', 10},
                     {"CONDITION", 'C', 12},
                     {"GARAGE", 'N', 2},
                     {"POOL", 'L', 1},
                     {"COMMENTS", 'M', 10}},
          .tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"},
                   {.name = "PRICE", .key = "SELLINGPR", .descending = true}}};
}

NewTable PhotoTable() {
  return {.fields = {{"CENTRALKEY", 'C', 35}, {"PICTID", 'C', 12}, {"VIEW", 'C', 20}, {"TAKEN", 'D', 8}},
          .tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"}}};
}

/// Sets the fields of one record one after the other.
class RecordFiller {
 public:
  explicit RecordFiller(FoxProWriter& writer) : writer_(writer) {}
  RecordFiller& Text(std::string_view text) {
    writer_.SetText(field_++, text);
    return *this;
  }
  /// Blank for the empty text.
  RecordFiller& Number(std::string_view text) {
    if (!text.empty()) writer_.SetNumber(field_, core::ToDouble(text));
    ++field_;
    return *this;
  }
  /// YYYYMMDD; blank for the empty text.
  RecordFiller& Date(std::string_view text) {
    writer_.SetRaw(field_++, text);
    return *this;
  }
  RecordFiller& Logical(std::string_view text) {
    writer_.SetLogical(field_++, text == "T");
    return *this;
  }
  RecordFiller& Memo(std::string_view text) {
    if (!text.empty()) writer_.SetMemo(field_, text);
    ++field_;
    return *this;
  }
  void Append() { writer_.Append(); }

 private:
  FoxProWriter& writer_;
  std::size_t field_ = 0;
};

void Append(FoxProWriter& writer, const CentralRecord& r) {
  RecordFiller(writer)
      .Text(r.key)
      .Text(r.address)
      .Text(r.address2)
      .Text(r.city)
      .Text(r.st)
      .Text(r.zip)
      .Text(r.county)
      .Text(r.subdiv)
      .Text(r.census)
      .Text(r.mapref)
      .Number(r.lotsize)
      .Text(r.owner)
      .Append();
}

void Append(FoxProWriter& writer, const CompsRecord& r) {
  RecordFiller(writer)
      .Text(r.key)
      .Date(r.load_date)
      .Text(r.neighborhood)
      .Number(r.selling_price)
      .Text(r.data_source)
      .Number(r.days_on_market)
      .Text(r.sale_date)
      .Text(r.year_built)
      .Number(r.room_count)
      .Number(r.bedrooms)
      .Number(r.baths)
      .Number(r.gla)
      .Text(r.story_code)
      .Text(r.style_code)
      .Text(r.condition)
      .Number(r.garage)
      .Logical(r.pool)
      .Memo(r.comments)
      .Append();
}

void Append(FoxProWriter& writer, const PhotoRecord& r) {
  RecordFiller(writer).Text(r.key).Text(r.picture_id).Text(r.view).Date(r.taken).Append();
}

/// A row of the target as an earlier conversion and some typing left it.
void StoreTargetRow(core::RecordSet& records, const Property& property) {
  const auto set = [&records](std::string_view field, const std::string& text) {
    if (!text.empty()) records.Write(core::RequireField(records, field), core::Value(text));
  };
  const CentralRecord& central = property.central;
  records.BeginAdd();
  set("CENTRALKEY", central.key);
  set("Address", central.address);
  set("City", central.city);
  set("St", central.st);
  if (!property.comps.empty()) {
    const CompsRecord& comps = property.comps.front();
    set("SELLINGPR", comps.selling_price);
    set("DAYSONMKT", comps.days_on_market);
    set("NOTES", comps.comments);
  }
  if (!property.photos.empty()) set("PHOTOS", "STREET VIEW|" + property.photos.front().picture_id + "\r\n");
  records.Store();
}

}  // namespace

void WriteSourceTables(storage::FileSystem& files, const std::filesystem::path& directory,
                       const OfficeOptions& options) {
  CheckOptions(options);
  FoxProWriter central(files, directory, "CENTRAL", CentralTable());
  FoxProWriter comps(files, directory, "COMPS", CompsTable());
  FoxProWriter photo(files, directory, "PHOTO", PhotoTable());
  for (std::int64_t index = 0; index < options.records; ++index) {
    const Property property = MakeProperty(options, index);
    Append(central, property.central);
    for (const CompsRecord& record : property.comps) Append(comps, record);
    for (const PhotoRecord& record : property.photos) Append(photo, record);
  }
  central.Finish();
  comps.Finish();
  photo.Finish();
}

void WriteTarget(storage::FileSystem& files, const std::filesystem::path& directory,
                 const OfficeOptions& options) {
  CheckOptions(options);
  const std::filesystem::path path = directory / kTargetFile;
  jet::CreateDatabase(files, path, FolvaneSchema());
  const auto database = jet::OpenJetDatabase(files, path, core::Access::ReadWrite);
  const auto records = database->OpenTable(kTargetTable);
  for (std::int64_t index = 0; index < options.records; ++index) {
    const Property property = MakeProperty(options, index);
    if (property.in_target) StoreTargetRow(*records, property);
  }
  database->Close();
}

void WriteOffice(storage::FileSystem& files, const std::filesystem::path& directory,
                 const OfficeOptions& options) {
  WriteSourceTables(files, directory, options);
  WriteTarget(files, directory, options);
}

}  // namespace corvix::sample
