// Reading a jobs file.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/jobs.h"
#include "common/error.h"

namespace corvix::cli {
namespace {

std::string Parsed(std::string_view text) {
  std::string lines;
  try {
    const OfficeOptions defaults{.conversion = {.duplicates = 1}, .backup = false};
    for (const Job& job : ParseJobs(text, "/jobs", defaults)) {
      const ConversionOptions& what = job.office.conversion;
      lines += fmt::format("{} [{}] [{}] {}{}{} [{}];", job.line, what.source, what.target,
                           PolicyName(what.duplicates), what.photos ? "" : " no photos",
                           job.office.backup ? " backup" : "", job.office.report);
    }
  } catch (const common::Error& error) {
    return fmt::format("{}: {}", error.place(), error.text());
  }
  return lines;
}

TEST(JobsFile, ParseJobs) {
  struct Case {
    const char* text;
    const char* wanted;
  };
  for (const Case& c : {
           Case{"", ""},
           {"# nothing\n\n   \t# here\r\n", ""},
           {"a b", "1 [/jobs/a] [/jobs/b] target [];"},
           {"a b\r\n\nc /d # e", "1 [/jobs/a] [/jobs/b] target [];3 [/jobs/c] [/d] target [];"},
           {R"("Lee & Co/old" 'it is' )", "1 [/jobs/Lee & Co/old] [/jobs/it is] target [];"},
           {R"(a\ b O\'Dell)", "1 [/jobs/a b] [/jobs/O'Dell] target [];"},
           {R"(C:\old\data 'a\ b' "q\"q\\")",
            "line 1: There is no option q\"q\\ in a jobs file; correct the line and try again"},
           {R"(C:\old\data 'a\ b')", R"(1 [/jobs/C:\old\data] [/jobs/a\ b] target [];)"},
           {"a#1 \\#b", "1 [/jobs/a#1] [/jobs/#b] target [];"},
           {"a b --duplicates ASK --no-photos --backup --report x/r.csv",
            "1 [/jobs/a] [/jobs/b] ask no photos backup [/jobs/x/r.csv];"},
           {"a b --no-photos --photos --duplicates source", "1 [/jobs/a] [/jobs/b] source [];"},
           {"a b\nonly",
            "line 2: A line names a source and a target directory; correct the line and try again"},
           {"a 'b", "line 1: The quotation mark ' is not closed; correct the line and try again"},
           {"a b --yes", "line 1: There is no option --yes in a jobs file; correct the line and try again"},
           {"a b --duplicates",
            "line 1: The option --duplicates needs a value; correct the line and try again"},
           {"a b --duplicates x",
            "line 1: --duplicates is source, target or ask, not x; correct the line and try again"},
           {"a b --report FOLVANE.MDB",
            "line 1: The name of a report must end in .txt, .csv or .jsonl; correct the line and try again"},
       }) {
    EXPECT_EQ(Parsed(c.text), c.wanted) << c.text;
  }
}

}  // namespace
}  // namespace corvix::cli
