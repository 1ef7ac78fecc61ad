#include "merge/dates.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "support/errors.h"
#include "support/memory_sources.h"

namespace corvix::merge {
namespace {

TEST(Dates, IsDate_NeedsSixCharactersAndADate) {
  for (const char* date :
       {"1/2/03", "03/05/2002", " 3/5/02 ", "5 March 02", "2002-03-05", "030502", "03.05.02", "12/31/1899"}) {
    EXPECT_TRUE(IsDate(date)) << date;
  }
  for (const char* text :
       {"", "2/29/1900", "1/2/3", "3/5/2", "unknown", "02/30/2001", "  /  /  ", "00/00/00", "20020305"}) {
    EXPECT_FALSE(IsDate(text)) << text;
  }
}

TEST(Dates, ReturnFullYear_TurnsAroundThePivot) {
  struct Case {
    const char* date;
    const char* result;
  };
  for (const Case& c : {Case{"03/05/2002", "3/5/2002"},
                        {"12/31/1999", "12/31/1999"},
                        {"1/1/100", "01/01/1900"},
                        {"1/1/234", "01/01/1900"},
                        {"   ", ""},
                        {"5 March 02", "3/5/2002"}}) {
    EXPECT_EQ(ReturnFullYear(c.date), c.result) << c.date;
  }
  EXPECT_THROW(ReturnFullYear("unknown"), common::Error);
}

TEST(Dates, PadLChar_KeepsTheRightmostCharacters) {
  EXPECT_EQ(PadLChar("5", 2, "0"), "05");
  EXPECT_EQ(PadLChar(" 12345 ", 4, "0x"), "2345");
  EXPECT_EQ(PadLChar("", 3, "ab"), "aaa");
}

class SaleDateTest : public testing::Test, protected test::MemorySources {
 protected:
  /// Stores `text` into a new row and gives its SaleDate and SaleSerial as text.
  std::pair<std::string, std::string> Store(std::string text) {
    Target().BeginAdd();
    SetSaleDate(sources.DATFOLVANE, text);
    callers_text_ = text;
    Target().Store();
    const std::size_t row = target->Rows().size() - 1;
    return {target->Text(row, "SaleDate"), target->Text(row, "SaleSerial")};
  }
  void SetUp() override { Connect(); }
  std::string callers_text_;
};

TEST_F(SaleDateTest, ADate_IsStoredAndNothingElse) {
  EXPECT_EQ(Store("03/05/2002"), std::pair(std::string("3/5/2002"), std::string()));
  EXPECT_EQ(callers_text_, "03/05/2002");
}

TEST_F(SaleDateTest, NoDate_IsRecordedByTheSerialOfTheSentinelOnly) {
  EXPECT_EQ(Store("unknown"), std::pair(std::string(), std::string("2")));
  EXPECT_EQ(Store("3/5/2"), std::pair(std::string(), std::string("2")));
  EXPECT_EQ(callers_text_, "01/01/1900");
  EXPECT_TRUE(dialogs.notices.empty());
}

TEST_F(SaleDateTest, AMissingField_GoesToTheCaller) {
  target = test::KeyedTable({test::TextField("CENTRALKEY", 10)}, test::KeyOrder::AccessText);
  Connect();
  Target().BeginAdd();
  std::string text = "03/05/2002";
  EXPECT_EQ(test::NumberOf([&] { SetSaleDate(sources.DATFOLVANE, text); }), common::kItemNotFound);
}

}  // namespace
}  // namespace corvix::merge
