#include "run/record_account.h"

#include <algorithm>
#include <utility>

#include "common/report_error.h"
#include "common/text.h"
#include "core/lookup.h"
#include "run/value_fate.h"

namespace corvix::run {

void Accountant::RowStored(const StoredRow& row) {
  auto change = std::ranges::find(changes_, row.key, &RowChange::key);
  if (change == changes_.end()) change = changes_.insert(change, {.key = row.key, .added = row.added});
  for (const FieldChange& field : row.changes) {
    const auto known = std::ranges::find(change->fields, field.field->name, &RowChange::Field::name);
    if (known == change->fields.end()) {
      change->fields.push_back(
          {field.field->name, change->added ? core::Value() : field.before, field.after});
    } else {
      known->after = field.after;
    }
  }
}

RecordAccount Accountant::Take(const RecordEvent& event) {
  const common::ProcedureName recorded = common::CurrentProc;  // an error on its way out is told with it
  RecordAccount account{.event = event, .changes = std::exchange(changes_, {})};
  for (RowChange& row : account.changes) {
    std::erase_if(row.fields, [](const RowChange::Field& field) { return field.before == field.after; });
  }
  std::erase_if(account.changes, [](const RowChange& row) { return !row.added && row.fields.empty(); });
  if (event.merged_central) AddLost(session_.sources.datCentral, "CENTRAL", account.lost);
  if (event.merged_comps) AddLost(session_.sources.datcomps, "COMPS", account.lost);
  common::CurrentProc = recorded;
  return account;
}

void Accountant::AddLost(const core::TableSource& source, const char* table,
                         std::vector<LostValue>& lost) const {
  if (!source.Recordset || !session_.sources.DATFOLVANE.Recordset) return;
  bool ended = false;  // a refused value ends the merge of its record
  for (const core::Field& field : source.Recordset->Fields()) {
    const std::string_view name = common::Trim(field.name);
    std::string value = core::GetFieldData(source, name);
    if (value.empty()) continue;
    if (ended) {
      lost.push_back({table, std::string(name), std::move(value),
                      "not reached: the merge of the record ended before it"});
      continue;
    }
    const ValueFate fate = FateOf(*session_.sources.DATFOLVANE.Recordset, name, value);
    ended = fate.fate == Fate::Refused;
    if (fate.fate != Fate::Stored)
      lost.push_back({table, std::string(name), std::move(value), Explain(fate)});
  }
}

}  // namespace corvix::run
