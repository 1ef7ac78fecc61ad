#include "common/text.h"

#include <gtest/gtest.h>

namespace corvix::common {
namespace {

TEST(Text, Trim_RemovesBlanksOnly) {
  EXPECT_EQ(Trim("  a b\t "), "a b\t");
  EXPECT_EQ(Trim("   "), "");
  EXPECT_EQ(TrimRight(" a "), " a");
  EXPECT_EQ(TrimLeft(" a "), "a ");
}

TEST(Text, UpperCase_KeepsLengthAndTheSharpS) {
  EXPECT_EQ(UpperCase("abc-Züri ß éÿ"), "ABC-ZÜRI ß ÉŸ");
  EXPECT_TRUE(EqualIgnoringCase("straße É", "STRAßE é"));
  EXPECT_FALSE(EqualIgnoringCase("STRASSE", "straße"));
}

TEST(Text, Width_CountsUtf16Units) {
  const std::string clef = "\xF0\x9D\x84\x9E";  // U+1D11E, two units
  EXPECT_EQ(Utf16Length("é" + clef), 3u);
  EXPECT_EQ(FitWidth("Hello world", 5), "Hello");
  EXPECT_EQ(FitWidth("ab", 5), "ab   ");
  EXPECT_EQ(FitWidth("éa", 4), "éa  ");
  EXPECT_EQ(Utf16Length(FitWidth("a" + clef, 2)), 2u) << "a cut pair leaves its first half";
}

TEST(Text, Utf16_RoundTripsEverythingThatAFileCanHold) {
  const std::u16string units{u'a', 0x00E9, 0x4E2D, 0xD834, 0xDD1E, 0xDC00, u'b', 0xD800, 0};
  EXPECT_EQ(ToUtf16(ToUtf8(units)), units);
  EXPECT_EQ(ToUtf16("a\xFF\xC0z"), (std::u16string{u'a', 0xFFFD, 0xFFFD, u'z'}));
  EXPECT_EQ(ToUtf16("\xE2\x82"), (std::u16string{0xFFFD, 0xFFFD}));
}

TEST(Text, TagSplit_CutsAtTheFirstDelimiter) {
  EXPECT_EQ(TagSplit("ABC[DEF[G", "L", "["), "ABC");
  EXPECT_EQ(TagSplit("ABC[DEF", "right", "["), "DEF");
  EXPECT_EQ(TagSplit("ABC[DEF", "X", "["), "");
  EXPECT_EQ(TagSplit("ABC", "L", "["), "");
  EXPECT_EQ(TagSplit("A\r\nB", "R", "\r\n"), "B");
}

}  // namespace
}  // namespace corvix::common
