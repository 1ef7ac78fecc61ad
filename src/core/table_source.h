// A table source: a named object that holds one table's connection settings and its open record set. All data
// access of the system goes through table sources; the connection procedures (connections.h) fill them in.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/error.h"
#include "core/record_set.h"

namespace corvix::core {

/// Name of the record key field and of the index over it, the same in all four tables.
inline constexpr std::string_view kCentralKey = "CENTRALKEY";

struct TableSource {
  std::string name;                     ///< for messages
  std::string Connect = "FoxPro 2.6;";  ///< kind of database
  std::string DatabaseName;             ///< FoxPro: the directory, without a trailing "\"
  std::string RecordSource;             ///< the table, without extension
  std::int16_t RecordsetType = 0;       ///< 0 table, 1 dynaset
  std::unique_ptr<RecordSet> Recordset;
  std::optional<common::Error> failure;  ///< why there is none: of the last connection, where that failed

  /// The open record set, or error 91 when the source was never connected.
  RecordSet& Records() const;
};

}  // namespace corvix::core
