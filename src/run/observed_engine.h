// A table engine that tells what is stored. It stands in front of another engine and passes everything
// through; the record sets of its databases report each row that was stored, with the fields that changed.
// Previews and reports are made of these.
//
//   StoredRow of an edited row: the fields that were written and whose value differs from the one before the
//   edit began. Of an added row: every field that has a value (a yes/no field: that is true), defaults
//   included, since there was nothing before; numbers that the engine gives out while storing are not known.
//
// Watching never changes what happens: a value that cannot be read counts as Null, and an observer must not
// throw. Source tables are passed through as they are.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/engine.h"
#include "core/field.h"
#include "core/value.h"

namespace corvix::run {

struct FieldChange {
  const core::Field* field = nullptr;  ///< valid while the record set is open
  core::Value before;
  core::Value after;
};

struct StoredRow {
  bool added = false;
  std::string key;  ///< CENTRALKEY of the row as stored, without blanks at the ends
  std::vector<FieldChange> changes;
};

class StoreObserver {
 public:
  virtual ~StoreObserver() = default;
  /// Called after a row was stored, never for a row that was refused.
  virtual void RowStored(const StoredRow& row) = 0;
};

class ObservedEngine : public core::TableEngine {
 public:
  /// Both must outlive the engine and everything opened through it.
  ObservedEngine(core::TableEngine& engine, StoreObserver& observer) : engine_(engine), observer_(observer) {}

  bool FileExists(std::string_view file_name) override { return engine_.FileExists(file_name); }
  std::unique_ptr<core::RecordSet> OpenFoxProTable(std::string_view directory,
                                                   std::string_view table) override {
    return engine_.OpenFoxProTable(directory, table);
  }
  std::shared_ptr<core::Database> OpenDatabase(std::string_view file_name) override;

 private:
  core::TableEngine& engine_;
  StoreObserver& observer_;
};

}  // namespace corvix::run
