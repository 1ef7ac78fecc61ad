// Tables in memory for the tests of the FoxPro engine, and short ways to look at them.
#pragma once

#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"
#include "storage/base/memory_file.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "storage/foxpro/foxpro_writer.h"
#include "support/errors.h"

namespace corvix::foxpro {

inline const std::filesystem::path kDirectory = "/tables";

inline std::unique_ptr<FoxProRecordSet> Open(storage::FileSystem& files, std::string_view table = "T") {
  return std::make_unique<FoxProRecordSet>(files, kDirectory, table);
}

/// Text of a field of the current record; "-" for Null.
inline std::string TextOf(const core::RecordSet& records, std::size_t field = 0) {
  std::string text;
  return records.ReadText(field, text) ? text : "-";
}

/// The record numbers of a walk from the first record to the last.
inline std::vector<std::uint32_t> Walk(FoxProRecordSet& records, std::string_view tag = "") {
  if (!tag.empty()) records.SelectIndex(tag);
  std::vector<std::uint32_t> numbers;
  try {
    records.MoveFirst();
  } catch (const common::Error& error) {
    if (error.number() != common::kNoCurrentRecord) throw;
  }
  for (; !records.PastEnd(); records.MoveNext()) numbers.push_back(static_cast<std::uint32_t>(records.RecordNumber()));
  return numbers;
}

/// Number of the record that a seek finds; 0 for none.
inline std::uint32_t Seek(FoxProRecordSet& records, std::string_view key) {
  records.SeekEqual(key);
  EXPECT_EQ(records.NoMatch(), !records.HasRow());
  return static_cast<std::uint32_t>(records.RecordNumber());
}

/// "number: text" of the error that the function throws, or "none".
inline std::string ErrorOf(const std::function<void()>& function) {
  const common::Error error = test::ErrorOf(function);
  return error.number() == 0 ? "none" : fmt::format("{}: {}", error.number(), error.what());
}

/// The problems that the checker finds in a table, one a line.
inline std::string ProblemsOf(storage::FileSystem& files, std::string_view table = "T") {
  std::string problems;
  for (const Finding& finding : CheckTable(files, kDirectory, table).findings) {
    if (finding.severity != Finding::Severity::Problem) continue;
    problems += finding.place + ": " + finding.text + "\n";
  }
  return problems;
}

/// A table T of one text field KEY with a tag of that name and what else is asked for; '*' before a key marks
/// the record as deleted.
inline void MakeKeys(storage::FileSystem& files, const std::vector<std::string>& keys,
                     std::uint8_t length = 10, std::vector<NewTag> tags = {{.name = "KEY", .key = "KEY"}}) {
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"KEY", 'C', length}}, .tags = std::move(tags)});
  for (std::string_view key : keys) {
    if (key.starts_with('*')) {
      writer.SetDeleted();
      key.remove_prefix(1);
    }
    writer.SetText(0, key);
    writer.Append();
  }
  writer.Finish();
}

}  // namespace corvix::foxpro
