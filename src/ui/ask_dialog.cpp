#include "ui/ask_dialog.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTextDocument>
#include <QTimer>

#include "ui/form.h"
#include "ui/prompt_form.h"
#include "ui/reading_guard.h"

namespace corvix::ui {
namespace {

constexpr int kBoxMargin = 3;  // between the edge of a box and its text; labels beside boxes keep the same

/// A colour for differences that stands out from, and is readable on, light and dark windows alike.
QColor DifferenceColour(const QPalette& palette) {
  const bool dark = palette.color(QPalette::Window).lightness() < 128;
  return dark ? QColor(0xFF, 0xB4, 0x6B) : QColor(0x9A, 0x2F, 0x00);
}

void ShowText(QWidget& cell, const QString& text) {
  if (auto* label = qobject_cast<QLabel*>(&cell)) {
    label->setText(text);
  } else if (auto* box = qobject_cast<QLineEdit*>(&cell)) {
    box->setText(text);
    box->setCursorPosition(0);  // the beginning is in sight
  }
  // The whole text, where the cell is too narrow for it; never taken for markup.
  cell.setToolTip(Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text);
}

}  // namespace

AskDialog::AskDialog(const run::PromptContents& contents, WindowDialogs& dialogs,
                     std::chrono::milliseconds reading_time, QWidget* parent)
    : ModalForm(kPromptForm, PromptControls(), parent), answer_(run::kAskNo) {
  new ReadingGuard(*this, reading_time);
  move(0, 0);
  Show(contents);
  const auto on_click = [this](std::string_view name, auto handler) {
    connect(&Control<QPushButton>(*this, name), &QPushButton::clicked, this, handler);
  };
  on_click("cmdYes", [this] { Answer(run::kAskYes); });
  on_click("cmdNo", [this] { Answer(run::kAskNo); });
  on_click("cmdStop", [this] { Answer(run::kAskStop); });
  on_click("cmdDontask", [this, &dialogs] { cmdDontask_Click(dialogs); });
  Control<QPushButton>(*this, "cmdYes").setFocus();
}

/// Once more to the corner, for window managers that place a window themselves when it appears.
void AskDialog::showEvent(QShowEvent* event) {
  ModalForm::showEvent(event);
  QTimer::singleShot(0, this, [this] { move(0, 0); });
}

void AskDialog::Show(const run::PromptContents& contents) {
  Control<QLabel>(*this, "lblAsk").setText(ToQt(contents.question()));
  auto& records = Control<QLabel>(*this, "lblSourceRecords");
  records.setText(ToQt(contents.SourceRecords()));
  records.setAccessibleDescription("Source");
  for (const run::PromptRow& row : run::PromptRows()) {
    for (std::size_t i = 0; i < row.source.size(); ++i) {
      auto& label = Control<QLabel>(*this, row.source[i].control);
      label.setIndent(kBoxMargin);
      ShowText(label, ToQt(contents.Text(row.source[i])));
      label.setAccessibleDescription(ToQt(SpokenName("Source", row, i)));
    }
    for (const run::PromptCell& cell : row.target) {
      ShowText(Control<QLineEdit>(*this, cell.control), ToQt(contents.Text(cell)));
    }
    for (std::size_t i = 0; i < row.target.size(); ++i) {
      if (!contents.Differs(row, i)) continue;
      MarkDifference(row.source[i], SpokenName("Source", row, i));
      MarkDifference(row.target[i], SpokenName("Target", row, i));
    }
  }
}

void AskDialog::MarkDifference(const run::PromptCell& cell, const std::string& spoken) {
  auto& widget = Control<QWidget>(*this, cell.control);
  auto& sign = Control<QLabel>(*this, SignName(cell));
  sign.setText(QStringLiteral("≠"));
  sign.setAccessibleName(ToQt(spoken + " differs"));
  for (QWidget* marked : {&widget, static_cast<QWidget*>(&sign)}) {
    QFont font = marked->font();
    font.setBold(true);
    marked->setFont(font);
    QPalette palette = marked->palette();
    palette.setColor(QPalette::WindowText, DifferenceColour(palette));
    palette.setColor(QPalette::Text, DifferenceColour(palette));
    marked->setPalette(palette);
  }
  widget.setAccessibleDescription((widget.accessibleDescription() + " differs").trimmed());
}

void AskDialog::Answer(std::int16_t answer) {
  answer_ = answer;
  accept();
}

void AskDialog::cmdDontask_Click(WindowDialogs& dialogs) {
  if (dialogs.AskYesNo("Continue without stopping?")) Answer(run::kAskOverwriteAll);
}

}  // namespace corvix::ui
