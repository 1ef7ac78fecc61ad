// frmAboutBox: names the program and its version. A neighbouring product's INI file decides which product
// line it shows.
#pragma once

#include "settings/settings_place.h"
#include "ui/modal_form.h"

namespace corvix::ui {

class AboutBox : public ModalForm {
 public:
  AboutBox(const settings::SettingsPlace& place, QWidget* parent);

 protected:
  /// Esc closes it: nothing is asked here.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void ReadTagInfo(const settings::SettingsPlace& place);
};

/// Left or top edge that puts `size` in the middle of `room`, all in twips.
constexpr int CentredEdge(int room, int size) { return (room - size) / 2; }

}  // namespace corvix::ui
