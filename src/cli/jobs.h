// Jobs files: many offices, one after the other. What ends one office does not keep the
// others from being converted.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/json_object.h"
#include "cli/office_run.h"

namespace corvix::cli {

struct JobsOptions {
  std::string file;
  std::string reports;     ///< directory for reports of offices that name none; empty: no reports
  bool replace = false;    ///< reports there are replaced; otherwise a new one gets a number
  OfficeOptions defaults;  ///< for what a line does not say
  bool json = false;       ///< an object an office instead of the table
};

struct Job {
  int line = 0;  ///< in the file, from 1
  OfficeOptions office;
};

/// The offices of the file, those without a report of their own given one in `reports`. Errors: 53, 76, and 5
/// for a mistake, the place naming the line.
std::vector<Job> ReadJobs(const JobsOptions& options);

/// Line, source and target of a job, to be completed.
JsonObject JobJson(const Job& job);

/// Does the same for each office of the file; in the form of a table prints how each ended. Failed when any
/// failed or the file has a mistake; then nothing was done. Stopped when a request to stop left some undone.
ExitCode RunJobs(const JobsOptions& options, const std::function<RunResult(const Job&)>& action);

/// Converts the offices of the file and prints how each ended.
ExitCode ConvertJobs(const JobsOptions& options);

/// The offices of a jobs file:
///
///   line    := blanks [ SOURCE TARGET option* ] [ "#" comment ]
///   option  := --duplicates source|target|ask | --no-photos | --photos | --backup | --report FILE
///   word    := as in a shell: 'as it is', "with \" and \\", plain with \ before a blank or a quote; # begins
///   a
///              comment only at the start of a word
///
/// Relative paths begin at `directory`. Error 5 for a mistake, the place naming the line.
std::vector<Job> ParseJobs(std::string_view text, const std::filesystem::path& directory,
                           const OfficeOptions& defaults);

}  // namespace corvix::cli
