// Exit codes of corvix-cli, the same for every command.
#pragma once

namespace corvix::cli {

enum class ExitCode {
  Done = 0,
  Failed = 1,   ///< failed, ended by an error that ends the program, or problems were found
  Usage = 2,    ///< the command line is wrong
  Stopped = 3,  ///< stopped by the user
};

}  // namespace corvix::cli
