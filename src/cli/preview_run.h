// The preview of one office: the conversion itself over files that keep every change in memory, with what it
// would meet told before, and what each record would become.
#pragma once

#include "cli/office_run.h"

namespace corvix::cli {

struct PreviewForm {
  bool changes = false;  ///< each field that would change
  bool json = false;     ///< one JSON object a line
};

/// Prints the preview. Its exit code is the one that the conversion would have. Requests to interrupt must be
/// guarded.
RunResult PreviewOffice(const OfficeOptions& office, const PreviewForm& form);

}  // namespace corvix::cli
