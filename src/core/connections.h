// Connecting table sources to their files: the three source tables of a FoxPro directory and the target table
// of an Access database. The procedures follow the error convention; Connect2Data has no handler of its own.
// A source whose connection fails, in whatever way, is left without a record set and with the failure, so
// that nobody goes on with the table that it stood for before.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/engine.h"
#include "core/table_source.h"

namespace corvix::core {

/// The file that a conversion writes, whatever name the boxes hold.
inline constexpr std::string_view kTargetFile = "FOLVANE.MDB";

/// Its full name in the directory that a box names.
std::string TargetFileIn(std::string comps_path);

/// The table engine, and the one connection to the target database. Each opening of the target replaces
/// TargetDb; record sets opened through the one before stay usable.
struct DataAccess {
  TableEngine* engine = nullptr;
  std::shared_ptr<Database> TargetDb;
};

/// The four table sources of a conversion.
struct ConversionSources {
  TableSource datCentral{.name = "datCentral"};
  TableSource datcomps{.name = "datcomps"};
  TableSource datphoto{.name = "datphoto"};
  TableSource DATFOLVANE{.name = "DATFOLVANE"};
};

/// Connects a source to a FoxPro table. A missing file: a notice, then the end of the program. Error 3011
/// while opening: a warning, no more.
void Connect2DBF(DataAccess& access, TableSource& source, std::string directory,
                 const std::string& table_name, std::int16_t recordset_type);

/// Opens the target database and, when `table_name` is not blank, connects the source to that table. Error
/// 3011: a notice, no more.
void Connect2Sourcemdb(DataAccess& access, TableSource& source, const std::string& file_name,
                       const std::string& table_name, std::int16_t recordset_type);

/// The same for the duplicate prompt's target: the table is opened whatever its name, the type kept as given.
void Connect2mdb(DataAccess& access, TableSource& source, const std::string& file_name,
                 const std::string& table_name, std::int16_t recordset_type);

/// Connects photo, comps, central and target, in this order, from the texts of the two directory boxes.
void Connect2Data(DataAccess& access, ConversionSources& sources, std::string comp_path,
                  std::string comps_path);

}  // namespace corvix::core
