#include "storage/base/computer_name.h"

#include <array>
#include <unistd.h>

namespace corvix::storage {

std::string ComputerName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  const std::string whole(name.data());
  return whole.substr(0, whole.find('.'));
}

}  // namespace corvix::storage
