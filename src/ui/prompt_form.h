// The controls of the duplicate prompt, as data: the two frames show the rows that run/duplicate_prompt.h
// lists, line for line beside each other.
#pragma once

#include <span>
#include <string>

#include "run/duplicate_prompt.h"
#include "ui/control_table.h"

namespace corvix::ui {

inline constexpr FormEntry kPromptForm{"frmAsk", "Replace The Comparable Data?", 9015, 6585};

std::span<const ControlEntry> PromptControls();

/// What a cell holds, for readers of the screen: "Target Bedrooms".
std::string SpokenName(std::string_view side, const run::PromptRow& row, std::size_t position);

/// Name of the small label before a cell that shows the sign of a difference.
std::string SignName(const run::PromptCell& cell);

}  // namespace corvix::ui
