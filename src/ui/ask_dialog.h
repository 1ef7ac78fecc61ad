// frmAsk, the duplicate prompt: source and target record side by side, and the question what to do. Values
// that differ are set in bold, in colour, and with a sign before them.
#pragma once

#include <chrono>

#include "run/duplicate_prompt.h"
#include "ui/modal_form.h"
#include "ui/window_dialogs.h"

namespace corvix::ui {

class AskDialog : public ModalForm {
 public:
  AskDialog(const run::PromptContents& contents, WindowDialogs& dialogs,
            std::chrono::milliseconds reading_time, QWidget* parent);

  /// The answer so far; the close box counts as No.
  std::int16_t answer() const { return answer_; }

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void Show(const run::PromptContents& contents);
  void MarkDifference(const run::PromptCell& cell, const std::string& spoken);
  void Answer(std::int16_t answer);
  void cmdDontask_Click(WindowDialogs& dialogs);

  std::int16_t answer_;
};

}  // namespace corvix::ui
