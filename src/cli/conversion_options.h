// The options that say which conversion is meant: the same for `convert`, `preview` and the lines of a jobs
// file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "run/host.h"

namespace CLI {
class App;
}

namespace corvix::cli {

struct ConversionOptions {
  std::string source;           ///< host directory of CENTRAL, COMPS and PHOTO
  std::string target;           ///< host directory of FOLVANE.MDB
  std::int16_t duplicates = 0;  ///< run::kUseSource ...
  bool photos = true;
};

/// The two directories, and how to convert.
void AddDirectories(CLI::App& command, ConversionOptions& options);
void AddPolicies(CLI::App& command, ConversionOptions& options);

/// One office by both directories, or many by a jobs file: anything else is an error of the command line.
/// `report` stands for what the lines of the file name, too.
void RequireOfficeOrJobs(const ConversionOptions& options, const std::string& jobs,
                         const std::string& report = {});

run::BoxTexts BoxesOf(const ConversionOptions& options);
/// "source", "target" or "ask".
std::string_view PolicyName(std::int16_t duplicates);
/// The files that the run reaches by the directories: names are matched as it matches them.
std::filesystem::path SourceDirectory(const std::string& directory);
std::filesystem::path TargetFile(const std::string& directory);

/// Puts the options into the shared values of a session.
void SetValues(run::RunValues& values, const ConversionOptions& options);

}  // namespace corvix::cli
