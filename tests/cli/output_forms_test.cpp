// Texts and sums that commands print.
#include <gtest/gtest.h>

#include "cli/file_facts.h"
#include "cli/report_format.h"
#include "cli/shown_text.h"
#include "storage/base/bytes.h"

namespace corvix::cli {
namespace {

TEST(OutputForms, ShownTexts_KeepControlCharactersFromTheTerminal) {
  EXPECT_EQ(ShownText("a\r\n\t\x1B[2J\x7F"), "a\\r\\n\\t\\x1B[2J\\x7F");
  EXPECT_EQ(ShownText("caf\xC3\xA9 \xC2\x9B \xC2\xA0"), "caf\xC3\xA9 \\x9B \xC2\xA0");
  EXPECT_EQ(ShownText("\xC2"), "\xC2");
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
  EXPECT_EQ(format->Note({"a", "plain"}), "note,,,,,a,,plain,\r\n");
  EXPECT_EQ(format->Note({"a,b", "say \"x\" \r\n"}), "note,,,,,\"a,b\",,\"say \"\"x\"\" \r\n\",\r\n");
  EXPECT_EQ(FormatFor("r.mdb"), nullptr);
}

}  // namespace
}  // namespace corvix::cli
