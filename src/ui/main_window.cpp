#include "ui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <utility>

#include "common/error.h"
#include "common/report_error.h"
#include "run/conversion.h"
#include "run/report.h"
#include "ui/about_box.h"
#include "ui/escape_filter.h"
#include "ui/form.h"
#include "ui/main_form.h"

namespace corvix::ui {
namespace {

void MakeMenu(QMenuBar& bar, const MenuEntry& entry) {
  auto* menu = bar.addMenu(ToQt(entry.menu_caption));
  menu->setObjectName(ToQt(entry.menu));
  menu->addAction(ToQt(entry.item_caption))->setObjectName(ToQt(entry.item));
}

QAction& Item(const QMainWindow& window, const MenuEntry& entry) {
  return *window.findChild<QAction*>(ToQt(entry.item));
}

/// Of a group of options the selected one is the tab stop; the arrow keys reach the others.
void GiveTabToSelectedOption(const QWidget& window) {
  for (const std::string_view name : kDuplicateOptions) {
    auto& option = Control<QRadioButton>(window, name);
    option.setFocusPolicy(option.isChecked() ? Qt::StrongFocus : Qt::ClickFocus);
  }
}

/// White with black text in every theme.
void ColourStatusLine(QLabel& lblmsg) {
  QPalette palette = lblmsg.palette();
  palette.setColor(QPalette::Window, Qt::white);
  palette.setColor(QPalette::WindowText, Qt::black);
  lblmsg.setPalette(palette);
  lblmsg.setAutoFillBackground(true);
}

}  // namespace

/// While it lives, a conversion runs: what must not be touched meanwhile is disabled, and the focus rests on
/// the window, so that no key press reaches a button by accident.
class MainWindow::RunningState {
 public:
  explicit RunningState(MainWindow& window) : window_(window), focus_(window.focusWidget()) {
    window_.running_ = true;
    window_.centralWidget()->setFocus();
    Enable(false);
  }
  ~RunningState() {
    window_.host_->ShowProgress();
    Enable(true);
    window_.running_ = false;
    if (window_.host_->wants_target_file_name()) {
      Control<QLineEdit>(window_, "txtcompsfilename").setFocus();
    } else if (focus_) {
      focus_->setFocus();
    }
  }
  RunningState(const RunningState&) = delete;
  RunningState& operator=(const RunningState&) = delete;

 private:
  void Enable(bool enabled) {
    for (const ControlEntry& entry : MainControls()) {
      if (entry.disabled_in_a_run) Control<QWidget>(window_, entry.name).setEnabled(enabled);
    }
    Item(window_, kFileMenu).setEnabled(enabled);
  }

  MainWindow& window_;
  QWidget* focus_;
};

MainWindow::MainWindow(Services services) : services_(std::move(services)) {
  session_.access.engine = &services_.engine;
  setObjectName(ToQt(kMainForm.name));
  setWindowTitle(ToQt(kMainForm.caption));
  auto* client = new QWidget(this);
  client->setFixedSize(ToPixels(kMainForm.width), ToPixels(kMainForm.height));
  setCentralWidget(client);
  MakeControls(*client, MainControls());
  ColourStatusLine(Control<QLabel>(*this, "lblmsg"));
  MakeMenu(*menuBar(), kFileMenu);
  MakeMenu(*menuBar(), kHelpMenu);
  setFixedSize(client->width(), client->height() + menuBar()->sizeHint().height());
  host_.emplace(*this, session_, services_.dialogs, services_.reading_time);
  Connect();
  Control<QLineEdit>(*this, "txtCompPath").setFocus();
}

MainWindow::~MainWindow() = default;

void MainWindow::Connect() {
  const auto on_click = [this](std::string_view name, auto handler) {
    connect(&Control<QPushButton>(*this, name), &QPushButton::clicked, this, handler);
  };
  on_click("cmdnewconvert", &MainWindow::cmdnewconvert_Click);
  on_click("cmdSource", &MainWindow::cmdSource_Click);
  on_click("cmdTarget", &MainWindow::cmdTarget_Click);
  on_click("cmdQuit", &QWidget::close);
  connect(&Item(*this, kFileMenu), &QAction::triggered, this, &QWidget::close);
  connect(&Item(*this, kHelpMenu), &QAction::triggered, this, &MainWindow::HelpMenuItem_Click);
  for (std::size_t i = 0; i < kDuplicateOptions.size(); ++i) {
    connect(&Control<QRadioButton>(*this, kDuplicateOptions[i]), &QRadioButton::toggled, this,
            [this, mode = static_cast<std::int16_t>(i)](bool on) {
              if (!on) return;
              session_.values.DupMode = mode;
              GiveTabToSelectedOption(*this);
            });
  }
  connect(&Control<QCheckBox>(*this, "ckbconvertphotos"), &QCheckBox::stateChanged, this,
          [this](int state) { session_.values.ConvertPhotosFlag = state != Qt::Unchecked ? 1 : 0; });
  new EscapeFilter(*this, [this] { Escape(); });
}

void MainWindow::cmdnewconvert_Click() {
  if (running_) return;
  session_.values.CurrentKey.clear();  // so that an error before the first record names none
  session_.values.CurrentRecord = 0;
  Act([this] {
    const RunningState state(*this);
    host_->Begin();
    if (!TargetIsMeant()) return;
    run::cmdnewconvert_Click(session_, *host_);
  });
  if (ended_ != Ended::No) return;
  if (!host_->asks()) {
    Form_Unload(Ended::Stopped);
    return;
  }
  Release();
  if (host_->close_requested()) close();
}

void MainWindow::HelpMenuItem_Click() {
  Act([this] {
    host_->MakeSafe();
    AboutBox(services_.settings, this).exec();
  });
}

void MainWindow::Escape() {
  if (!host_->asks()) return;
  if (running_) {
    host_->RequestHalt();
  } else {
    Act([this] { host_->Halt(); });
  }
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (ended_ != Ended::No) return;
  event->ignore();
  if (!host_->asks()) return;  // on the way to its end already
  if (running_) {
    host_->RequestClose();
    return;
  }
  if (!services_.dialogs.AskQuit(FromQt(windowTitle()), "Quit?  Are you Sure?")) return;
  Form_Unload(Ended::Saved);
  event->accept();
}

void MainWindow::EndInOrder() {
  if (ended_ != Ended::No || !host_->asks()) return;
  host_->StopAsking();
  QWidget* last = nullptr;
  for (QWidget* modal; (modal = QApplication::activeModalWidget()) != nullptr && modal != last;
       last = modal) {
    if (auto* dialog = qobject_cast<QDialog*>(modal)) dialog->done(QDialog::Rejected);
  }
  // A run leads to the end by itself. Otherwise: behind the dialogs, whose loops must return first.
  if (!running_) QTimer::singleShot(0, this, [this] { Form_Unload(Ended::Saved); });
}

void MainWindow::Form_Unload(Ended how) {
  if (ended_ != Ended::No) return;
  const bool safe = Release();
  Act([this] { WriteTags(); });
  End(safe || host_->asks() ? how : Ended::AtOnce);
}

bool MainWindow::Release() {
  const bool safe = Act([this] { run::CloseTarget(session_, *host_); });
  Disconnect();
  return safe;
}

void MainWindow::Disconnect() {
  session_.access.TargetDb.reset();
  session_.sources = {};
}

bool MainWindow::Act(const std::function<void()>& action) {
  const common::DialogsScope dialogs(*host_);
  try {
    action();
    return true;
  } catch (const std::exception& error) {
    ShowFailure(common::ErrorOf(error));
  } catch (const common::ProgramEnd&) {
    End(Ended::AtOnce);
  }
  return false;
}

void MainWindow::ShowFailure(const common::Error& error) {
  const run::Summary::Failure failure{error.number(), error.what(),
                                      std::string(common::CurrentProc.Trimmed()), session_.values.CurrentKey,
                                      session_.values.CurrentRecord};
  try {
    host_->MakeSafe();
  } catch (const std::exception&) {
    // What cannot be written now has not been promised to be safe either; the first error is the news.
  }
  if (!running_) Disconnect();  // the box may stay open for hours
  if (host_->asks()) services_.dialogs.Failure(run::FailureText(failure));
}

void MainWindow::End(Ended how) {
  if (std::exchange(ended_, how) != Ended::No) return;
  hide();
  constexpr int kDone = 0, kFailed = 1, kStopped = 3;
  services_.end_program(how == Ended::Saved ? kDone : how == Ended::Stopped ? kStopped : kFailed);
}

}  // namespace corvix::ui
