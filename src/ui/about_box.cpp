#include "ui/about_box.h"

#include <QGuiApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <array>

#include "settings/tag_bindings.h"
#include "ui/bound_widgets.h"
#include "ui/form.h"
#include "ui/version.h"

namespace corvix::ui {
namespace {

using enum ControlKind;

constexpr FormEntry kForm{"frmAboutBox", "About ", 6480, 2370};

std::span<const ControlEntry> Controls() {
  static const std::array controls{
      ControlEntry{.name = "Pic_ApplicationIcon",
                   .kind = Picture,
                   .place = {240, 255, 480, 480},
                   .spoken = "Icon of Corvix"},
      ControlEntry{.name = "lblProgramAlias",
                   .kind = Label,
                   .caption = "Corvix - Convert Quorvex Data to Folvane (Vistrel)",
                   .place = {960, 105, 5295, 810},
                   .tag = settings::TagOf("lblProgramAlias"),
                   .wrapped = true},
      ControlEntry{.name = "Label2",
                   .kind = Label,
                   .caption = "Version:",
                   .place = {960, 1050, 975, 240},
                   .buddy = "LblVersion"},
      ControlEntry{.name = "LblVersion",
                   .kind = Label,
                   .place = {1920, 1050, 2355, 240},
                   .tag = settings::TagOf("LblVersion")},
      ControlEntry{.name = "lin_HorizontalLine1", .kind = Line, .place = {240, 1500, 6000, 30}},
      ControlEntry{.name = "Cmd_OK",
                   .kind = Button,
                   .caption = "&Ok",
                   .place = {4680, 1800, 1035, 360},
                   .tab_index = 0},
  };
  return controls;
}

}  // namespace

AboutBox::AboutBox(const settings::SettingsPlace& place, QWidget* parent)
    : ModalForm(kForm, Controls(), parent) {
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  move(screen.left() + CentredEdge(screen.width() * kTwipsPerPixel, kForm.width) / kTwipsPerPixel,
       screen.top() + CentredEdge(screen.height() * kTwipsPerPixel, kForm.height) / kTwipsPerPixel);
  auto& icon = Control<QLabel>(*this, "Pic_ApplicationIcon");
  icon.setPixmap(QGuiApplication::windowIcon().pixmap(icon.size(), devicePixelRatio()));
  auto& product_line = Control<QLabel>(*this, "lblProgramAlias");
  QFont bold = product_line.font();
  bold.setBold(true);
  product_line.setFont(bold);
  ReadTagInfo(place);
  Control<QLabel>(*this, "LblVersion").setText(ToQt(VersionText()));
  auto& ok = Control<QPushButton>(*this, "Cmd_OK");
  connect(&ok, &QPushButton::clicked, this, &QDialog::accept);
  ok.setFocus();
}

void AboutBox::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    reject();
  } else {
    ModalForm::keyPressEvent(event);
  }
}

void AboutBox::ReadTagInfo(const settings::SettingsPlace& place) {
  BoundLabel version(Control<QLabel>(*this, "LblVersion"));
  settings::TagReadTag(place, version);
  if (version.Text() != "A") return;
  BoundLabel alias(Control<QLabel>(*this, "lblProgramAlias"));
  settings::TagReadTag(place, alias);
}

}  // namespace corvix::ui
