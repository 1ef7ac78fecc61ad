// What every command of the program is: a subcommand that is declared to the parser, and the work to do once
// the command line is understood. Each command declares itself in its own file.
#pragma once

#include <functional>

#include "cli/exit_code.h"

namespace CLI {
class App;
}

namespace corvix::cli {

/// The work of the command that was given.
using Work = std::function<ExitCode()>;

}  // namespace corvix::cli
