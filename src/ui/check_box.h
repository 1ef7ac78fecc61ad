// A check box with three states of which a person can reach two: a click turns grey into unchecked, and grey
// comes from the settings only.
#pragma once

#include <QCheckBox>

namespace corvix::ui {

class CheckBox : public QCheckBox {
 public:
  using QCheckBox::QCheckBox;

 protected:
  void nextCheckState() override {
    setCheckState(checkState() == Qt::Unchecked ? Qt::Checked : Qt::Unchecked);
  }
};

}  // namespace corvix::ui
