// The controls of the duplicate prompt, as data: the two frames show the rows that run/duplicate_prompt.h
// lists, line for line beside each other.
#pragma once

#include <span>
#include <string>

#include "run/duplicate_prompt.h"
#include "ui/control_spec.h"

namespace corvix::ui {

inline constexpr FormSpec kPromptForm{"frmAsk", "Replace The Comparable Data?", 9015, 6585};

std::span<const ControlSpec> PromptControls();

/// Name of the small label before a cell that shows the sign of a difference.
std::string SignName(const run::PromptCell& cell);

}  // namespace corvix::ui
