// A window's controls as data: every window states its controls once, in a table of these, and form.h makes
// the widgets. Positions are in twips, 15 to a pixel at 100 %, inside the window or the frame that holds the
// control.
#pragma once

#include <QRect>
#include <string_view>

namespace corvix::ui {

struct TwipRect {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

inline constexpr int kTwipsPerPixel = 15;

/// The nearest pixel.
constexpr int ToPixels(int twips) { return (twips + kTwipsPerPixel / 2) / kTwipsPerPixel; }

/// Edges are rounded, not sizes, so that controls that touch in twips touch on the screen.
constexpr QRect ToPixels(const TwipRect& place) {
  const int left = ToPixels(place.left);
  const int top = ToPixels(place.top);
  return {left, top, ToPixels(place.left + place.width) - left, ToPixels(place.top + place.height) - top};
}

enum class ControlKind {
  Label,
  TextBox,
  ReadOnlyBox,
  Button,
  OptionButton,
  CheckBox,
  Frame,
  ProgressBar,
  Line,
  Picture
};

inline constexpr int kNoTabStop = -1;

struct ControlEntry {
  std::string_view name;  ///< object name; empty for pure decoration
  ControlKind kind = ControlKind::Label;
  std::string_view caption;  ///< or the text that a box starts with
  TwipRect place;
  std::string_view parent;     ///< name of the frame around it; empty: the window itself
  int tab_index = kNoTabStop;  ///< position in the tab order
  std::string_view tag;        ///< INI binding, or a note
  std::string_view tool_tip;
  std::string_view spoken;         ///< accessible name, where the caption does not say it
  std::string_view buddy;          ///< of a caption label: the control that it names
  bool centred = false;            ///< text of a label
  bool wrapped = false;            ///< likewise
  bool disabled_in_a_run = false;  ///< while a conversion runs
};

/// What a window is besides its controls.
struct FormEntry {
  std::string_view name;
  std::string_view caption;
  int width = 0;   ///< of the client area, in twips
  int height = 0;  ///< likewise
};

}  // namespace corvix::ui
