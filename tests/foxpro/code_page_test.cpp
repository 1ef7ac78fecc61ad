#include "storage/base/code_page.h"

#include <gtest/gtest.h>

#include "common/error.h"

namespace corvix::storage {
namespace {

constexpr int kPages[] = {437,  737,  850,  852,  857,  860,  861,  863,   865,   866,   874,  1250,
                          1251, 1252, 1253, 1254, 1255, 1256, 1257, 10000, 10006, 10007, 10029};

TEST(CodePage, EveryByteComesBack) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (const int number : kPages) {
    const CodePage page(number);
    const std::string text = page.ToUtf8(all);
    EXPECT_EQ(text.substr(0, 128), all.substr(0, 128)) << number << ": bytes below 0x80 are ASCII";
    EXPECT_EQ(page.FromUtf8(text), all) << number;
  }
}

TEST(CodePage, BytesHaveTheirLetters) {
  const struct {
    int page;
    const char* bytes;
    const char* text;
  } kCases[] = {
      {437, "\x8E\x94\x81\xE1\xE6\xE3\x9B\xFF", "Äöüßµπ¢\u00A0"},
      {850, "\x8E\xE6\xD5\xB5\xFF", "ÄµıÁ\u00A0"},
      {852, "\x8F\xAA\xE7", "Ć¬š"},
      {866, "\x8F\xE0", "Пр"},
      {1252, "\x80\x9F\xC4\xE9\xFF", "€ŸÄéÿ"},
      {1252, "\x81\x8D\x8F\x90\x9D", "\u0081\u008D\u008F\u0090\u009D"},  // unassigned, kept
      {1251, "\xCF\xF0\xB5", "Прµ"},
      {857, "\xD5", "\uF7D5"},  // unassigned, and U+00D5 is another byte of the page
      {10000, "\x80\xDB", "Ä€"},
      {932, "\x93\xFA\x96\x7BX", "日本X"},
      {936, "\xD6\xD0", "中"},
  };
  for (const auto& [number, bytes, text] : kCases) {
    const CodePage page(number);
    EXPECT_EQ(page.ToUtf8(bytes), text) << number;
    EXPECT_EQ(page.FromUtf8(text), bytes) << number;
  }
  EXPECT_EQ(CodePage(437).FromUtf8("€"), std::nullopt);
  EXPECT_EQ(CodePage(932).FromUtf8("ж€"), std::nullopt);
  EXPECT_EQ(CodePage(1252).FromUtf8("\xED\xA0\x80"), std::nullopt) << "a lone surrogate";
  EXPECT_EQ(CodePage(932).ToUtf8("A\x81"), "A\uFFFD") << "half a character";
}

TEST(CodePage, LettersHaveTheirOtherCase) {
  const CodePage windows(1252);
  EXPECT_EQ(windows.Upper('\xFC'), '\xDC');
  EXPECT_EQ(windows.Upper('\xFF'), '\x9F');
  EXPECT_EQ(windows.Upper('\xDF'), '\xDF') << "the sharp s stays";
  EXPECT_EQ(windows.Lower('\xC4'), '\xE4');
  EXPECT_EQ(windows.Upper('7'), '7');
  const CodePage dos(437);
  EXPECT_EQ(dos.Upper('\x81'), '\x9A');
  EXPECT_EQ(dos.Upper('\x85'), '\x85') << "page 437 has no capital of a with grave";
  EXPECT_EQ(dos.Upper('z'), 'Z');
}

TEST(CodePage, LanguageDriversNamePages) {
  const struct {
    std::uint8_t driver;
    int page;
  } kDrivers[] = {{0x01, 437},  {0x02, 850},  {0x03, 1252}, {0x04, 10000}, {0x57, 1252},
                  {0x64, 852},  {0x65, 866},  {0x68, 895},  {0x7B, 932},   {0x96, 10007},
                  {0xC8, 1250}, {0xCB, 1253}, {0x26, 866},  {0x08, 865}};
  for (const auto& [driver, page] : kDrivers) EXPECT_EQ(CodePageOfLanguageDriver(driver), page);
  for (const int unknown : {0x00, 0xF0, 0x05}) {
    EXPECT_EQ(CodePageOfLanguageDriver(static_cast<std::uint8_t>(unknown)), std::nullopt);
  }
  EXPECT_FALSE(CodePage::IsSupported(895));
  EXPECT_THROW(CodePage(895), common::Error);
}

}  // namespace
}  // namespace corvix::storage
