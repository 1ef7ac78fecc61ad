// Widgets as the settings see them. Each adapter offers what its kind of widget has; asking for anything else
// is a mistake of the program (error 5).
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

#include "settings/bound_control.h"

namespace corvix::ui {

class BoundWidget : public settings::BoundControl {
 public:
  explicit BoundWidget(QWidget& widget) : widget_(widget) {}
  std::string Name() const override;
  std::string Tag() const override;
  std::string Text() const override;
  void SetText(std::string_view text) override;
  void SetCaption(std::string_view text) override;
  int State() const override;
  void SetState(int state) override;

 private:
  QWidget& widget_;
};

class BoundTextBox : public BoundWidget {
 public:
  explicit BoundTextBox(QLineEdit& box) : BoundWidget(box), box_(box) {}
  std::string Text() const override;
  void SetText(std::string_view text) override;

 private:
  QLineEdit& box_;
};

class BoundLabel : public BoundWidget {
 public:
  explicit BoundLabel(QLabel& label) : BoundWidget(label), label_(label) {}
  std::string Text() const override;
  void SetCaption(std::string_view text) override;

 private:
  QLabel& label_;
};

class BoundOption : public BoundWidget {
 public:
  explicit BoundOption(QRadioButton& button) : BoundWidget(button), button_(button) {}
  int State() const override { return button_.isChecked() ? 1 : 0; }
  void SetState(int state) override;

 private:
  QRadioButton& button_;
};

class BoundCheckBox : public BoundWidget {
 public:
  explicit BoundCheckBox(QCheckBox& box) : BoundWidget(box), box_(box) {}
  int State() const override;
  void SetState(int state) override;

 private:
  QCheckBox& box_;
};

}  // namespace corvix::ui
