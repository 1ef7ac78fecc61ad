// Start-up and settings of the main window.
#include <QCheckBox>
#include <QLineEdit>
#include <QRadioButton>

#include "common/host_paths.h"
#include "common/trap.h"
#include "run/gauge.h"
#include "settings/path_strings.h"
#include "settings/tag_bindings.h"
#include "ui/bound_widgets.h"
#include "ui/form.h"
#include "ui/main_form.h"
#include "ui/main_window.h"
#include "ui/version.h"

namespace corvix::ui {
namespace {

constexpr std::string_view kLockedMessage =
    "The comparables database is locked (possibly by another user on a network) OR the database may be "
    "damaged.  Correct and try again.";

/// The bound controls of the window, as the settings want them.
class BoundControls {
 public:
  explicit BoundControls(const QWidget& window)
      : txtCompPath_(Control<QLineEdit>(window, "txtCompPath")),
        txtCompsPath_(Control<QLineEdit>(window, "txtCompsPath")),
        txtcompfilename_(Control<QLineEdit>(window, "txtcompfilename")),
        txtcompsfilename_(Control<QLineEdit>(window, "txtcompsfilename")),
        optdup_{BoundOption(Control<QRadioButton>(window, kDuplicateOptions[0])),
                BoundOption(Control<QRadioButton>(window, kDuplicateOptions[1])),
                BoundOption(Control<QRadioButton>(window, kDuplicateOptions[2]))},
        ckbconvertphotos_(Control<QCheckBox>(window, "ckbconvertphotos")) {}

  settings::MainWindowControls All() {
    return {txtCompPath_,
            txtCompsPath_,
            txtcompfilename_,
            txtcompsfilename_,
            {&optdup_[0], &optdup_[1], &optdup_[2]},
            ckbconvertphotos_};
  }

 private:
  BoundTextBox txtCompPath_;
  BoundTextBox txtCompsPath_;
  BoundTextBox txtcompfilename_;
  BoundTextBox txtcompsfilename_;
  std::array<BoundOption, kDuplicateOptions.size()> optdup_;
  BoundCheckBox ckbconvertphotos_;
};

}  // namespace

bool MainWindow::Load(const Directories& directories) {
  if (!Act([&] { FormLoad(directories); })) End(Ended::AtOnce);
  Release();
  return ended_ == Ended::No;
}

/// Records no name of its own, so that an error is reported under the name of the procedure that it struck.
void MainWindow::FormLoad(const Directories& directories) {
  const common::Rules rules = [this](const common::Error& error) -> std::optional<common::Action> {
    if (error.number() != common::kFileInUse) return std::nullopt;
    host_->Notice(kLockedMessage);
    throw common::ProgramEnd{};
  };
  const common::Trap trap(rules);
  try {
    trap([&] { setWindowTitle(ToQt("Corvix - " + VersionText())); });
    trap([&] {
      ReadTags();
      if (directories.source) SetBox("txtCompPath", common::DisplayPath(*directories.source));
      if (directories.target) SetBox("txtCompsPath", common::DisplayPath(*directories.target));
    });
    trap([&] { run::InitProgressBar(host_->gauprogress()); });
    trap([&] {
      const run::BoxTexts boxes = host_->Boxes();
      core::Connect2Data(session_.access, session_.sources, boxes.txtCompPath, boxes.txtCompsPath);
    });
    trap([&] { SetFormTop(); });
    trap([&] { run::SetGaugeValue(host_->gauprogress(), 0, 1); });
    trap([&] {
      const run::BoxTexts boxes = host_->Boxes();
      settings::SetGlobalNames(session_.paths, boxes.txtCompPath, boxes.txtcompfilename, boxes.txtCompsPath,
                               boxes.txtcompsfilename);
    });
  } catch (const common::LeaveProcedure&) {
    // the window waits with what was set up
  }
  host_->ShowProgress();
}

void MainWindow::ReadTags() { settings::ReadTags(services_.settings, BoundControls(*this).All()); }
void MainWindow::WriteTags() { settings::WriteTags(services_.settings, BoundControls(*this).All()); }

}  // namespace corvix::ui
