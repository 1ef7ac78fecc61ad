// A check box with three states of which a person can reach two: a click turns grey into unchecked, and grey
// comes from the settings only. Its box is as high as the control, whatever the desktop's style makes of it.
#pragma once

#include <QCheckBox>

namespace corvix::ui {

class CheckBox : public QCheckBox {
 public:
  CheckBox(const QString& caption, QWidget* parent);

 protected:
  void nextCheckState() override;
};

}  // namespace corvix::ui
