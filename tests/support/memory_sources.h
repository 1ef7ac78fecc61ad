// The four table sources of a conversion over tables in memory, in the fields that the rules name.
#pragma once

#include <memory>

#include "common/report_error.h"
#include "core/connections.h"
#include "support/memory_table.h"
#include "support/recording_dialogs.h"

namespace corvix::test {

inline core::Field TextField(std::string name, std::int32_t size) {
  return {.name = std::move(name), .type = core::FieldType::Text, .size = size};
}
inline core::Field TypedField(std::string name, core::FieldType type) {
  return {.name = std::move(name), .type = type, .size = 8};
}

/// A table whose key is CENTRALKEY, ordered as the kind of table orders it.
inline std::shared_ptr<MemoryTable> KeyedTable(std::vector<core::Field> fields, KeyOrder order,
                                               bool unique = false) {
  return std::make_shared<MemoryTable>(
      std::move(fields), std::vector<MemoryIndex>{{.name = "CENTRALKEY", .order = order, .unique = unique}});
}

/// Tables with a usual set of fields.
struct MemoryTables {
  std::shared_ptr<MemoryTable> central = KeyedTable(
      {TextField("CENTRALKEY", 10), TextField("ADDRESS", 10), TypedField("LOTSIZE", core::FieldType::Double)},
      KeyOrder::FoxProTag);
  std::shared_ptr<MemoryTable> comps =
      KeyedTable({TextField("CENTRALKEY", 10), TextField("CONDITION", 8), TextField("SALEDATE", 10),
                  TypedField("GLA", core::FieldType::Double)},
                 KeyOrder::FoxProTag);
  std::shared_ptr<MemoryTable> photo = KeyedTable(
      {TextField("CENTRALKEY", 10), TextField("PICTID", 8), TextField("VIEW", 12)}, KeyOrder::FoxProTag);
  std::shared_ptr<MemoryTable> target = KeyedTable(
      {TextField("CENTRALKEY", 10), TextField("Address", 10), TypedField("LOTSIZE", core::FieldType::Double),
       TextField("CONDITION", 8), TypedField("SaleDate", core::FieldType::Date),
       TypedField("SaleSerial", core::FieldType::Double), TypedField("GLA", core::FieldType::Double),
       TypedField("PHOTOS", core::FieldType::Memo), TypedField("FRONT", core::FieldType::YesNo)},
      KeyOrder::AccessText, true);
};

/// The tables, and sources that stand on them. A test replaces a table before Connect.
struct MemorySources : MemoryTables {
  core::ConversionSources sources;
  RecordingDialogs dialogs;
  common::DialogsScope scope{dialogs};

  void Connect() {
    sources.datCentral.Recordset = central->Open();
    sources.datcomps.Recordset = comps->Open();
    sources.datphoto.Recordset = photo->Open();
    sources.DATFOLVANE.Recordset = target->Open();
  }
  core::RecordSet& Target() { return sources.DATFOLVANE.Records(); }
};

}  // namespace corvix::test
