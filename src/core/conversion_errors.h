// The two failures of conversions from text, with the text that caused them.
#pragma once

#include <string>
#include <string_view>

namespace corvix::core {

/// The text in single quotes for a message, cut when it is long.
std::string Quoted(std::string_view text);

/// Error 13, "'TEXT' is not WANTED"; `wanted` is "a number", "a date" and so on.
[[noreturn]] void ThrowNotA(std::string_view wanted, std::string_view text);
/// Error 6, "'TEXT' is too large for WANTED".
[[noreturn]] void ThrowTooLarge(std::string_view wanted, std::string_view text);

}  // namespace corvix::core
