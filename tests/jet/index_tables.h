// A database in memory for tests of the table operations: made from a description, judged by the checker.
#pragma once

#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <utility>

#include "common/error.h"
#include "core/record_set.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/jet_database.h"
#include "support/errors.h"
#include "support/jet_files.h"

namespace corvix::jet::test {

inline const std::filesystem::path kFile = "/data/FOLVANE.MDB";

struct Tables {
  storage::MemoryFileSystem files;
  std::shared_ptr<core::Database> database;

  explicit Tables(const DatabaseDescription& description) {
    CreateDatabase(files, kFile, description);
    Open();
  }
  explicit Tables(TableDescription table)
      : Tables(DatabaseDescription{.tables = {std::move(table)}, .relationships = {}}) {}

  void Open(core::Access access = core::Access::ReadWrite) {
    database.reset();
    database = OpenJetDatabase(files, kFile, access);
  }
  std::unique_ptr<core::RecordSet> Set(std::string_view table) { return database->OpenTable(table); }

  /// Closes the database; the file must be sound.
  CheckReport Check() {
    database->Close();
    CheckReport report = corvix::test::CheckFile(files, kFile);
    EXPECT_THAT(report.problems, testing::IsEmpty());
    return report;
  }
};

using corvix::test::ErrorOf;
using corvix::test::NumberOf;

inline std::size_t At(const core::RecordSet& records, std::string_view field) {
  return core::RequireField(records, field);
}
inline std::string Text(const core::RecordSet& records, std::string_view field) {
  std::string text;
  return records.ReadText(At(records, field), text) ? text : "-";
}

/// Adds a row of these fields.
inline void Add(core::RecordSet& records,
                std::initializer_list<std::pair<std::string_view, core::Value>> fields) {
  records.BeginAdd();
  for (const auto& [name, value] : fields) records.Write(At(records, name), value);
  records.Store();
}

}  // namespace corvix::jet::test
