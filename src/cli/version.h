// The program's version, as the build gives it.
#pragma once

#include <string_view>

namespace corvix::cli {

inline constexpr std::string_view kVersion = CORVIX_VERSION;

}  // namespace corvix::cli
