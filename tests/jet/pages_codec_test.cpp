// Text and rows: stored bytes and values, both ways, and bytes that are no rows.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "common/text.h"
#include "jet/pages_scratch.h"
#include "storage/jet/rows/row_codec.h"
#include "storage/jet/rows/text_codec.h"

namespace corvix::jet {
namespace {

using Bytes = std::vector<std::byte>;

Bytes Hex(std::string_view digits) {
  Bytes bytes;
  for (std::size_t at = 0; at < digits.size(); at += 3)
    bytes.push_back(static_cast<std::byte>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16)));
  return bytes;
}

TEST(TextCodec, StoredBytesAndTextBothWays) {
  struct Case {
    std::string text;
    Bytes compressed;  // in a column that compresses
    Bytes plain;
  };
  const Case cases[] = {
      {"", Hex(""), Hex("")},
      {"ab", Hex("61 00 62 00"), Hex("61 00 62 00")},
      {"foo0", Hex("FF FE 66 6F 6F 30"), Hex("66 00 6F 00 6F 00 30 00")},
      {"\xC3\x85\xC3\xBF!", Hex("FF FE C5 FF 21"), Hex("C5 00 FF 00 21 00")},
      {"ab\xC4\x80", Hex("61 00 62 00 00 01"), Hex("61 00 62 00 00 01")},
      {std::string("a\0b", 3), Hex("61 00 00 00 62 00"), Hex("61 00 00 00 62 00")},
      {"x\xF0\x9F\x98\x80", Hex("78 00 3D D8 00 DE"), Hex("78 00 3D D8 00 DE")},
      {"\xED\xA0\xBD"
       "abc",
       Hex("3D D8 61 00 62 00 63 00"), Hex("3D D8 61 00 62 00 63 00")},
  };
  std::string text = "old";
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    Bytes stored;
    EncodeText(test.text, true, stored);
    EXPECT_EQ(stored, test.compressed);
    DecodeText(stored, text);
    EXPECT_EQ(text, test.text);
    stored = Hex("AA");  // encoding appends
    EncodeText(test.text, false, stored);
    EXPECT_EQ(Bytes(stored.begin() + 1, stored.end()), test.plain);
    DecodeText(test.plain, text);
    EXPECT_EQ(text, test.text);
  }
  const std::pair<Bytes, std::string> decoded_only[] = {
      {Hex("FF FE 61 00 41 01 00 62 63"),
       "a\xC5\x81"
       "bc"},                                                       // to two bytes per character and back
      {Hex("FF FE 00 3D D8 00 DE 00 61"), "\xED\xA0\xBD\xC3\x9E"},  // DE 00 is cut by the switch
      {Hex("FF FE 00 3D D8 01 DE"), "\xF0\x9F\x98\x81"},
      {Hex("FF FE 61 00 41"), "a"},  // half a character
      {Hex("61 00 62"), "a"},
      {Hex("FF FE"), ""},
  };
  for (const auto& [stored, expected] : decoded_only) {
    DecodeText(stored, text);
    EXPECT_EQ(text, expected);
  }
}

TEST(TextCodec, LengthsAroundTheWordSizeAndTheLimitOfCompression) {
  std::string decoded;
  for (const std::size_t length : {3u, 7u, 8u, 9u, 15u, 16u, 17u, 255u, 1024u, 1025u, 5000u}) {
    for (const std::string last : {"z", "\xC3\xBC", "\xE2\x82\xAC"}) {
      const std::string text = std::string(length - 1, 'y') + last;
      Bytes stored;
      EncodeText(text, true, stored);
      const bool compressed = length <= 1024 && last != "\xE2\x82\xAC";
      EXPECT_EQ(stored.size(), compressed ? 2 + length : 2 * length);
      DecodeText(stored, decoded);
      EXPECT_EQ(decoded, text);
    }
  }
}

Column MakeColumn(std::string name, ColumnType type, std::uint16_t number, bool fixed, std::uint16_t place,
                  std::uint16_t length) {
  Column column;
  column.name = std::move(name);
  column.type = type;
  column.number = number;
  column.flags = fixed ? Column::kFixed : 0;
  (fixed ? column.fixed_offset : column.variable_index) = place;
  column.length = length;
  return column;
}

Bytes Build(const TableDefinition& table, const std::vector<core::Value>& values) {
  RowBuilder builder(table);
  builder.Clear();
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = table.columns[i];
    Bytes stored;
    if (column.type == ColumnType::YesNo) {
      builder.SetBool(column, values[i]);
    } else if (!core::IsNull(values[i])) {
      EncodeValue(column, values[i], stored);
      builder.Set(column, stored);
    }
  }
  const storage::ByteView row = builder.Build();
  return {row.begin(), row.end()};
}

TEST(RowCodec, ARowOfARealFileIsReadAndBuiltByteForByte) {
  TableDefinition table;
  table.max_columns = 4;
  table.variable_columns = 1;
  table.columns = {MakeColumn("ACM", ColumnType::Long, 2, true, 4, 4),
                   MakeColumn("FInheritable", ColumnType::YesNo, 3, true, 0, 1),
                   MakeColumn("ObjectId", ColumnType::Long, 0, true, 0, 4),
                   MakeColumn("SID", ColumnType::Binary, 1, false, 0, 510)};
  const Bytes bytes = Hex("04 00 02 00 00 00 00 00 06 00 64 8b 0c 00 0a 00 01 00 07");
  const std::vector<core::Value> values{0x60000, false, 2, Hex("64 8b")};
  const RowView row(bytes, table, {});
  for (std::size_t i = 0; i < values.size(); ++i) EXPECT_EQ(row.Value(table.columns[i]), values[i]);
  EXPECT_EQ(Build(table, values), bytes);
}

/// Every type as fixed and as variable column.
TableDefinition AllTypes() {
  TableDefinition table;
  table.variable_columns = 0;
  std::uint16_t offset = 0, number = 0;
  for (const bool fixed : {true, false}) {
    for (const auto type : {ColumnType::Byte, ColumnType::Integer, ColumnType::Long, ColumnType::Currency,
                            ColumnType::Single, ColumnType::Double, ColumnType::Date, ColumnType::Guid,
                            ColumnType::Decimal, ColumnType::Binary, ColumnType::Text, ColumnType::YesNo}) {
      Column column =
          MakeColumn("c" + std::to_string(number), type, number, fixed || type == ColumnType::YesNo,
                     fixed ? offset : table.variable_columns, 40);
      column.scale = 4;
      if (column.IsFixed()) offset = static_cast<std::uint16_t>(offset + column.FixedSize());
      if (!column.IsFixed()) ++table.variable_columns;
      table.columns.push_back(column);
      ++number;
    }
  }
  table.max_columns = number;
  return table;
}

std::vector<core::Value> RowOfAllTypes() {
  std::vector<core::Value> values;
  for (const bool fixed : {true, false}) {
    Bytes binary = Hex("01 02 03");
    if (fixed) binary.resize(40);
    for (core::Value& value : std::vector<core::Value>{
             std::uint8_t{200}, std::int16_t{-2}, std::int32_t{-3}, core::Currency{-12345}, -1.5F, 2.25,
             core::Date{-1.25}, core::Guid{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
             core::Decimal{true, 4, {1, 2, 3, 0xFFFFFFFF}}, binary,
             "\xC3\xBC"
             "ber" +
                 std::string(fixed ? 16 : 0, ' '),
             true}) {
      values.push_back(std::move(value));
    }
  }
  return values;
}

TEST(RowCodec, EveryTypeFixedAndVariableNullAndNotNull) {
  const TableDefinition table = AllTypes();
  const std::vector<core::Value> all = RowOfAllTypes();
  for (std::size_t null = 0; null <= all.size(); ++null) {
    std::vector<core::Value> values = all;
    if (null < all.size()) values[null] = core::Null{};
    const Bytes bytes = Build(table, values);
    const RowView row(bytes, table, {});
    for (std::size_t i = 0; i < values.size(); ++i) {
      const Column& column = table.columns[i];
      SCOPED_TRACE(testing::Message() << "column " << i << ", null " << null);
      if (column.type == ColumnType::YesNo && i == null) values[i] = false;
      EXPECT_EQ(row.Value(column), values[i]);
      EXPECT_EQ(row.IsNull(column), core::IsNull(values[i]));
    }
    // Columns that were added after the row was written.
    EXPECT_TRUE(row.IsNull(MakeColumn("new", ColumnType::Text, 30, false, 20, 40)));
    EXPECT_FALSE(row.IsTrue(MakeColumn("flag", ColumnType::YesNo, 31, true, 0, 1)));
  }
}

TEST(RowCodec, RefusesValuesThatDoNotFit) {
  TableDefinition table = AllTypes();
  const auto encode = [&](std::size_t column, core::Value value) {
    Bytes stored;
    return NumberOf([&] { EncodeValue(table.columns[column], value, stored); });
  };
  EXPECT_EQ(encode(22, std::string(20, 'x')), 0);
  EXPECT_EQ(encode(22, std::string(21, 'x')), common::kFieldTooSmall);
  EXPECT_EQ(encode(21, Bytes(41)), common::kFieldTooSmall);
  EXPECT_EQ(encode(2, 1.0), common::kConversion);
  EXPECT_EQ(encode(8, core::Decimal{false, 3, {}}), common::kConversion);

  RowBuilder builder(table);
  builder.Clear();
  table.columns[21].length = 5000;
  builder.Set(table.columns[21], Bytes(4060 - builder.length()));
  EXPECT_EQ(builder.Build().size(), 4060u);
  builder.Set(table.columns[22], Bytes(1));
  EXPECT_EQ(NumberOf([&] { builder.Build(); }), common::kRecordTooLarge);
}

}  // namespace
}  // namespace corvix::jet
