// The name under which other computers know this one.
#pragma once

#include <string>

namespace corvix::storage {

/// Up to the first dot; empty when the computer has none.
std::string ComputerName();

}  // namespace corvix::storage
