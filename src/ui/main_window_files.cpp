// The files that the boxes of the main window name: their selection, and the question before a run where it
// would write another file.
#include <QLineEdit>

#include "common/host_paths.h"
#include "ui/form.h"
#include "ui/main_window.h"
#include "ui/selection.h"

namespace corvix::ui {

std::optional<std::filesystem::path> MainWindow::Choose(const char* title, const char* filter,
                                                        std::string_view box) {
  const std::string text = FromQt(Control<QLineEdit>(*this, box).text());
  return services_.files.Open({title, filter, ExistingDirectory(text)});
}

void MainWindow::SetBox(std::string_view name, std::string_view text) {
  Control<QLineEdit>(*this, name).setText(ToQt(text));
}

void MainWindow::cmdSource_Click() {
  try {
    const auto file = Choose("Select 'Comps.dbf','Photo.dbf', or 'Central.Dbf'-then select 'Open'",
                             "Data Files (*.dbf)|*.dbf", "txtCompPath");
    if (!file) return;
    const Selection selection = SplitChosenFile(*file);
    SetBox("txtCompPath", selection.directory);
    if (LeadsToDirectory(selection, *file) || !WantsChosen(selection.directory, *file)) return;
    SetBox("txtCompPath", AsSpelled(*file).directory);
  } catch (const std::exception&) {
    return;  // a selection that fails ends quietly
  }
}

void MainWindow::cmdTarget_Click() {
  try {
    const auto file =
        Choose("Select 'Folvane.mdb' and then select 'Open'", "Data Files (*.mdb)|*.mdb", "txtCompsPath");
    if (!file) return;
    Selection selection = SplitChosenFile(*file);
    SetBox("txtCompsPath", selection.directory);
    SetBox("txtcompsfilename", selection.file_name);
    if (LeadsToFile(selection, *file)) return;
    if (!WantsChosen(selection.directory + " " + selection.file_name, *file)) return;
    selection = AsSpelled(*file);
    SetBox("txtCompsPath", selection.directory);
    SetBox("txtcompsfilename", selection.file_name);
  } catch (const std::exception&) {
    return;  // likewise
  }
}

bool MainWindow::WantsChosen(const std::string& boxes, const std::filesystem::path& file) {
  return host_->AskYesNo("The boxes now say '" + boxes + "', which does not lead to the chosen file '" +
                         common::DisplayPath(file) + "'.  Put its directory in?");
}

bool MainWindow::TargetIsMeant() {
  const run::BoxTexts boxes = host_->Boxes();
  settings::PathStrings named;
  settings::SetGlobalNames(named, boxes.txtCompPath, boxes.txtcompfilename, boxes.txtCompsPath,
                           boxes.txtcompsfilename);
  const std::string written = core::TargetFileIn(boxes.txtCompsPath);
  if (common::SamePlace(common::HostPath(written), common::HostPath(named.CompsFile))) return true;
  return host_->AskYesNo("A conversion always writes the file " + std::string(core::kTargetFile) +
                         " of the target directory.  The file that will be written is '" + written +
                         "', not '" + named.CompsFile + "'. Do you wish to continue?");
}

}  // namespace corvix::ui
