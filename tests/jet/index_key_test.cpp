#include "storage/jet/index_key.h"

#include <gmock/gmock.h>
#include <limits>

#include "common/error.h"

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
      {"foo0",
       "7F53646436"
       "0100"},
      {"Tables",
       "7F6D4A4C5E516B"
       "0100"},
      {"G'day, Mate",
       "7F554F4A761A07604A6D51"
       "01010101800B0680"
       "00"},
      {"ümlaut",
       "7F6F605E4A6F6D"
       "0113"
       "00"},
      {"Côte de Blaye",
       "7F4D646D51074F51074C5E4A7651"
       "010212"
       "00"},
      {"NuNuCa Nuß-Nougat-Creme",
       "7F626F626F4D4A07626F6B6B62646F554A6D4D69516051"
       "01010101803306828"
       "04B0682"
       "00"},
      {"Forêts d'érables",
       "7F536469516D6B074F51694A4C5E516B"
       "010202021202020202"
       "0E"
       "01010180270680"
       "00"},
  };
  for (const Case& c : cases) EXPECT_EQ(TextKey(c.text), c.key) << c.text;
}

TEST(TextKeys, HoldTextsEqualThatTheOrderHoldsEqual) {
  const std::string z255(255, 'z');
  const std::pair<std::string, std::string> equal[] = {
      {"7 coop ln", "7 COOP LN"},
      {"AB", "AB   "},
      {"straße", "STRASSE"},
      {"É", "é"},
      {z255, z255 + "more"},
      {z255.substr(1) + " ", z255.substr(1) + "  x"},
      {"Æ", "ae"},
      {"a\xC8\x98z", "az"},
  };
  for (const auto& [a, b] : equal) EXPECT_EQ(TextKey(a), TextKey(b)) << a;
  const std::pair<std::string, std::string> ascending[] = {
      {"", "a"},
      {"A", "AA"},
      {"7 CO OP LN", "7 COOP LN"},
      {"7 COOP LN", "7 CO-OP LN"},
      {"a", "á"},
      {"á", "b"},
      {" a", "a"},
      {"a b", "ab"},
      {"9", "A"},
      {"Z", "Ω"},
      {"あ", "い"},
      {"O'Neil", "ONeim"},
      {"\U0001F600", "\U0001F601"},
  };
  for (const auto& [a, b] : ascending) {
    EXPECT_LT(TextKey(a), TextKey(b)) << a;
    EXPECT_GT(TextKey(a, false), TextKey(b, false)) << a;
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
      {ColumnType::Guid, guid,
       "7F000102030405060709"
       "08090A0B0C0D0E0F08",
       "80FFFEFDFCFBFAF9F809"
       "F7F6F5F4F3F2F1F0F7"},
      {ColumnType::Memo, std::string("foo0"), "7F536464360100", "80AC9B9BC9FEFF00"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(KeyHex(c.type, c.value, true), c.ascending) << static_cast<int>(c.type);
    EXPECT_EQ(KeyHex(c.type, c.value, false), c.descending) << static_cast<int>(c.type);
  }
}

TEST(Keys, OrderNumbersAsTheirValues) {
  const double doubles[] = {
      -std::numeric_limits<double>::infinity(), -1e300, -1.5, -1e-300, 0.0, 1e-300, 2, 1e300};
  for (std::size_t i = 1; i < std::size(doubles); ++i) {
    EXPECT_LT(KeyHex(ColumnType::Double, doubles[i - 1]), KeyHex(ColumnType::Double, doubles[i]));
    EXPECT_GT(KeyHex(ColumnType::Double, doubles[i - 1], false),
              KeyHex(ColumnType::Double, doubles[i], false));
  }
}

TEST(Keys, AreRefusedWhereNoneCanBeBuilt) {
  const auto refused = [](ColumnType type, const core::Value& value, SortOrder order = {}) {
    Column column;
    column.name = "PICTURE";
    column.type = type;
    column.sort_order = order;
    Key key;
    try {
      AppendKey(key, column, true, value);
    } catch (const common::Error& error) {
      return error.number() == common::kCannotBuildKey && error.text().find("PICTURE") != std::string::npos;
    }
    return false;
  };
  EXPECT_TRUE(refused(ColumnType::Ole, core::Bytes{}));
  EXPECT_TRUE(refused(ColumnType::Long, std::string("4")));
  EXPECT_TRUE(refused(ColumnType::Text, std::string("a"), {3082, 0}));
  EXPECT_TRUE(refused(ColumnType::Text, std::string("a"), {1033, 1}));
}

}  // namespace
}  // namespace corvix::jet
