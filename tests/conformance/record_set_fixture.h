// What the cases of the conformance suite share: the sample table and short forms of the operations.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "common/error.h"
#include "conformance/table_maker.h"
#include "core/record_set.h"
#include "core/text_form.h"
#include "support/errors.h"

namespace corvix::test {

inline constexpr std::size_t kKey = 0;
inline constexpr std::size_t kTown = 1;
inline constexpr std::size_t kArea = 2;

/// CENTRALKEY and TOWN with an index each, AREA without; the keys are out of order, one is there twice.
inline TableDesign SampleTable() {
  using core::FieldType;
  using core::Null;
  return {.fields = {{.name = "CENTRALKEY", .type = FieldType::Text, .size = 8},
                     {.name = "Town", .type = FieldType::Text, .size = 10},
                     {.name = "AREA", .type = FieldType::Double, .size = 8}},
          .indexes = {{.field = "CENTRALKEY"}, {.field = "Town"}},
          .rows = {{"B2", "Oslo", 1.5}, {"A1", "Rome", 2.0}, {"C3", Null{}, Null{}}, {"A1", "Bern", 4.0}}};
}

inline TableDesign EmptyTable() {
  TableDesign design = SampleTable();
  design.rows.clear();
  return design;
}

/// The number of the error that the call raises; 0 for none.
/// The field of the row at hand as text; Null reads as "-".
inline std::string Text(const core::RecordSet& records, std::size_t field) {
  std::string text;
  return records.ReadText(field, text) ? text : "-";
}

/// "key town" of the record at hand, or "none".
inline std::string At(const core::RecordSet& records) {
  return records.HasRow() ? Text(records, kKey) + " " + Text(records, kTown) : "none";
}

/// The whole table in the current order, one At() per record, separated by "; ".
inline std::string Walk(core::RecordSet& records) {
  std::string result;
  if (records.RecordCount() == 0) return result;
  for (records.MoveFirst(); !records.PastEnd(); records.MoveNext()) {
    if (!result.empty()) result += "; ";
    result += At(records);
  }
  return result;
}

class RecordSetTest : public testing::TestWithParam<const TableMaker*> {
 protected:
  /// Opens a record set over a new table of this kind.
  core::RecordSet& Make(const TableDesign& design) {
    table_ = GetParam()->Make(design);
    first_ = table_->Open();
    return *first_;
  }
  /// A further record set over the same table.
  std::unique_ptr<core::RecordSet> OpenAgain() { return table_->Open(); }

  void TearDown() override {
    if (table_) {
      EXPECT_NO_THROW(table_->Check());
    }
  }

  std::unique_ptr<MadeTable> table_;
  std::unique_ptr<core::RecordSet> first_;
};

inline std::string MakerName(const testing::TestParamInfo<const TableMaker*>& info) {
  return info.param->Name();
}

}  // namespace corvix::test
