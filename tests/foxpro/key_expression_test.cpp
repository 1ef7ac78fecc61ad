#include "storage/foxpro/key_expression.h"

#include "foxpro/tables.h"

namespace corvix::foxpro {
namespace {

class KeyExpressions : public testing::Test {
 protected:
  void SetUp() override {
    FoxProWriter writer(files_, kDirectory, "T",
                        {.fields = {{"NAME", 'C', 8},
                                    {"CITY", 'C', 5},
                                    {"PRICE", 'N', 8, 2},
                                    {"DAY", 'D', 8},
                                    {"POOL", 'L', 1},
                                    {"NOTE", 'M', 10}}});
    writer.SetRaw(0, "  M\xFCller");
    writer.SetText(1, "Bern");
    writer.SetNumber(2, 1234.56);
    writer.SetDate(3, {2002, 3, 5});
    writer.SetLogical(4, true);
    writer.Append();
    writer.SetDeleted();
    writer.SetText(1, "X");
    writer.SetRaw(2, "********");
    writer.SetRaw(3, "20010230");
    writer.Append();
    writer.Finish();
    table_ = std::make_unique<DbfFile>(files_.Open(kDirectory / "T.DBF", storage::OpenMode::Read), "T.DBF");
  }

  /// The value in brackets when it is text, else as number.
  std::string Evaluated(std::string_view text, std::uint32_t record = 1) {
    const KeyExpression expression(text, table_->header(), page_);
    KeyValue value;
    expression.Evaluate(table_->Record(record), record, value);
    EXPECT_EQ(value.type, expression.type()) << text;
    if (value.type != KeyType::Text) return fmt::format("{}", value.number);
    EXPECT_LE(value.text.size(), expression.width()) << text;
    return "[" + value.text + "]";
  }

  storage::MemoryFileSystem files_;
  storage::CodePage page_{1252};
  std::unique_ptr<DbfFile> table_;
};

TEST_F(KeyExpressions, AreEvaluatedAsFoxProDoes) {
  const struct {
    const char* expression;
    const char* first;   // on record 1
    const char* second;  // on record 2, which is deleted and blank but for CITY
  } kCases[] = {
      {"NAME", "[  M\xFCller]", "[        ]"},
      {"upper(name)", "[  M\xDCLLER]", "[        ]"},
      {"LOWER(CITY)", "[bern ]", "[x    ]"},
      {"T->CITY + t.name", "[Bern   M\xFCller]", "[X            ]"},
      {"TRIM(CITY)+'-'+LTRIM(NAME)", "[Bern-M\xFCller]", "[X-]"},
      {"CITY-NAME", "[Bern  M\xFCller ]", "[X            ]"},
      {"ALLTRIM(NAME)", "[M\xFCller]", "[]"},
      {"LEFT(CITY,2)+RIGHT(NAME,3)", "[Beler]", "[X    ]"},
      {"SUBSTR(CITY,2,2)+SUBSTR(CITY,4)", "[ern ]", "[    ]"},
      {"PADR(CITY,7)+PADL(TRIM(CITY),6)", "[Bern     Bern]", "[X           X]"},
      {"PRICE", "1234.56", "0"},
      {"PRICE*2+1", "2470.12", "1"},
      {"-PRICE/2", "-617.28", "-0"},
      {"STR(PRICE)", "[      1235]", "[         0]"},
      {"STR(PRICE,8,1)", "[  1234.6]", "[     0.0]"},
      {"STR(PRICE,3)", "[***]", "[  0]"},
      {"VAL('12AB')+VAL(CITY)", "12", "12"},
      {"DAY", "2452339", "0"},
      {"DAY+1", "2452340", "1"},
      {"DTOS(DAY)", "[20020305]", "[        ]"},
      {"DTOC(DAY)", "[03/05/02]", "[  /  /  ]"},
      {"DTOC(DAY,1)", "[20020305]", "[        ]"},
      {"YEAR(DAY)*10000+MONTH(DAY)*100+DAY(DAY)", "20020305", "0"},
      {"POOL", "1", "0"},
      {"!DELETED()", "1", "0"},
      {".NOT. DELETED() .AND. CITY='B'", "1", "0"},
      {"NOT (CITY='B') OR .F.", "0", "1"},
      {"CITY='Bern' .OR. RECNO()=2", "1", "1"},
      {"CITY=='Bern'", "0", "0"},
      {"CITY<>\"X\" .and. 'er'$CITY", "1", "0"},
      {"PRICE>=1234.56 and PRICE#0", "1", "0"},
      {"CITY>'Berm'", "1", "1"},
      {"EMPTY(NAME) .OR. EMPTY(PRICE)", "0", "1"},
      {"IIF(DELETED(),'no ',[yes])", "[yes]", "[no ]"},
  };
  for (const auto& [expression, first, second] : kCases) {
    EXPECT_EQ(Evaluated(expression), first) << expression;
    EXPECT_EQ(Evaluated(expression, 2), second) << expression;
  }
}

TEST_F(KeyExpressions, WhatIsNotUnderstoodIsRefusedWithTheReason) {
  const std::pair<const char*, const char*> kCases[] = {{"", "ends too early"},
                                                        {"NAME+", "ends too early"},
                                                        {"NAME CITY", "'CITY' is not expected"},
                                                        {"STREET", "no field STREET"},
                                                        {"SOUNDEX(NAME)", "SOUNDEX"},
                                                        {"UPPER(PRICE)", "arguments of UPPER"},
                                                        {"NAME+PRICE", "do not go"},
                                                        {"UPPER(NAME", "')' is missing"},
                                                        {"'abc", "does not end"},
                                                        {"LEFT(NAME,PRICE)", "constant"},
                                                        {"NOTE", "cannot be part"},
                                                        {"NOT NAME", "condition"},
                                                        {"IIF(POOL,NAME,DAY)", "one type"},
                                                        {"LEFT(NAME)", "arguments of LEFT"},
                                                        {"@", "'@'"}};
  for (const auto& [expression, why] : kCases) {
    EXPECT_THAT(ErrorOf([&] { Evaluated(expression); }),
                testing::AllOf(testing::StartsWith("3250: "), testing::HasSubstr(why)))
        << expression;
  }
  EXPECT_THAT(ErrorOf([&] { Evaluated(std::string(5000, '(')); }), testing::StartsWith("3250: "));
}

}  // namespace
}  // namespace corvix::foxpro
