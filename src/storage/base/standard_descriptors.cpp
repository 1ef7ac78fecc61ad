#include "storage/base/standard_descriptors.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace corvix::storage {

void OpenStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) != -1) continue;
    // The lowest free number is the one that is missing. Messages may vanish, results must not: writing to a
    // descriptor that is open for reading fails.
    const int access = descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY;
    if (::open("/dev/null", access) != descriptor) std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace corvix::storage
