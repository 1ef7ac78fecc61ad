#include "ui/escape_dialog.h"

#include <QPushButton>
#include <array>

#include "ui/form.h"
#include "ui/reading_guard.h"

namespace corvix::ui {
namespace {

constexpr FormEntry kForm{"frmEscape", "Conversion Temporarily Halted", 5460, 930};
constexpr std::array kControls{
    ControlEntry{.name = "cmdStop",
                 .kind = ControlKind::Button,
                 .caption = "&Stop The Conversion",
                 .place = {360, 240, 2175, 375},
                 .tab_index = 0},
    ControlEntry{.name = "Command1",
                 .kind = ControlKind::Button,
                 .caption = "&Continue",
                 .place = {3000, 240, 2175, 375},
                 .tab_index = 1},
};

}  // namespace

EscapeDialog::EscapeDialog(run::RunValues& values, std::chrono::milliseconds reading_time, QWidget* parent)
    : ModalForm(kForm, kControls, parent) {
  new ReadingGuard(*this, reading_time);
  // White with black text in every theme, so the buttons take the matching light colours.
  setPalette(QPalette(QColor(0xEF, 0xEF, 0xEF), Qt::white));
  auto& stop = Control<QPushButton>(*this, "cmdStop");
  connect(&stop, &QPushButton::clicked, this, [this, &values] {
    values.EscapeState = run::kEscapeStop;
    accept();
  });
  connect(&Control<QPushButton>(*this, "Command1"), &QPushButton::clicked, this, [this, &values] {
    values.EscapeState = run::kEscapeContinue;
    accept();
  });
  stop.setFocus();
}

}  // namespace corvix::ui
