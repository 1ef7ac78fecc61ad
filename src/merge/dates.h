// Sale dates: tested, rebuilt as month/day/four-digit-year text, and stored. Text dates are read in
// month/day/year order.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/table_source.h"

namespace corvix::merge {

/// The date that stands for "not a date".
inline constexpr std::string_view kSentinelDate = "01/01/1900";

/// True when the text has at least 6 characters, blanks at the ends not counted, and reads as a date.
bool IsDate(std::string_view text);

/// Stores a sale date into the row being written of `target`: SaleDate as month/day/year, or, when the text
/// is no date, SaleSerial as the sentinel's day number, `text` becoming the sentinel. A date that passes
/// IsDate but does not convert shows a notice and stores nothing.
void SetSaleDate(core::TableSource& target, std::string& text);

/// The date text as M/D/YYYY, its year rebuilt around the pivot 24/25. Error 13 for a text that is no date.
std::string ReturnFullYear(std::string_view date);

/// Year, month and day of a date text. Error 13 for a text that is no date.
void SepDate(std::string_view date, std::int16_t& year, std::int16_t& month, std::int16_t& day);

/// The rightmost `width` characters of `width` copies of the pad character followed by the trimmed text.
std::string PadLChar(std::string_view text, std::int16_t width, std::string_view pad);

}  // namespace corvix::merge
