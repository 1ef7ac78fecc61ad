// Field values: what the bytes of every type mean, as values and as text.
#include <array>
#include <bit>
#include <fmt/ranges.h>
#include <sstream>

#include "core/text_form.h"
#include "foxpro/tables.h"
#include "storage/foxpro/dbf_value.h"

namespace corvix::foxpro {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using core::Null;
using core::Value;

TEST(DbfValue, Numbers) {
  using Form = FieldNumber::Form;
  const struct {
    const char* raw;
    std::optional<double> value;
    Form form;
  } kCases[] = {
      {"      42", 42, Form::Plain},   {"   -0.50", -0.5, Form::Plain},
      {"42      ", 42, Form::Plain},   {"  .5", .5, Form::Plain},
      {"-.50", -.5, Form::Plain},      {"2.", 2, Form::Plain},
      {"+7", 7, Form::Plain},          {"0000099500", 99500, Form::Plain},
      {"  -0", 0, Form::Plain},        {"        ", {}, Form::Blank},
      {"", {}, Form::Blank},           {"********", {}, Form::Overflow},
      {"  **.**", {}, Form::Overflow}, {"   .", {}, Form::None},
      {"-", {}, Form::None},           {"abc", {}, Form::None},
      {"nan", {}, Form::None},         {"-inf", {}, Form::None},
      {"12AB", 12, Form::Partial},     {"1.2E+05", 120000, Form::Odd},
      {"1 2", 1, Form::Partial},       {"12,5", 12.5, Form::Odd},
      {"0   . ", 0, Form::Odd},        {"1E999", {}, Form::None},
  };
  for (const auto& [raw, value, form] : kCases) {
    const FieldNumber number = ParseNumber(raw);
    EXPECT_EQ(number.value, value) << raw;
    EXPECT_EQ(number.form, form) << raw;
  }
  EXPECT_EQ(ParseNumber(std::string_view("\0\0\0", 3)).form, Form::Blank);
  EXPECT_EQ(ParseNumber(std::string_view("7\0\0", 3)).value, 7);
}

TEST(DbfValue, DaysOfTheCalendarOnly) {
  const struct {
    const char* raw;
    const char* text;
  } kCases[] = {{"20020305", "3/5/2002"}, {"19000101", "1/1/1900"},   {"20000229", "2/29/2000"},
                {"01000101", "1/1/100"},  {"99991231", "12/31/9999"}, {"18991231", "12/31/1899"},
                {"19000229", "-"},        {"20010230", "-"},          {"00000000", "-"},
                {"        ", "-"},        {"  /  /  ", "-"},          {"2002 3 5", "-"},
                {"00990101", "-"},        {"20021301", "-"},          {"20020100", "-"}};
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"DAY", 'D', 8}}});
  for (const auto& day : kCases) {
    writer.SetRaw(0, day.raw);
    writer.Append();
  }
  writer.Finish();
  const auto records = Open(files);
  EXPECT_EQ(records->Fields()[0].type, core::FieldType::Date);
  for (const auto& day : kCases) {
    EXPECT_EQ(TextOf(*records), day.text) << day.raw;
    records->MoveNext();
  }
  EXPECT_EQ(JulianDay({1980, 1, 1}), 2444240);
  EXPECT_EQ(JulianDay({1899, 12, 30}), 2415019);
  for (const Day day : {Day{100, 1, 1}, Day{2000, 2, 29}, Day{1999, 12, 31}, Day{9999, 12, 31}}) {
    const Day back = DayOfJulian(JulianDay(day));
    EXPECT_TRUE(back.year == day.year && back.month == day.month && back.day == day.day) << day.year;
  }
}

TEST(DbfValue, CharactersThatAreNoValueOfTheTypeAreTold) {
  const struct {
    std::array<std::string_view, 5> raw;  // N, D, L, M, G
    const char* told;                     // by field, "-" for nothing
    const char* read;
  } kCases[] = {
      {{"      42", "20020305", "T", "", ""}, "- - - - -", "42 3/5/2002 True - -"},
      {{"        ", "        ", "?", "", ""}, "- - - - -", "- - False - -"},
      {{"   .    ", "  /  /  ", " ", "", ""}, "- - - - -", "- - False - -"},
      {{"  1.5E+2", "00000000", "n", "", ""}, "- - - - -", "150 - False - -"},
      {{"    12x4", "20010231", "x", "abc", "99"}, "12x4 20010231 x abc 99", "12 - False - error"},
      {{"********", "********", "1", "9999999999", "x"},
       "******** ******** 1 9999999999 x",
       "- - False error -"},
  };
  storage::MemoryFileSystem files;
  FoxProWriter writer(
      files, kDirectory, "T",
      {.fields = {{"N", 'N', 8, 2}, {"D", 'D', 8}, {"L", 'L', 1}, {"M", 'M', 10}, {"G", 'G', 10}}});
  for (const auto& each : kCases) {
    for (std::size_t i = 0; i < each.raw.size(); ++i) writer.SetRaw(i, each.raw[i]);
    writer.Append();
  }
  writer.Finish();
  const auto records = Open(files);
  for (const auto& each : kCases) {
    std::vector<std::string> told, read;
    for (std::size_t i = 0; i < each.raw.size(); ++i) {
      told.push_back(records->UnreadableText(i).value_or("-"));
      std::string text;
      read.push_back(ErrorOf([&] { text = TextOf(*records, i); }) == "none" ? text : "error");
    }
    EXPECT_EQ(fmt::format("{}", fmt::join(told, " ")), each.told);
    EXPECT_EQ(fmt::format("{}", fmt::join(read, " ")), each.read);
    records->MoveNext();
  }
  EXPECT_THAT(ProblemsOf(files),
              testing::HasSubstr("record 5, field N: '12x4' is no value of type N, read as 12"));
}

// The direct way from bytes to text must give what the value gives.
TEST(DbfValue, TextOfNumbersIsTheTextOfTheirValues) {
  std::istringstream numbers(
      "0 -0 000 -0.0 1 -1 0012.500 .5 -.50 2. 1.0 0.1 100 123456789012345 1e5 12AB +7 +0.25 0.1000000 99.999 "
      "1234567890123456 0.000000000000001 0.0000000000000015 12345678901234567890 123456789.123456 "
      "1234567890.1234567 -3.14159265358979 .");
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T", {.fields = {{"N", 'N', 20, 5}}});
  for (std::string number; numbers >> number;) {
    writer.SetRaw(0, fmt::format("{:>20}", number));
    writer.Append();
  }
  writer.Finish();
  const auto records = Open(files);
  for (; !records->PastEnd(); records->MoveNext()) {
    const Value value = records->Read(0);
    EXPECT_EQ(TextOf(*records), core::IsNull(value) ? "-" : core::ToText(value)) << records->RecordNumber();
  }
}

template <typename T>
std::string Bytes(T value) {
  std::string bytes(sizeof(T), '\0');
  storage::WriteLittle<T>(std::as_writable_bytes(std::span(bytes)), 0, value);
  return bytes;
}

TEST(DbfValue, EveryTypeOfFoxPro2) {
  storage::MemoryFileSystem files;
  FoxProWriter writer(files, kDirectory, "T",
                      {.fields = {{"C", 'C', 12},
                                  {"N", 'N', 8, 2},
                                  {"F", 'F', 8, 3},
                                  {"D", 'D', 8},
                                  {"L", 'L', 1},
                                  {"M", 'M', 10},
                                  {"G", 'G', 10},
                                  {"P", 'P', 10}},
                       .language_driver = 0x01});
  writer.Append();
  writer.SetText(0, "  Äpfel ½");
  writer.SetNumber(1, -3.14159);
  writer.SetNumber(2, 123456);
  writer.SetDate(3, {2002, 3, 5});
  writer.SetLogical(4, true);
  writer.SetMemo(5, "Zürich \r\n\x1A.  ");
  writer.SetMemoBytes(6, 2, "OLE");
  writer.SetMemoBytes(7, 0, "PIC");
  writer.Append();
  writer.SetMemo(5, "");
  writer.SetRaw(4, "y");
  writer.Append();
  writer.SetRaw(0, "A\0B\0"sv);
  writer.SetRaw(4, "?");
  writer.Append();
  writer.Finish();
  EXPECT_EQ(ProblemsOf(files), "T.DBF, record 2, field F: '********' is no value of type F, read as Null\n");

  const auto records = Open(files);
  using core::FieldType;
  const std::pair<FieldType, int> kTypes[] = {
      {FieldType::Text, 12}, {FieldType::Double, 8}, {FieldType::Double, 8},     {FieldType::Date, 8},
      {FieldType::YesNo, 1}, {FieldType::Memo, 0},   {FieldType::LongBinary, 0}, {FieldType::LongBinary, 0}};
  for (std::size_t i = 0; i < std::size(kTypes); ++i) {
    EXPECT_EQ(records->Fields()[i].type, kTypes[i].first) << i;
    EXPECT_EQ(records->Fields()[i].size, kTypes[i].second) << i;
    const bool is_truth = kTypes[i].first == FieldType::YesNo;
    EXPECT_EQ(records->Read(i), is_truth ? Value(false) : Value(Null{}))
        << "blank " << records->Fields()[i].name;
  }
  records->MoveNext();
  EXPECT_EQ(records->Read(0), Value("  Äpfel ½"));
  EXPECT_EQ(records->Read(1), Value(-3.14));
  EXPECT_EQ(records->Read(2), Value(Null{})) << "did not fit: asterisks";
  EXPECT_EQ(TextOf(*records, 3), "3/5/2002");
  EXPECT_EQ(TextOf(*records, 4), "True");
  EXPECT_EQ(records->Read(5), Value("Zürich \r\n\x1A.  ")) << "memos keep every byte";
  EXPECT_EQ(TextOf(*records, 6), "OLE");
  EXPECT_EQ(records->Read(7), Value(core::Bytes{std::byte{'P'}, std::byte{'I'}, std::byte{'C'}}));
  records->MoveNext();
  EXPECT_EQ(records->Read(4), Value(true));
  EXPECT_EQ(records->Read(5), Value("")) << "a memo of length 0 is not Null";
  records->MoveNext();
  EXPECT_EQ(records->Read(0), Value("A\0B\0"s)) << "NULs are data";
  EXPECT_EQ(records->Read(4), Value(false));
}

TEST(DbfValue, EveryTypeOfVisualFoxPro) {
  storage::MemoryFileSystem files;
  constexpr std::uint8_t kNullable = descriptor::kNullable;
  FoxProWriter writer(files, kDirectory, "T",
                      {.fields = {{"I", 'I', 4},
                                  {"Y", 'Y', 8},
                                  {"B", 'B', 8, 2},
                                  {"T", 'T', 8},
                                  {"V", 'V', 10, 0, kNullable},
                                  {"Q", 'Q', 5},
                                  {"C", 'C', 4, 0, kNullable},
                                  {"M", 'M', 4},
                                  {"MB", 'M', 4, 0, descriptor::kBinary},
                                  {"_NullFlags", '0', 1}},
                       .version = DbfVersion::VisualVarying});
  const auto put = [&](std::string_view flags) {
    writer.SetRaw(0, Bytes<std::uint32_t>(0xFFFFFFFE));
    writer.SetRaw(1, Bytes<std::uint64_t>(123456));
    writer.SetRaw(2, Bytes(std::bit_cast<std::uint64_t>(2.5)));
    // 5 March 2002, 23:59:59.999, which is midnight when rounded to seconds
    writer.SetRaw(3, Bytes<std::uint32_t>(2452339) + Bytes<std::uint32_t>(86399999));
    writer.SetRaw(4, "varying  \x05"sv);
    writer.SetRaw(5, "\x01\x02\x03\x04\x02"sv);
    writer.SetRaw(6, "abcd");
    writer.SetMemo(7, "memo é");
    writer.SetMemoBytes(8, 1, "\xFF");
    writer.SetRaw(9, flags);
    writer.Append();
  };
  put(std::string(1, '\x05'));  // bits: V varies, V Null, Q varies, C Null
  put(std::string(1, '\x0A'));
  put(std::string(1, '\0'));
  writer.Append();
  writer.Finish();

  const auto records = Open(files);
  ASSERT_EQ(records->Fields().size(), 9u) << "the system column is not shown";
  EXPECT_EQ(records->Read(0), Value(std::int32_t{-2}));
  EXPECT_EQ(records->Read(1), Value(core::Currency{123456}));
  EXPECT_EQ(records->Read(2), Value(2.5));
  EXPECT_EQ(TextOf(*records, 3), "3/6/2002");
  EXPECT_EQ(TextOf(*records, 4), "varyi");
  EXPECT_EQ(records->Read(5), Value(core::Bytes{std::byte{1}, std::byte{2}}));
  EXPECT_EQ(TextOf(*records, 6), "abcd");
  EXPECT_EQ(records->Read(7), Value("memo é"));
  EXPECT_EQ(records->Read(8), Value(core::Bytes{std::byte{0xFF}}));
  records->MoveNext();
  EXPECT_EQ(TextOf(*records, 4), "-");
  EXPECT_EQ(TextOf(*records, 6), "-");
  records->MoveNext();
  EXPECT_EQ(TextOf(*records, 4), "varying  \x05") << "as long as the field";
  records->MoveNext();
  EXPECT_EQ(records->Read(0), Value(std::int32_t{0}));
  EXPECT_EQ(records->Read(3), Value(Null{}));
  EXPECT_EQ(records->Read(7), Value(Null{}));
}

}  // namespace
}  // namespace corvix::foxpro
