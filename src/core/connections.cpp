#include "core/connections.h"

#include <utility>

#include "common/path_names.h"
#include "common/text.h"
#include "common/trap.h"

namespace corvix::core {
namespace {

using common::Action;
using common::CkRSlash;
using common::Error;
using common::Procedure;
using common::RemoveRSlash;
using common::StripRChar;
using common::Trap;

constexpr std::string_view kExtension = "DBF";
constexpr std::string_view kTargetTable = "COMPS";

void Notice(const std::string& text) {
  if (auto* dialogs = common::CurrentDialogs()) dialogs->Notice(text);
}

/// Shows `text` for a missing table and leaves the procedure; other errors are not this rule's.
common::Rules LeaveOnMissingTable(std::function<std::string()> text) {
  return [text = std::move(text)](const Error& error) -> std::optional<Action> {
    if (error.number() != common::kObjectNotFound) return std::nullopt;
    Notice(text());
    return Action::Leave;
  };
}

common::Rules TargetRules(const std::string& file_name) {
  return LeaveOnMissingTable([&file_name] {
    return "The file '" + file_name +
           ".MDB' is missing or is invalid.   Please check the installation path and try again (Setup, "
           "Configuration).";
  });
}

/// Error 91 where the database could not be opened and the user ignored that.
std::unique_ptr<RecordSet> OpenTargetTable(const DataAccess& access, const std::string& table_name) {
  if (!access.TargetDb) throw Error(common::kObjectNotSet, "The target database is not open", table_name);
  return access.TargetDb->OpenTable(table_name);
}

}  // namespace

std::string TargetFileIn(std::string comps_path) { return CkRSlash(comps_path).append(kTargetFile); }

void Connect2DBF(DataAccess& access, TableSource& source, std::string directory,
                 const std::string& table_name, std::int16_t recordset_type) {
  const auto rules = LeaveOnMissingTable([&source, &table_name] {
    return "Warning.  The file '" + common::UpperCase(source.DatabaseName + "\\" + table_name) +
           ".DBF' was not found or may be in another directory.  You also may not have this type of data.";
  });
  Procedure(
      "Connect2DBF",
      [&](const Trap& trap) {
        std::string file_name;
        trap([&] {
          const std::string tail = table_name.size() < kExtension.size()
                                       ? ""
                                       : table_name.substr(table_name.size() - kExtension.size());
          file_name = CkRSlash(directory) + table_name;
          if (common::UpperCase(tail) != kExtension) file_name += ".DBF";
        });
        bool exists = false;
        trap([&] { exists = access.engine->FileExists(file_name); });
        if (!exists) {
          Notice("The file " + file_name + " was not found.  Please correct and try again.");
          throw common::ProgramEnd{};
        }
        source.Connect = "FoxPro 2.6;";
        trap([&] { source.DatabaseName = StripRChar(directory); });
        source.RecordSource = table_name;
        source.RecordsetType = recordset_type;
        source.Recordset.reset();
        trap([&] { source.Recordset = access.engine->OpenFoxProTable(source.DatabaseName, table_name); });
      },
      rules);
}

void Connect2Sourcemdb(DataAccess& access, TableSource& source, const std::string& file_name,
                       const std::string& table_name, std::int16_t recordset_type) {
  Procedure(
      "Connect2Sourcemdb",
      [&](const Trap& trap) {
        trap([&] { access.TargetDb = access.engine->OpenDatabase(file_name); });
        if (common::Trim(table_name).empty()) return;
        trap([&] { source.Recordset = OpenTargetTable(access, table_name); });
        source.RecordsetType = recordset_type != 0 ? 1 : 0;
      },
      TargetRules(file_name));
}

void Connect2mdb(DataAccess& access, TableSource& source, const std::string& file_name,
                 const std::string& table_name, std::int16_t recordset_type) {
  Procedure(
      "Connect2mdb",
      [&](const Trap& trap) {
        trap([&] { access.TargetDb = access.engine->OpenDatabase(file_name); });
        trap([&] { source.Recordset = OpenTargetTable(access, table_name); });
        source.RecordsetType = recordset_type;
      },
      TargetRules(file_name));
}

void Connect2Data(DataAccess& access, ConversionSources& sources, std::string comp_path,
                  std::string comps_path) {
  const std::string directory = RemoveRSlash(comp_path);
  Connect2DBF(access, sources.datphoto, directory, "PHOTO", 0);
  Connect2DBF(access, sources.datcomps, directory, "COMPS", 0);
  Connect2DBF(access, sources.datCentral, directory, "CENTRAL", 0);
  Connect2Sourcemdb(access, sources.DATFOLVANE, TargetFileIn(std::move(comps_path)),
                    std::string(kTargetTable), 0);
}

}  // namespace corvix::core
