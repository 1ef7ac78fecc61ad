// Texts from files as they are shown on a terminal: control characters cannot reach it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/value.h"

namespace corvix::cli {

/// The text with control characters, and bytes that are no UTF-8, written as \r, \n, \t or \xNN.
std::string ShownText(std::string_view text);
/// The same of a text of several lines: their ends stay.
std::string ShownLines(std::string_view text);
/// As much of a shown text as fits into so many columns of a terminal.
std::string FitColumns(std::string_view text, std::size_t columns);
/// A value: text in single quotes without the blanks that pad it, Null as (nothing), binary by its length.
std::string ShownValue(const core::Value& value);
/// A whole number with commas between thousands.
std::string ShownCount(std::uint64_t number);

}  // namespace corvix::cli
