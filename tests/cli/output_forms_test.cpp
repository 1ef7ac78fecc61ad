// Texts and sums that commands print.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/file_facts.h"
#include "cli/progress_line.h"
#include "cli/report_format.h"
#include "cli/shown_text.h"
#include "common/text.h"
#include "storage/base/bytes.h"

namespace corvix::cli {
namespace {

TEST(OutputForms, ShownTexts_KeepControlCharactersFromTheTerminal) {
  EXPECT_EQ(ShownText("a\r\n\t\x1B[2J\x7F"), "a\\r\\n\\t\\x1B[2J\\x7F");
  EXPECT_EQ(ShownText("caf\xC3\xA9 \xC2\x9B \xC2\xA0"), "caf\xC3\xA9 \\x9B \xC2\xA0");
  EXPECT_EQ(ShownText("\xC2|\x9B|\xED\xA0\x80|\xE2\x82\xAC"), "\\xC2|\\x9B|\\xED\\xA0\\x80|\xE2\x82\xAC");
  EXPECT_EQ(ShownLines("a\r\nb\rc\n\t"), "a\nb\\rc\n\\t");
  EXPECT_EQ(ShownValue(std::string(" AB   ")), "' AB'");
  EXPECT_EQ(ShownValue(core::Null{}), "(nothing)");
  EXPECT_EQ(ShownValue(core::Bytes(3)), "(3 bytes)");
  EXPECT_EQ(ShownCount(7), "7");
  EXPECT_EQ(ShownCount(999), "999");
  EXPECT_EQ(ShownCount(1234567), "1,234,567");
}

TEST(OutputForms, Crc32_IsTheOneOfZipFiles) {
  EXPECT_EQ(Crc32(storage::AsBytes("123456789")), 0xCBF43926u);
  EXPECT_EQ(Crc32(storage::AsBytes("56789"), Crc32(storage::AsBytes("1234"))), 0xCBF43926u);
}

TEST(OutputForms, CsvReports_QuoteWhatNeedsIt) {
  const auto format = FormatFor("r.CSV");
  EXPECT_EQ(format->Note({"a", "plain"}), "note,,,,,,a,,plain,\r\n");
  EXPECT_EQ(format->Note({"a,b", "say \"x\" \r\n"}), "note,,,,,,\"a,b\",,\"say \"\"x\"\" \r\n\",\r\n");
  EXPECT_EQ(FormatFor("r.mdb"), nullptr);
  for (const std::string text : {"=1+1", "+1", "-x", "-", "@SUM", "\tx"}) {
    EXPECT_THAT(format->Note({text, "-2.5"}),
                testing::AnyOf("note,,,,,,'" + text + ",,-2.5,\r\n", "note,,,,,,\"'" + text + "\",,-2.5,\r\n"))
        << "no formula for a spreadsheet";
  }
}

TEST(OutputForms, AProgressLine_IsShorterThanTheTerminal) {
  const Progress progress{50, 1234567, 100, "12 \xC3\x84PPEL ROAD\x1B[2J, \xE5\xB1\xB1\xE5\xB1\xB1"};
  EXPECT_EQ(
      ProgressText(progress, 120),
      "[###############               ] 50%  1234567  12346/s  1:38 left  12 \xC3\x84PPEL ROAD\\x1B[2J, "
      "\xE5\xB1\xB1\xE5\xB1\xB1");
  EXPECT_EQ(ProgressText(progress, 80),
            "[###############               ] 50%  1234567  12346/s  1:38 left  12 \xC3\x84PPEL ROA");
  EXPECT_EQ(ProgressText(progress, 40), "50%  1234567  12346/s  1:38 left  12 \xC3\x84P") << "no bar";
  for (std::size_t columns = 0; columns < 130; ++columns) {
    const std::string text = ProgressText(progress, columns);
    EXPECT_LE(common::Utf16Length(text), columns == 0 ? 0 : columns - 1);
  }
}

}  // namespace
}  // namespace corvix::cli
