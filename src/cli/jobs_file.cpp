// Reading a jobs file.
#include <fmt/format.h>
#include <optional>

#include "cli/jobs.h"
#include "common/error.h"
#include "common/text.h"
#include "run/run_values.h"

namespace corvix::cli {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void ThrowMistake(int line, const std::string& what) {
  throw common::Error(common::kInvalidCall, what + "; correct the line and try again",
                      fmt::format("line {}", line));
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// The words of a line, its comment left out.
std::vector<std::string> SplitWords(std::string_view line, int number) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < line.size();) {
    if (IsBlank(line[i])) {
      ++i;
      continue;
    }
    if (line[i] == '#') break;
    std::string& word = words.emplace_back();
    char quote = 0;
    for (; i < line.size() && (quote != 0 || !IsBlank(line[i])); ++i) {
      const char c = line[i];
      const char next = i + 1 < line.size() ? line[i + 1] : '\0';
      if (c == quote) {
        quote = 0;
      } else if (quote == 0 && (c == '\'' || c == '"')) {
        quote = c;
      } else if (c == '\\' && quote != '\'' &&
                 (next == '"' || next == '\\' ||
                  (quote == 0 && (next == ' ' || next == '\'' || next == '#')))) {
        word += next;
        ++i;
      } else {
        word += c;
      }
    }
    if (quote != 0) ThrowMistake(number, fmt::format("The quotation mark {} is not closed", quote));
  }
  return words;
}

class LineParser {
 public:
  LineParser(std::vector<std::string> words, int line, const fs::path& directory)
      : words_(std::move(words)), line_(line), directory_(directory) {}

  Job Parse(const OfficeOptions& defaults) {
    Job job{.line = line_, .office = defaults};
    ConversionOptions& conversion = job.office.conversion;
    if (words_.size() < 2) ThrowMistake(line_, "A line names a source and a target directory");
    conversion.source = Path(words_[0]);
    conversion.target = Path(words_[1]);
    for (next_ = 2; next_ < words_.size();) {
      const std::string option = words_[next_++];
      if (option == "--no-photos") {
        conversion.photos = false;
      } else if (option == "--photos") {
        conversion.photos = true;
      } else if (option == "--backup") {
        job.office.backup = true;
      } else if (option == "--duplicates") {
        conversion.duplicates = Policy(Argument(option));
      } else if (option == "--report") {
        job.office.report = Path(Argument(option));
        if (!FormatFor(job.office.report)) {
          ThrowMistake(line_, "The name of a report must end in .txt, .csv or .jsonl");
        }
      } else {
        ThrowMistake(line_, "There is no option " + option + " in a jobs file");
      }
    }
    return job;
  }

 private:
  std::string Path(const std::string& word) const { return (directory_ / word).string(); }

  const std::string& Argument(const std::string& option) {
    if (next_ == words_.size()) ThrowMistake(line_, "The option " + option + " needs a value");
    return words_[next_++];
  }

  std::int16_t Policy(const std::string& name) const {
    for (const std::int16_t policy : {run::kUseSource, run::kKeepTarget, run::kAskEachTime}) {
      if (common::EqualIgnoringCase(PolicyName(policy), name)) return policy;
    }
    ThrowMistake(line_, "--duplicates is source, target or ask, not " + name);
  }

  std::vector<std::string> words_;
  int line_;
  const fs::path& directory_;
  std::size_t next_ = 0;
};

}  // namespace

std::vector<Job> ParseJobs(std::string_view text, const fs::path& directory, const OfficeOptions& defaults) {
  std::vector<Job> jobs;
  for (int line = 1; !text.empty(); ++line) {
    const std::size_t end = text.find('\n');
    std::vector<std::string> words = SplitWords(text.substr(0, end), line);
    if (!words.empty()) jobs.push_back(LineParser(std::move(words), line, directory).Parse(defaults));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return jobs;
}

}  // namespace corvix::cli
