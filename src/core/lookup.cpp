#include "core/lookup.h"

#include "common/text.h"
#include "common/trap.h"
#include "core/field_fit.h"

namespace corvix::core {
namespace {

using common::Action;
using common::Error;
using common::Trap;

std::optional<Action> SettleLookup(const Error& error) {
  switch (error.number()) {
    case common::kNoCurrentRecord:
      return Action::Leave;
    case common::kCannotBuildKey:
      if (auto* dialogs = common::CurrentDialogs()) dialogs->Notice(kCorruptDataMessage);
      throw common::ProgramEnd{};
    default:
      return std::nullopt;
  }
}

}  // namespace

bool FindRecord(TableSource& source, std::string& key, std::string_view index_name) {
  bool found = false;
  const common::Rules rules = SettleLookup;
  common::Procedure(
      "FindRecord",
      [&](const Trap& trap) {
        if (common::Trim(key).empty()) return;
        trap([&] { source.Records().SelectIndex(index_name); });
        Bookmark before;
        trap([&] { before = source.Records().GetBookmark(); });
        trap([&] { key = Trim2Size(source, key, index_name); });
        trap([&] { source.Records().SeekEqual(common::Trim(key)); });
        bool no_match = true;
        trap([&] { no_match = source.Records().NoMatch(); });
        if (no_match) {
          trap([&] { source.Records().SetBookmark(before); });
          return;
        }
        found = true;
      },
      rules);
  return found;
}

std::string GetFieldData(const TableSource& source, std::string_view field_name) {
  std::string text;
  GetFieldData(source, source.Recordset ? source.Recordset->FindField(field_name) : std::nullopt, text);
  return text;
}

void GetFieldData(const TableSource& source, std::optional<std::size_t> field, std::string& text) {
  common::CurrentProc = "GetFieldData";
  text.clear();
  if (!field || !source.Recordset || !source.Recordset->HasRow()) return;
  try {
    source.Recordset->ReadText(*field, text);
  } catch (const Error&) {
    text.clear();
  }
}

}  // namespace corvix::core
