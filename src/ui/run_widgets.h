// The labels and the bar of the window as a conversion sees them. A run writes them once a record, far more
// often than a screen can show, so what it writes is kept and reaches the widget when the host shows it.
#pragma once

#include <QLabel>
#include <QProgressBar>
#include <string>

#include "run/host.h"

namespace corvix::ui {

class ShownLabel : public run::Label {
 public:
  explicit ShownLabel(QLabel& label);

  /// As three bytes: red in the lowest, then green, blue.
  void SetTextColour(double colour) override;
  void SetCaption(std::string_view caption) override;
  std::string Caption() const override { return caption_; }

  /// Brings the widget up to date.
  void Show();

 private:
  QLabel& label_;
  std::string caption_;
  bool changed_ = false;
};

class ShownGauge : public run::Gauge {
 public:
  explicit ShownGauge(QProgressBar& bar) : bar_(bar), value_(bar.value()) {}

  void SetMaximum(int value) override;
  void SetMinimum(int value) override;
  void SetValue(int value) override;

  /// Brings the widget up to date.
  void Show();

 private:
  QProgressBar& bar_;
  int value_;
};

}  // namespace corvix::ui
