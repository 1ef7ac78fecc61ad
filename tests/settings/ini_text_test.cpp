#include "settings/ini_text.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace corvix::settings::test {
namespace {

TEST(IniText, ReadsAsTheProfileOperationsDo) {
  constexpr const char* kText =
      "stray=before any section\r\n"
      "  [ Main ] trailing\r\n"
      "; name=in a comment\r\n"
      "  ;other=too\r\n"
      "name = first \t\r\n"
      "NAME=second\n"
      "no equals sign\r\n"
      "empty=\r\n"
      "blank=   \r\n"
      "quoted=\"  padded  \"\r\n"
      "single='it''s'\r\n"
      "open=\"half\r\n"
      "lone=\"\r\n"
      "semicolon=a;b = c\r\n"
      "two words=yes\r\n"
      "\r\n"
      "[Other]\r\n"
      "name=elsewhere\r\n"
      "[main]\r\n"
      "late=never found\r\n"
      "[br]ack]\n"
      "last=end"
      "\x1A";
  const struct {
    const char* section;
    const char* key;
    const char* value;
  } kCases[] = {{"Main", "name", "first"},     {"MAIN", "Name", "first"},
                {" main ", " NAME ", "first"}, {"Main", "empty", ""},
                {"Main", "blank", ""},         {"Main", "quoted", "  padded  "},
                {"Main", "single", "it''s"},   {"Main", "open", "\"half"},
                {"Main", "lone", "\""},        {"Main", "semicolon", "a;b = c"},
                {"Main", "TWO WORDS", "yes"},  {"Other", "name", "elsewhere"},
                {"br]ack", "last", "end"}};
  for (const auto& [section, key, value] : kCases) {
    EXPECT_EQ(FindIniValue(kText, section, key), value) << section << "/" << key;
  }
  const std::pair<const char*, const char*> kMissing[] = {
      {"Main", "other"}, {"Main", "; name"}, {"Main", "no equals sign"}, {"Main", "late"},
      {"Main", "stray"}, {"Other", "empty"}, {"Nowhere", "name"}};
  for (const auto& [section, key] : kMissing) {
    EXPECT_EQ(FindIniValue(kText, section, key), std::nullopt) << section << "/" << key;
  }
}

TEST(IniText, ChangesOneLineAndKeepsTheRest) {
  const struct {
    const char* before;
    const char* value;
    const char* after;
  } kCases[] = {
      // always [S] K
      {"", "v", "[S]\r\nK=v\r\n"},
      {"; only a comment", "v", "; only a comment\r\n[S]\r\nK=v\r\n"},
      {"[T]\r\nK=1\r\n", "v", "[T]\r\nK=1\r\n[S]\r\nK=v\r\n"},
      {"[s]\r\n; c\r\n k = old ; not a comment\r\nz=1", "v", "[s]\r\n; c\r\n k =v\r\nz=1"},
      {"[S]\nk=old\nz=1\n", "v", "[S]\nk=v\nz=1\n"},
      {"[S]\r\na=1\r\n; c\r\n\r\n\r\n[T]\r\nK=t\r\n", "v",
       "[S]\r\na=1\r\n; c\r\nK=v\r\n\r\n\r\n[T]\r\nK=t\r\n"},
      {"[S]", "v", "[S]\r\nK=v\r\n"},
      {"[S]\r\n[T]\r\n[S]\r\nK=2\r\n", "v", "[S]\r\nK=v\r\n[T]\r\n[S]\r\nK=2\r\n"},
      {"[S]\r\nK=1\r\nK=2\r\n", "v", "[S]\r\nK=v\r\nK=2\r\n"},
      {"[S]\r\nK=1", "", "[S]\r\nK="},
      {"[S]\r\nK=1\r\n", "  \"kept as given\" ", "[S]\r\nK=\"kept as given\" \r\n"},
      {"", "one\r\n[T]\r\nK=two", "[S]\r\nK=one  [T]  K=two\r\n"},
  };
  for (const auto& [before, value, after] : kCases) {
    EXPECT_EQ(WithIniValue(before, "S", "K", value), after) << before;
  }
}

}  // namespace
}  // namespace corvix::settings::test
