#include "run/record_account.h"

#include <algorithm>
#include <utility>

#include "common/report_error.h"
#include "common/text.h"
#include "core/lookup.h"
#include "merge/store_rules.h"

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
  const core::ConversionSources& sources = session_.sources;
  if (event.merged_central) AddLost(sources.datCentral, "CENTRAL", central_pairs_, account.lost);
  if (event.merged_comps) AddLost(sources.datcomps, "COMPS", comps_pairs_, account.lost);
  for (const UnreadableValue& value : event.unreadable)
    account.lost.push_back({value.table, value.record, value.field, value.text, value.why});
  common::CurrentProc = recorded;
  return account;
}

void Accountant::AddLost(const core::TableSource& source, const char* table,
                         std::optional<merge::FieldPairs>& pairs, std::vector<LostValue>& lost) const {
  const core::TableSource& target = session_.sources.DATFOLVANE;
  if (!source.Recordset || !target.Recordset) return;
  if (!pairs) pairs.emplace(source, target);
  const std::int64_t record = source.Recordset->RecordNumber();
  bool ended = false;  // a refused value ends the merge of its record
  for (const merge::FieldPair& pair : *pairs) {
    std::string value;
    core::GetFieldData(source, pair.source, value);
    if (value.empty()) continue;
    if (ended) {
      lost.push_back({table, record, pair.name, std::move(value),
                      "not reached: the merge of the record ended before it"});
      continue;
    }
    if (pair.is_key) continue;
    const merge::Decision decision = merge::Decide(pair, value);
    ended = decision.fate == merge::Fate::Refused;
    if (decision.fate != merge::Fate::Stored)
      lost.push_back({table, record, pair.name, std::move(value), Explain(decision)});
  }
}

}  // namespace corvix::run
