#include "ui/check_box.h"

#include <QApplication>
#include <QProxyStyle>
#include <algorithm>

namespace corvix::ui {
namespace {

/// The desktop's style with a box that fits into the widget.
class FittedIndicator : public QProxyStyle {
 public:
  using QProxyStyle::QProxyStyle;
  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override {
    const int pixels = QProxyStyle::pixelMetric(metric, option, widget);
    const bool indicator = metric == PM_IndicatorWidth || metric == PM_IndicatorHeight;
    return indicator && widget ? std::min(pixels, widget->height()) : pixels;
  }
};

}  // namespace

CheckBox::CheckBox(const QString& caption, QWidget* parent) : QCheckBox(caption, parent) {
  auto* style = new FittedIndicator(QApplication::style()->name());
  style->setParent(this);
  setStyle(style);
}

void CheckBox::nextCheckState() {
  setCheckState(checkState() == Qt::Unchecked ? Qt::Checked : Qt::Unchecked);
}

}  // namespace corvix::ui
