// The controls of the main window, as data.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "ui/control_table.h"

namespace corvix::ui {

inline constexpr FormEntry kMainForm{"frmConvert", "Photo & Comp Conversion ", 9210, 4410};

std::span<const ControlEntry> MainControls();

inline constexpr std::array<std::string_view, 3> kDuplicateOptions{"optdup(0)", "optdup(1)", "optdup(2)"};

/// A menu with its one item, the element 1 of an array of items.
struct MenuEntry {
  std::string_view menu;
  std::string_view menu_caption;
  std::string_view item;
  std::string_view item_caption;
};
inline constexpr MenuEntry kFileMenu{"FileMenu", "&File", "FileMenuItem(1)", "E&xit"};
inline constexpr MenuEntry kHelpMenu{"HelpMenu", "&Help", "HelpMenuItem(1)", "&About"};

}  // namespace corvix::ui
