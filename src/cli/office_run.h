// The conversion of one office: the run on a terminal, with a backup before it and a report beside it where
// they are wanted.
#pragma once

#include <filesystem>
#include <string>

#include "cli/conversion_options.h"
#include "cli/line_reader.h"
#include "cli/report_format.h"

namespace corvix::cli {

struct OfficeOptions {
  ConversionOptions conversion;
  bool yes = false;             ///< the backup question is answered with Yes
  bool backup = false;          ///< copy the database before anything is changed
  std::string report;           ///< file; empty for none
  bool replace_report = false;  ///< a file of that name is an earlier report, to be replaced
};

/// Converts and closes the target. Everything that goes wrong is told on standard error and in the result;
/// answers are read from `input`. A failing backup or a report that cannot be begun end it before anything is
/// changed.
RunResult ConvertOffice(const OfficeOptions& options, LineReader& input);

}  // namespace corvix::cli
