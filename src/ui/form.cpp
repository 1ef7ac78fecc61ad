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

bool HasFixedText(const ControlEntry& entry) {
  return entry.kind == ControlKind::Label || entry.kind == ControlKind::Button ||
         entry.kind == ControlKind::OptionButton || entry.kind == ControlKind::CheckBox;
}

bool Fits(const QFont& font, std::span<const ControlEntry> entries) {
  const QFontMetrics metrics(font);
  return std::ranges::all_of(entries, [&](const ControlEntry& entry) {
    if (!HasFixedText(entry)) return true;
    QString text = ToQt(entry.caption);
    if (entry.kind != ControlKind::Label) text.remove('&');
    const QRect room = ToPixels(entry.place).adjusted(0, 0, -Extra(entry.kind), 0);
    const QRect needed = metrics.boundingRect(room, entry.wrapped ? int{Qt::TextWordWrap} : 0, text);
    return needed.width() <= room.width() && (!entry.wrapped || needed.height() <= room.height());
  });
}

/// The desktop's letters, as wide as lets every caption of the table fit its place.
QFont FormFont(const QFont& desktop, std::span<const ControlEntry> entries) {
  QFont font = desktop;
  font.setPixelSize(kFontPixels);
  for (int stretch = QFont::Unstretched; stretch > kNarrowestStretch; stretch -= kStretchStep) {
    font.setStretch(stretch);
    if (Fits(font, entries)) break;
  }
  return font;
}

QLabel* MakeLabel(const ControlEntry& entry, QWidget* parent) {
  auto* label = new QLabel(ToQt(entry.caption), parent);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(entry.wrapped);
  label->setAlignment(entry.centred ? Qt::AlignCenter
                                    : Qt::AlignLeft | (entry.wrapped ? Qt::AlignTop : Qt::AlignVCenter));
  return label;
}

QLineEdit* MakeBox(const ControlEntry& entry, QWidget* parent) {
  auto* box = new QLineEdit(ToQt(entry.caption), parent);
  if (entry.kind == ControlKind::ReadOnlyBox) {
    box->setReadOnly(true);
    QPalette palette = box->palette();
    palette.setColor(QPalette::Base, palette.color(QPalette::Window));
    box->setPalette(palette);
  }
  return box;
}

QPushButton* MakeButton(const ControlEntry& entry, QWidget* parent) {
  auto* button = new QPushButton(ToQt(entry.caption), parent);
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

QWidget* MakeWidget(const ControlEntry& entry, QWidget* parent) {
  switch (entry.kind) {
    case ControlKind::Label:
      return MakeLabel(entry, parent);
    case ControlKind::TextBox:
    case ControlKind::ReadOnlyBox:
      return MakeBox(entry, parent);
    case ControlKind::Button:
      return MakeButton(entry, parent);
    case ControlKind::OptionButton:
      return new QRadioButton(ToQt(entry.caption), parent);
    case ControlKind::CheckBox:
      return new CheckBox(ToQt(entry.caption), parent);
    case ControlKind::Frame:
      return new QGroupBox(ToQt(entry.caption), parent);
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

void MakeControls(QWidget& client, std::span<const ControlEntry> entries) {
  client.setFont(FormFont(client.font(), entries));
  std::vector<std::pair<int, QWidget*>> stops;
  for (const ControlEntry& entry : entries) {
    QWidget* parent = entry.parent.empty() ? &client : &Control<QWidget>(client, entry.parent);
    QWidget* widget = MakeWidget(entry, parent);
    widget->setObjectName(ToQt(entry.name));
    widget->setGeometry(ToPixels(entry.place));
    widget->setToolTip(ToQt(entry.tool_tip));
    widget->setAccessibleName(ToQt(entry.spoken));
    widget->setProperty(kTagProperty, ToQt(entry.tag));
    if (entry.tab_index != kNoTabStop) stops.emplace_back(entry.tab_index, widget);
  }
  SetTabOrder(stops);
  for (const ControlEntry& entry : entries) {
    if (entry.buddy.empty()) continue;
    Control<QLabel>(client, entry.name).setBuddy(&Control<QWidget>(client, entry.buddy));
  }
}

std::string TagOf(const QWidget& control) { return FromQt(control.property(kTagProperty).toString()); }

}  // namespace corvix::ui
