// The fate that is foretold for a value is the one that the store rules give it.
#include "run/value_fate.h"

#include <gtest/gtest.h>

#include "common/text.h"
#include "core/lookup.h"
#include "merge/store_field.h"
#include "support/memory_sources.h"

namespace corvix::run {
namespace {

using core::FieldType;

TEST(ValueFate, FateOf_AgreesWithStoringTheValue) {
  std::vector<core::Field> fields{test::TextField("SHORT", 4),
                                  test::TypedField("ONE", FieldType::Single),
                                  test::TypedField("TWO", FieldType::Double),
                                  test::TypedField("DAY", FieldType::Date),
                                  test::TypedField("NOTE", FieldType::Memo),
                                  test::TypedField("FLAG", FieldType::YesNo),
                                  test::TypedField("COUNT", FieldType::Integer),
                                  test::TypedField("SaleDate", FieldType::Date),
                                  test::TypedField("SaleSerial", FieldType::Double),
                                  test::TextField("CENTRALKEY", 8)};
  const std::vector<std::string> names{"SHORT", "short", "ONE",      "TWO",      "DAY", "NOTE",
                                       "FLAG",  "COUNT", "SALEDATE", "SaleDate", "GONE"};
  const std::vector<std::string> values{"abc",    "abcd",       " abcd ",  "abcde",    "   ",
                                        "1.5",    "1e39",       "1e400",   "N/A",      "5/02",
                                        "3/5/02", "13/45/2001", "unknown", "2/3/1850", "20020305"};
  for (const std::string& name : names) {
    for (const std::string& value : values) {
      const auto table = test::KeyedTable(fields, test::KeyOrder::AccessText);
      core::TableSource target{.name = "target"};
      target.Recordset = table->Open();
      const ValueFate fate = FateOf(target.Records(), name, value);
      SCOPED_TRACE(name + " '" + value + "': " + Explain(fate));

      target.Records().BeginAdd();
      std::string data = value;
      std::optional<common::ErrorNumber> error;
      try {
        merge::StoreFolvaneField(target, name, data);
      } catch (const common::Error& failure) {
        error = failure.number();
      }
      EXPECT_EQ(fate.error ? std::optional(fate.error->number()) : std::nullopt, error);
      EXPECT_EQ(fate.fate == Fate::Refused, error.has_value());
      EXPECT_EQ(Explain(fate).empty(), fate.fate == Fate::Stored);
      const bool is_sale_date = name == "SALEDATE";
      const std::string stored = core::GetFieldData(target, is_sale_date ? "SaleDate" : name);
      EXPECT_EQ(!stored.empty() && stored != "False", fate.fate == Fate::Stored || fate.fate == Fate::Cut);
      EXPECT_EQ(core::GetFieldData(target, "SaleSerial") == "2", fate.fate == Fate::Sentinel);
      if (name == "SHORT") {
        EXPECT_EQ(fate.fate == Fate::Cut, common::Trim(value) != common::Trim(stored));
      }
    }
  }
}

}  // namespace
}  // namespace corvix::run
