// What must hold before a run touches its first record: every table is connected to what was asked for, goes
// by its index, and the target can take rows without losing any. A run that cannot begin changes nothing.
#pragma once

#include <optional>

#include "common/error.h"
#include "common/trap.h"
#include "run/host.h"

namespace corvix::run {

/// Why a connection that the run needs has failed; none when it can go on. Photo and comps tables that are
/// none (3011) have been told, and the run goes on without them.
std::optional<common::Error> ConnectionFailure(const core::ConversionSources& sources);

/// Selects the indexes, tells the host which of them had to be built, checks the target, and stands on the
/// first central record. Returns why the run cannot begin, where a device error was ignored; other errors as
/// the trap passes them on. An empty central table is no obstacle.
std::optional<common::Error> MakeReady(Session& session, Host& host, const common::Trap& trap);

}  // namespace corvix::run
