// Makes the widgets of a control table: names, texts, places, tab order, accessible names. A window then
// finds its controls by name, once, and connects them.
#pragma once

#include <QWidget>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ui/control_table.h"
#include "ui/qt_text.h"

namespace corvix::ui {

/// Makes all controls of the table inside `client`, which gets the form's font. Widgets belong to their
/// parents.
void MakeControls(QWidget& client, std::span<const ControlEntry> entries);

/// The control of that name and kind; a name that the table lacks is an error in the program.
template <class Widget>
Widget& Control(const QWidget& client, std::string_view name) {
  auto* widget = client.findChild<Widget*>(ToQt(name));
  if (!widget) throw std::logic_error("no control " + std::string(name));
  return *widget;
}

/// The tag string that a control carries.
std::string TagOf(const QWidget& control);

}  // namespace corvix::ui
