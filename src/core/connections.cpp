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

/// Keeps each error as the source's failure. Shows `text` for a missing table and leaves the procedure; other
/// errors are not this rule's.
common::Rules LeaveOnMissingTable(TableSource& source, std::function<std::string()> text) {
  return [&source, text = std::move(text)](const Error& error) -> std::optional<Action> {
    source.failure = error;
    if (error.number() != common::kObjectNotFound) return std::nullopt;
    Notice(text());
    return Action::Leave;
  };
}

common::Rules TargetRules(TableSource& source, const std::string& file_name) {
  return LeaveOnMissingTable(source, [&file_name] {
    return "The file '" + file_name +
           ".MDB' is missing or is invalid.   Please check the installation path and try again (Setup, "
           "Configuration).";
  });
}

/// A source is connected to what it was asked for or to nothing, never to what it stood for before.
void Disconnect(TableSource& source) {
  source.Recordset.reset();
  source.failure.reset();
}

void Accept(TableSource& source, std::unique_ptr<RecordSet> records) {
  source.Recordset = std::move(records);
  source.failure.reset();
}

/// The database of that name, as TargetDb too. None where it could not be opened and the user ignored that:
/// TargetDb is then of an earlier opening, and not what is wanted.
std::shared_ptr<Database> OpenTarget(DataAccess& access, const std::string& file_name, const Trap& trap) {
  std::shared_ptr<Database> opened;
  trap([&] { access.TargetDb = opened = access.engine->OpenDatabase(file_name); });
  return opened;
}

void OpenTargetTable(Database* database, TableSource& source, const std::string& table_name,
                     const Trap& trap) {
  if (database == nullptr) return;
  trap([&] { Accept(source, database->OpenTable(table_name)); });
}

}  // namespace

std::string TargetFileIn(std::string comps_path) { return CkRSlash(comps_path).append(kTargetFile); }

void Connect2DBF(DataAccess& access, TableSource& source, std::string directory,
                 const std::string& table_name, std::int16_t recordset_type) {
  const auto rules = LeaveOnMissingTable(source, [&source, &table_name] {
    return "Warning.  The file '" + common::UpperCase(source.DatabaseName + "\\" + table_name) +
           ".DBF' was not found or may be in another directory.  You also may not have this type of data.";
  });
  Procedure(
      "Connect2DBF",
      [&](const Trap& trap) {
        Disconnect(source);
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
        trap([&] { Accept(source, access.engine->OpenFoxProTable(source.DatabaseName, table_name)); });
      },
      rules);
}

void Connect2Sourcemdb(DataAccess& access, TableSource& source, const std::string& file_name,
                       const std::string& table_name, std::int16_t recordset_type) {
  Procedure(
      "Connect2Sourcemdb",
      [&](const Trap& trap) {
        const bool connects = !common::Trim(table_name).empty();
        if (connects) Disconnect(source);
        const auto database = OpenTarget(access, file_name, trap);
        if (!connects) return;
        OpenTargetTable(database.get(), source, table_name, trap);
        source.RecordsetType = recordset_type != 0 ? 1 : 0;
      },
      TargetRules(source, file_name));
}

void Connect2mdb(DataAccess& access, TableSource& source, const std::string& file_name,
                 const std::string& table_name, std::int16_t recordset_type) {
  Procedure(
      "Connect2mdb",
      [&](const Trap& trap) {
        Disconnect(source);
        const auto database = OpenTarget(access, file_name, trap);
        OpenTargetTable(database.get(), source, table_name, trap);
        source.RecordsetType = recordset_type;
      },
      TargetRules(source, file_name));
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
