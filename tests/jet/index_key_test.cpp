#include "storage/jet/index/index_key.h"

#include <gmock/gmock.h>

#include "common/error.h"
#include "jet/index_tables.h"

namespace corvix::jet {
namespace {

std::string Hex(storage::ByteView bytes) {
  std::string text;
  for (const std::byte byte : bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    text += kDigits[std::to_integer<unsigned>(byte) >> 4];
    text += kDigits[std::to_integer<unsigned>(byte) & 15];
  }
  return text;
}

std::string KeyHex(ColumnType type, const core::Value& value, bool ascending = true) {
  Column column;
  column.type = type;
  if (const auto* decimal = std::get_if<core::Decimal>(&value)) column.scale = decimal->scale;
  Key key;
  AppendKey(key, column, ascending, value);
  return Hex(key);
}

std::string TextKey(std::string_view text, bool ascending = true) {
  return KeyHex(ColumnType::Text, std::string(text), ascending);
}

TEST(TextKeys, AreThoseOfTheGeneralOrder) {
  struct Case {
    std::string_view text;
    std::string_view key;
  };
  // All but the first stand in databases made by Access.
  const Case cases[] = {
      {"", "7F0100"},
      {"foo0", "7F536464360100"},
      {"Tables", "7F6D4A4C5E516B0100"},
      {"G'day, Mate", "7F554F4A761A07604A6D5101010101800B068000"},
      {"ümlaut", "7F6F605E4A6F6D011300"},
      {"Côte de Blaye", "7F4D646D51074F51074C5E4A765101021200"},
      {"NuNuCa Nuß-Nougat-Creme", "7F626F626F4D4A07626F6B6B62646F554A6D4D695160510101010180330682804B068200"},
      {"Forêts d'érables", "7F536469516D6B074F51694A4C5E516B0102020212020202020E0101018027068000"},
  };
  for (const Case& c : cases) EXPECT_EQ(TextKey(c.text), c.key) << c.text;
}

TEST(TextKeys, HoldTextsEqualThatTheOrderHoldsEqual) {
  const std::string z255(255, 'z');
  const std::string tail = z255.substr(1);
  const std::pair<std::string, std::string> equal[] = {
      {"7 coop ln", "7 COOP LN"}, {"AB", "AB   "},       {"straße", "STRASSE"},     {"É", "é"}, {"Æ", "ae"},
      {"a\xC8\x98z", "az"},       {z255, z255 + "more"}, {tail + " ", tail + "  x"}};
  for (const auto& [a, b] : equal) EXPECT_EQ(TextKey(a), TextKey(b)) << a;
  const char* ascending[] = {"",   " a", "7 CO OP LN", "7 COOP LN", "7 CO-OP LN", "9", "A", "á",  "a b",
                             "AA", "ab", "b",          "O'Neil",    "ONeim",      "Z", "Ω", "あ", "い"};
  for (std::size_t i = 1; i < std::size(ascending); ++i) {
    EXPECT_LT(TextKey(ascending[i - 1]), TextKey(ascending[i])) << ascending[i];
    EXPECT_GT(TextKey(ascending[i - 1], false), TextKey(ascending[i], false)) << ascending[i];
  }
}

TEST(TextKeys, OfTheLongestAndOddestTextsStayInBounds) {
  std::string odd;
  for (int i = 0; i < 300; ++i) odd += "\xE3\x82\xA2-\xCC\x81\xEF\xAC\x83";  // kana, hyphen, accent, ffi
  for (const std::string& text :
       {odd, std::string(2000, '-'), std::string(700, '\xFF'), std::string(300, ' ')}) {
    Key key;
    AppendTextKey(key, text, true);
    EXPECT_EQ(key.back(), std::byte{0});
  }
}

TEST(Keys, OfEveryType) {
  using core::Value;
  struct Case {
    ColumnType type;
    Value value;
    std::string_view ascending;
    std::string_view descending;
  };
  const auto decimal = [](bool negative, std::uint32_t low) {
    return core::Decimal{negative, 2, {0, 0, 0, low}};
  };
  const core::Bytes eight(8, std::byte{0x11});
  core::Bytes nine(9, std::byte{0x11});
  const core::Guid guid{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}};
  const Case cases[] = {
      {ColumnType::Long, core::Null{}, "00", "FF"},
      {ColumnType::Long, std::int32_t{4}, "7F80000004", "807FFFFFFB"},
      {ColumnType::Long, std::int32_t{-2}, "7F7FFFFFFE", "8080000001"},
      {ColumnType::Integer, std::int16_t{-1}, "7F7FFF", "808000"},
      {ColumnType::Byte, std::uint8_t{200}, "7FC8", "8037"},
      {ColumnType::Currency, core::Currency{10000}, "7F8000000000002710", "807FFFFFFFFFFFD8EF"},
      {ColumnType::Single, 1.5F, "7FBFC00000", "80403FFFFF"},
      {ColumnType::Double, -1.5, "7F4007FFFFFFFFFFFF", "80BFF8000000000000"},
      {ColumnType::Date, core::Date{2.0}, "7FC000000000000000", "803FFFFFFFFFFFFFFF"},
      {ColumnType::YesNo, false, "7FFF", "8000"},
      {ColumnType::YesNo, true, "7F00", "80FF"},
      {ColumnType::Decimal, decimal(false, 258), "7FFF00000000000000000000000000000102",
       "80FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFD"},
      {ColumnType::Decimal, decimal(true, 258), "7F00FFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFD",
       "800000000000000000000000000000000102"},
      {ColumnType::Binary, core::Bytes{}, "7F", "80"},
      {ColumnType::Binary, eight, "7F111111111111111108", "80EEEEEEEEEEEEEEEEF7"},
      {ColumnType::Binary, nine, "7F111111111111111109110000000000000001",
       "80EEEEEEEEEEEEEEEE09EEFFFFFFFFFFFFFFFE"},
      {ColumnType::Guid, guid, "7F00010203040506070908090A0B0C0D0E0F08",
       "80FFFEFDFCFBFAF9F809F7F6F5F4F3F2F1F0F7"},
      {ColumnType::Memo, std::string("foo0"), "7F536464360100", "80AC9B9BC9FEFF00"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(KeyHex(c.type, c.value, true), c.ascending) << static_cast<int>(c.type);
    EXPECT_EQ(KeyHex(c.type, c.value, false), c.descending) << static_cast<int>(c.type);
  }
}

TEST(Keys, AreRefusedWhereNoneCanBeBuilt) {
  const std::pair<Column, core::Value> refused[] = {
      {{.name = "PICTURE", .type = ColumnType::Ole}, core::Bytes{}},
      {{.name = "PICTURE", .type = ColumnType::Long}, "4"},
      {{.name = "PICTURE", .sort_order = {3082, 0}}, "a"},
      {{.name = "PICTURE", .sort_order = {1033, 1}}, "a"},
  };
  for (const auto& [column, value] : refused) {
    const common::Error error = test::ErrorOf([&] {
      Key key;
      AppendKey(key, column, true, value);
    });
    EXPECT_EQ(error.number(), common::kCannotBuildKey);
    EXPECT_THAT(error.text(), testing::HasSubstr("PICTURE"));
  }
}

}  // namespace
}  // namespace corvix::jet
