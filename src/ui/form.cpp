#include "ui/form.h"

#include <QFontMetrics>
#include <QFrame>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <algorithm>
#include <vector>

#include "ui/check_box.h"

namespace corvix::ui {
namespace {

constexpr const char* kTagProperty = "tag";
constexpr int kFontPixels = 11;        // what the heights of the tables are made for
constexpr int kNarrowestStretch = 62;  // per cent; below that letters stop being pleasant
constexpr int kStretchStep = 2;

/// Pixels that a control needs beside its text: indicator, borders, padding.
int Extra(ControlKind kind) {
  switch (kind) {
    case ControlKind::Button:
      return 8;
    case ControlKind::OptionButton:
    case ControlKind::CheckBox:
      return 24;
    default:
      return 1;
  }
}

bool HasFixedText(const ControlSpec& spec) {
  return spec.kind == ControlKind::Label || spec.kind == ControlKind::Button ||
         spec.kind == ControlKind::OptionButton || spec.kind == ControlKind::CheckBox;
}

bool Fits(const QFont& font, std::span<const ControlSpec> specs) {
  const QFontMetrics metrics(font);
  return std::ranges::all_of(specs, [&](const ControlSpec& spec) {
    if (!HasFixedText(spec)) return true;
    QString text = ToQt(spec.caption);
    if (spec.kind != ControlKind::Label) text.remove('&');
    const QRect room = ToPixels(spec.place).adjusted(0, 0, -Extra(spec.kind), 0);
    const QRect needed = metrics.boundingRect(room, spec.wrapped ? int{Qt::TextWordWrap} : 0, text);
    return needed.width() <= room.width() && (!spec.wrapped || needed.height() <= room.height());
  });
}

/// The desktop's letters, as wide as lets every caption of the table fit its place.
QFont FormFont(const QFont& desktop, std::span<const ControlSpec> specs) {
  QFont font = desktop;
  font.setPixelSize(kFontPixels);
  for (int stretch = QFont::Unstretched; stretch > kNarrowestStretch; stretch -= kStretchStep) {
    font.setStretch(stretch);
    if (Fits(font, specs)) break;
  }
  return font;
}

QLabel* MakeLabel(const ControlSpec& spec, QWidget* parent) {
  auto* label = new QLabel(ToQt(spec.caption), parent);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(spec.wrapped);
  label->setAlignment(spec.centred ? Qt::AlignCenter
                                   : Qt::AlignLeft | (spec.wrapped ? Qt::AlignTop : Qt::AlignVCenter));
  return label;
}

QLineEdit* MakeBox(const ControlSpec& spec, QWidget* parent) {
  auto* box = new QLineEdit(ToQt(spec.caption), parent);
  if (spec.kind == ControlKind::ReadOnlyBox) {
    box->setReadOnly(true);
    QPalette palette = box->palette();
    palette.setColor(QPalette::Base, palette.color(QPalette::Window));
    box->setPalette(palette);
  }
  return box;
}

QPushButton* MakeButton(const ControlSpec& spec, QWidget* parent) {
  auto* button = new QPushButton(ToQt(spec.caption), parent);
  button->setAutoDefault(true);  // Enter presses the button that has the focus
  button->setMinimumSize(0, 0);
  return button;
}

QProgressBar* MakeBar(QWidget* parent) {
  auto* bar = new QProgressBar(parent);
  bar->setTextVisible(false);
  bar->setValue(0);
  return bar;
}

QFrame* MakeLine(QWidget* parent) {
  auto* line = new QFrame(parent);
  line->setFrameShape(QFrame::HLine);
  line->setFrameShadow(QFrame::Sunken);
  return line;
}

QWidget* MakeWidget(const ControlSpec& spec, QWidget* parent) {
  switch (spec.kind) {
    case ControlKind::Label:
      return MakeLabel(spec, parent);
    case ControlKind::TextBox:
    case ControlKind::ReadOnlyBox:
      return MakeBox(spec, parent);
    case ControlKind::Button:
      return MakeButton(spec, parent);
    case ControlKind::OptionButton:
      return new QRadioButton(ToQt(spec.caption), parent);
    case ControlKind::CheckBox:
      return new CheckBox(ToQt(spec.caption), parent);
    case ControlKind::Frame:
      return new QGroupBox(ToQt(spec.caption), parent);
    case ControlKind::ProgressBar:
      return MakeBar(parent);
    case ControlKind::Line:
      return MakeLine(parent);
    case ControlKind::Picture:
      return new QLabel(parent);
  }
  throw std::logic_error("unknown kind of control");
}

void SetTabOrder(std::vector<std::pair<int, QWidget*>>& stops) {
  std::ranges::stable_sort(stops, {}, &std::pair<int, QWidget*>::first);
  for (std::size_t i = 1; i < stops.size(); ++i) QWidget::setTabOrder(stops[i - 1].second, stops[i].second);
}

}  // namespace

void MakeControls(QWidget& client, std::span<const ControlSpec> specs) {
  client.setFont(FormFont(client.font(), specs));
  std::vector<std::pair<int, QWidget*>> stops;
  for (const ControlSpec& spec : specs) {
    QWidget* parent = spec.parent.empty() ? &client : &Control<QWidget>(client, spec.parent);
    QWidget* widget = MakeWidget(spec, parent);
    widget->setObjectName(ToQt(spec.name));
    widget->setGeometry(ToPixels(spec.place));
    widget->setToolTip(ToQt(spec.tool_tip));
    widget->setAccessibleName(ToQt(spec.spoken));
    widget->setProperty(kTagProperty, ToQt(spec.tag));
    if (spec.tab_index != kNoTabStop) stops.emplace_back(spec.tab_index, widget);
  }
  SetTabOrder(stops);
  for (const ControlSpec& spec : specs) {
    if (spec.buddy.empty()) continue;
    Control<QLabel>(client, spec.name).setBuddy(&Control<QWidget>(client, spec.buddy));
  }
}

std::string TagOf(const QWidget& control) { return FromQt(control.property(kTagProperty).toString()); }

}  // namespace corvix::ui
