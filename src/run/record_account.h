// The account of one source record: what the run told about it, what it changed in the target field by field,
// and which of its values did not arrive. A host whose engine is observed takes one for each record:
//
//   run::Accountant accountant(session);
//   run::ObservedEngine engine(files_engine, accountant);
//   ...
//   void RecordDone(const RecordEvent& event) { Show(accountant.Take(event)); }
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "merge/field_pairs.h"
#include "run/events.h"
#include "run/host.h"
#include "run/observed_engine.h"

namespace corvix::run {

/// The changes of one target row, all stores of the record taken together: the value before the first of them
/// and the value after the last one.
struct RowChange {
  struct Field {
    std::string name;
    core::Value before;
    core::Value after;
  };
  std::string key;     ///< of the target row; differs from the source's where that was cut
  bool added = false;  ///< the row was not there before
  std::vector<Field> fields;
};

/// A source value that was not stored, not all of it, or not as it stands in its file.
struct LostValue {
  std::string table;        ///< CENTRAL or COMPS
  std::int64_t record = 0;  ///< its number in the table's file
  std::string field;
  std::string value;
  std::string why;  ///< without a closing period
};

struct RecordAccount {
  RecordEvent event;
  std::vector<RowChange> changes;  ///< rows in the order of their first store
  std::vector<LostValue> lost;
};

/// Of one run.
class Accountant : public StoreObserver {
 public:
  /// `session` must outlive this; its sources stand on the records of the event when Take is called.
  explicit Accountant(const Session& session) : session_(session) {}

  void RowStored(const StoredRow& row) override;
  /// The account of the record that is done; the next one begins. Reads only, and leaves CurrentProc as it
  /// was.
  RecordAccount Take(const RecordEvent& event);

 private:
  void AddLost(const core::TableSource& source, const char* table, std::optional<merge::FieldPairs>& pairs,
               std::vector<LostValue>& lost) const;

  const Session& session_;
  std::vector<RowChange> changes_;
  // Resolved when they are first needed: an accountant sees one run.
  std::optional<merge::FieldPairs> central_pairs_;
  std::optional<merge::FieldPairs> comps_pairs_;
};

}  // namespace corvix::run
