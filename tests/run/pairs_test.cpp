// Converts matched pairs of source directories and target databases and compares rows, counts and messages
// with what an independent model of the rules expects. Needs the shared sample files.
#include "support/pairs.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "common/error.h"
#include "common/host_paths.h"
#include "core/json_form.h"
#include "storage/base/posix_file.h"
#include "storage/engine/file_engine.h"
#include "support/file_run.h"
#include "support/temporary_directory.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

/// What a showing of the prompt ends with: clicks that leave it open do not count.
std::int16_t ResultOf(const json& answer) {
  const std::string click = answer.is_array() ? answer.back().get<std::string>() : answer.get<std::string>();
  if (click == "yes") return run::kAskYes;
  if (click == "no") return run::kAskNo;
  if (click == "stop") return run::kAskStop;
  return run::kAskOverwriteAll;
}

int ExitCodeOf(run::RunEnd end) {
  switch (end) {
    case run::RunEnd::Completed:
      return 0;
    case run::RunEnd::Failed:
      return 1;
    default:
      return 3;
  }
}

std::vector<json> TargetRows(core::Database& database) {
  const auto records = database.OpenTable("COMPS");
  std::vector<json> rows;
  if (!records->HasRow()) return rows;
  for (records->MoveFirst(); !records->PastEnd(); records->MoveNext()) {
    rows.push_back(json::parse(core::RowAsJson(*records)));
  }
  return rows;
}

/// The rows as another reader of the format gives them, by autonumber; none where that reader is not
/// installed. Of a row that was moved twice by others it prints a stale copy first, so the last one counts.
std::map<std::int64_t, json> RowsOfOtherReader(const fs::path& database) {
  std::map<std::int64_t, json> rows;
  const std::string command = "mdb-json -T '%Y-%m-%dT%H:%M:%S' '" + database.string() + "' COMPS 2>/dev/null";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  std::string output;
  std::array<char, 65536> buffer;
  for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;) {
    output.append(buffer.data(), n);
  }
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    json row = json::parse(line);
    const auto id = row["RECID"].get<std::int64_t>();
    rows[id] = std::move(row);
  }
  return rows;
}

/// Whether the other reader shows the same value. It leaves Nulls out, prints booleans as 0 and 1, numbers
/// with fewer digits, and gets dates up to day 0 (30 December 1899) wrong.
bool Agrees(const json& ours, const json& theirs) {
  if (ours.is_null() || theirs.is_null()) return ours.is_null() == theirs.is_null() || ours == "";
  if (ours.is_boolean()) return ours.get<bool>() == (theirs.get<int>() != 0);
  if (ours.is_string() && theirs.is_number())
    return std::abs(std::stod(ours.get<std::string>()) - theirs.get<double>()) < 1e-3;
  if (ours.is_number()) {
    return std::abs(ours.get<double>() - theirs.get<double>()) <= 1e-6 * std::abs(ours.get<double>());
  }
  const auto text = ours.get<std::string>();
  return text == theirs || (text.size() == 19 && text[10] == 'T' && text < "1900-01-01");
}

class PairsTest : public testing::TestWithParam<test::PairRun> {
 protected:
  void RunStep(const json& step) {
    const fs::path folder = GetParam().folder();
    test::FileRun conversion(files_, folder / step.value("source", "source"), directory_.path());
    run::Session& session = conversion.session;
    test::ScriptedHost& host = conversion.host;
    session.values.DupMode = test::DupModeOf(step["duplicates"]);
    session.values.ConvertPhotosFlag = step["photos"].get<bool>() ? 1 : 0;
    for (const json& answer : step.value("answers", json::array()))
      host.prompt_results.push_back(ResultOf(answer));

    int exit_code = 1;
    json error = nullptr;
    try {
      exit_code = ExitCodeOf(conversion.Run());
    } catch (const common::Error& failure) {
      error = failure.number();
    }

    json handled = json::array();
    for (const run::RecordEvent& event : host.events) {
      for (const auto number : event.errors) handled.push_back({event.number, number});
    }
    const run::Summary result = host.Result();
    const json got{{"exit", exit_code},
                   {"error", error},
                   {"messages", result.messages},
                   {"status", result.status},
                   {"records", result.records},
                   {"prompts", host.asked.size()},
                   {"added", result.added},
                   {"overwritten", result.overwritten},
                   {"kept", result.kept},
                   {"skipped_blank", result.skipped_blank},
                   {"photo_lines", result.photo_lines},
                   {"handled_errors", handled},
                   {"asked", host.asked}};
    for (const auto& [member, wanted] : step["expect"].items())
      EXPECT_EQ(got.value(member, json()), wanted) << member;
  }

  storage::PosixFileSystem files_;
  storage::FileEngine engine_{files_};
  test::TemporaryDirectory directory_;
};

TEST_P(PairsTest, RowsAndMessagesAreAsExpected) {
  const fs::path target = test::CopyTarget(GetParam(), directory_.path());
  for (const json& step : test::StepsOf(GetParam())) RunStep(step);

  const auto database = engine_.OpenDatabase(common::DisplayPath(target));
  const std::vector<json> got = TargetRows(*database);
  const auto others = RowsOfOtherReader(target);
  if (!others.empty()) {
    EXPECT_EQ(others.size(), got.size());
    for (const json& row : got) {
      const auto other = others.find(row["RECID"].get<std::int64_t>());
      ASSERT_NE(other, others.end()) << row["RECID"];
      for (const auto& [field, value] : row.items()) {
        const json theirs = other->second.value(field, json());
        EXPECT_TRUE(Agrees(value, theirs)) << field << ": " << value << " and " << theirs;
      }
    }
  }
  test::ExpectRows(got, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Shared, PairsTest, testing::ValuesIn(test::AllPairRuns()), test::kPairRunName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PairsTest);

}  // namespace
}  // namespace corvix
