#include "ui/run_widgets.h"

#include "common/error.h"
#include "ui/qt_text.h"

namespace corvix::ui {

ShownLabel::ShownLabel(QLabel& label) : label_(label), caption_(FromQt(label.text())) {}

void ShownLabel::SetTextColour(double colour) {
  const auto bytes = static_cast<unsigned>(colour);
  QPalette palette = label_.palette();
  palette.setColor(QPalette::WindowText,
                   QColor(static_cast<int>(bytes & 0xFF), static_cast<int>(bytes >> 8 & 0xFF),
                          static_cast<int>(bytes >> 16 & 0xFF)));
  label_.setPalette(palette);
}

void ShownLabel::SetCaption(std::string_view caption) {
  caption_ = caption;
  changed_ = true;
}

void ShownLabel::Show() {
  if (!changed_) return;
  label_.setText(ToQt(caption_));
  changed_ = false;
}

void ShownGauge::SetMaximum(int value) { bar_.setMaximum(value); }
void ShownGauge::SetMinimum(int value) { bar_.setMinimum(value); }

void ShownGauge::SetValue(int value) {
  if (value < bar_.minimum() || value > bar_.maximum()) throw common::Error(common::kInvalidPropertyValue);
  value_ = value;
}

void ShownGauge::Show() { bar_.setValue(value_); }

}  // namespace corvix::ui
