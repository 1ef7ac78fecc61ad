// Runs a conversion to its end, whatever that is.
#pragma once

#include <optional>

#include "cli/exit_code.h"
#include "cli/plain_host.h"
#include "run/conversion.h"

namespace corvix::cli {

/// Runs the conversion and closes the target. `failure` receives the error that left the run; an error that
/// the run settled by ending is told on standard error.
ExitCode RunAndClose(run::Session& session, PlainHost& host, std::optional<run::Summary::Failure>& failure);

}  // namespace corvix::cli
