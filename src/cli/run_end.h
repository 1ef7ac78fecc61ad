// Runs a conversion to its end, whatever that is.
#pragma once

#include "cli/plain_host.h"
#include "cli/report_format.h"
#include "run/conversion.h"

namespace corvix::cli {

/// Runs the conversion and closes the target. The summary tells the error that ended the run, and only what
/// the closed database holds; an error that has a status line of its own is told on standard error.
RunResult RunAndClose(run::Session& session, PlainHost& host);

}  // namespace corvix::cli
