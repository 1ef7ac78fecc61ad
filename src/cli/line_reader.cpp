#include "cli/line_reader.h"

#include <array>
#include <unistd.h>
#include <utility>

#include "cli/interrupt.h"

namespace corvix::cli {

std::optional<std::string> LineReader::Next() {
  for (;;) {
    if (const auto end = pending_.find('\n'); end != std::string::npos) {
      std::string line = pending_.substr(0, end);
      pending_.erase(0, end + 1);
      if (line.ends_with('\r')) line.pop_back();
      return line;
    }
    if (!InterruptGuard::WaitForInput(descriptor_)) return std::nullopt;
    std::array<char, 512> buffer;
    const auto count = ::read(descriptor_, buffer.data(), buffer.size());
    if (count <= 0) {
      if (count < 0 || pending_.empty()) return std::nullopt;
      return std::exchange(pending_, {});
    }
    pending_.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace corvix::cli
