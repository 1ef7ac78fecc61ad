// Texts from files as they are shown on a terminal: control characters cannot reach it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/value.h"

namespace corvix::cli {

/// The text with control characters written as \r, \n, \t or \xNN.
std::string ShownText(std::string_view text);
/// A value: text in single quotes without the blanks that pad it, Null as (nothing), binary by its length.
std::string ShownValue(const core::Value& value);
/// A whole number with commas between thousands.
std::string ShownCount(std::uint64_t number);

}  // namespace corvix::cli
