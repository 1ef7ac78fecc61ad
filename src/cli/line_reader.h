// Reads answers from standard input, a line at a time.
#pragma once

#include <optional>
#include <string>

namespace corvix::cli {

class LineReader {
 public:
  explicit LineReader(int descriptor) : descriptor_(descriptor) {}
  /// The next line without its end; none at the end of input, and when a signal interrupts the wait.
  std::optional<std::string> Next();

 private:
  int descriptor_;
  std::string pending_;
};

}  // namespace corvix::cli
