// Matched pairs of source directories and target databases among the shared sample files, the runs to do with
// each, and the rows and messages that an independent model of the rules expects.
#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "run/run_values.h"
#include "support/shared_files.h"

namespace corvix::test {

struct PairRun {
  std::string pair;
  std::string run;

  std::filesystem::path folder() const { return SharedFile("fixtures/pairs").value() / pair; }
  std::string Name() const {
    std::string name = pair + "_" + run;
    std::ranges::replace_if(
        name, [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
  }
  friend std::ostream& operator<<(std::ostream& out, const PairRun& row) { return out << row.Name(); }
};
inline constexpr auto kPairRunName = [](const auto& row) { return row.param.Name(); };

/// The runs of a pair, as its file lists them.
inline nlohmann::json ReadRuns(const std::filesystem::path& pair) {
  std::ifstream in(pair / "runs.json");
  return nlohmann::json::parse(in)["runs"];
}

/// None where the shared files are missing.
inline std::vector<PairRun> AllPairRuns() {
  std::vector<PairRun> runs;
  const auto root = SharedFile("fixtures/pairs");
  if (!root) return runs;
  std::set<std::filesystem::path> pairs;
  for (const auto& entry : std::filesystem::directory_iterator(*root)) {
    if (entry.is_directory()) pairs.insert(entry.path());
  }
  for (const auto& pair : pairs) {
    for (const nlohmann::json& run : ReadRuns(pair)) runs.push_back({pair.filename().string(), run["name"]});
  }
  return runs;
}

/// The steps of a run follow one another on the same target.
inline nlohmann::json StepsOf(const PairRun& wanted) {
  for (const nlohmann::json& run : ReadRuns(wanted.folder())) {
    if (run["name"] == wanted.run) return run["steps"];
  }
  return nlohmann::json::array();
}

/// A fresh copy of the pair's database in `directory`.
inline std::filesystem::path CopyTarget(const PairRun& run, const std::filesystem::path& directory) {
  std::filesystem::path target = directory / "FOLVANE.MDB";
  std::filesystem::copy_file(run.folder() / "target" / "FOLVANE.MDB", target);
  std::filesystem::permissions(target, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::add);
  return target;
}

inline std::int16_t DupModeOf(const std::string& duplicates) {
  if (duplicates == "source") return run::kUseSource;
  return duplicates == "target" ? run::kKeepTarget : run::kAskEachTime;
}

/// Compares rows with the expected ones. An autonumber must be new and differ from all others, no more; new
/// rows have the greatest ones, in the order in which they were added.
inline void ExpectRows(std::vector<nlohmann::json> got, const PairRun& run) {
  std::vector<nlohmann::json> wanted;
  std::ifstream in(run.folder() / ("expected-" + run.run + ".jsonl"));
  for (std::string line; std::getline(in, line);) wanted.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(got.size(), wanted.size());
  const auto by_id = [](const auto& a, const auto& b) { return a["RECID"] < b["RECID"]; };
  std::ranges::sort(got, by_id);
  std::ranges::sort(wanted, by_id);
  std::set<nlohmann::json> ids;
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_TRUE(ids.insert(got[i]["RECID"]).second) << "autonumber given twice, row " << i;
    got[i].erase("RECID");
    wanted[i].erase("RECID");
    EXPECT_EQ(got[i], wanted[i]) << "row " << i << ": " << nlohmann::json::diff(wanted[i], got[i]);
  }
}

}  // namespace corvix::test
