#include "ui/bound_widgets.h"

#include <array>

#include "common/error.h"
#include "ui/form.h"

namespace corvix::ui {
namespace {

/// By number of the state: 0 unchecked, 1 checked, 2 grey.
constexpr std::array kStates{Qt::Unchecked, Qt::Checked, Qt::PartiallyChecked};

[[noreturn]] void Refuse() { throw common::Error(common::kInvalidCall); }

}  // namespace

std::string BoundWidget::Name() const { return FromQt(widget_.objectName()); }
std::string BoundWidget::Tag() const { return TagOf(widget_); }
std::string BoundWidget::Text() const { Refuse(); }
void BoundWidget::SetText(std::string_view) { Refuse(); }
void BoundWidget::SetCaption(std::string_view) { Refuse(); }
int BoundWidget::State() const { Refuse(); }
void BoundWidget::SetState(int) { Refuse(); }

std::string BoundTextBox::Text() const { return FromQt(box_.text()); }
void BoundTextBox::SetText(std::string_view text) { box_.setText(ToQt(text)); }

std::string BoundLabel::Text() const { return FromQt(label_.text()); }
void BoundLabel::SetCaption(std::string_view text) { label_.setText(ToQt(text)); }

void BoundOption::SetState(int state) {
  // A group keeps its last button on unless it is told otherwise.
  button_.setAutoExclusive(state != 0);
  button_.setChecked(state != 0);
  button_.setAutoExclusive(true);
}

int BoundCheckBox::State() const {
  return box_.checkState() == Qt::PartiallyChecked ? 2 : box_.isChecked() ? 1 : 0;
}

void BoundCheckBox::SetState(int state) {
  if (state < 0 || state >= static_cast<int>(kStates.size()))
    throw common::Error(common::kInvalidPropertyValue);
  box_.setCheckState(kStates[static_cast<std::size_t>(state)]);
}

}  // namespace corvix::ui
