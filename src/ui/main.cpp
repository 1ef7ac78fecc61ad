// corvix: the window program.
#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "common/error.h"
#include "storage/base/posix_file.h"
#include "storage/base/standard_descriptors.h"
#include "storage/engine/file_engine.h"
#include "ui/file_dialog.h"
#include "ui/main_window.h"
#include "ui/message_boxes.h"
#include "ui/orderly_end.h"
#include "ui/version.h"

namespace {

using corvix::ui::MainWindow;

/// Directories given on the command line; they go into the boxes for this start and are not saved.
MainWindow::Directories ReadArguments(QApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription("Carries comparables from FoxPro tables into an Access database.");
  parser.addHelpOption();
  parser.addVersionOption();
  const QCommandLineOption source(
      "source", "Directory of CENTRAL.DBF, COMPS.DBF and PHOTO.DBF, for this start.", "DIR");
  const QCommandLineOption target("target", "Directory of FOLVANE.MDB, for this start.", "DIR");
  parser.addOptions({source, target});
  parser.process(application);
  const auto directory = [&parser](const QCommandLineOption& option) -> std::optional<std::filesystem::path> {
    if (!parser.isSet(option)) return std::nullopt;
    const std::filesystem::path given = parser.value(option).toStdString();
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(given, error);
    return error ? given : absolute;
  };
  return {directory(source), directory(target)};
}

int Run(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("corvix");
  QApplication::setApplicationDisplayName({});  // captions stay as they are
  QApplication::setApplicationVersion(QString::fromStdString(corvix::ui::VersionText().substr(8)));
  QGuiApplication::setDesktopFileName("corvix");
  QApplication::setWindowIcon(QIcon(":/corvix.svg"));
  QApplication::setQuitOnLastWindowClosed(false);  // the main window says when
  const MainWindow::Directories directories = ReadArguments(application);

  corvix::storage::PosixFileSystem files;
  corvix::ui::MessageBoxes dialogs;
  corvix::storage::FileEngine engine(files, [&dialogs](const corvix::jet::Recovery& recovery) {
    dialogs.Notice(corvix::jet::RecoveryText(recovery));  // before the start or the run goes on
  });
  const corvix::settings::SettingsPlace settings{files, corvix::settings::DefaultWindowsDirectory()};
  corvix::ui::FileDialog file_dialog;
  int exit_code = 0;
  MainWindow window({engine, settings, dialogs, file_dialog, [&exit_code](int code) {
                       exit_code = code;
                       QCoreApplication::exit(code);
                     }});
  const corvix::ui::OrderlyEnd orderly_end([&window] { window.EndInOrder(); });
  if (!window.Load(directories)) return exit_code;
  window.show();
  return QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  corvix::storage::OpenStandardDescriptors();
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is a full disk, no end of the program
  try {
    return Run(argc, argv);
  } catch (const std::exception& failure) {  // outside of every action that has a box for it
    const corvix::common::Error error = corvix::common::ErrorOf(failure);
    std::fputs(("corvix: error " + std::to_string(error.number()) + ": " + error.what() + ".\n").c_str(),
               stderr);
    return EXIT_FAILURE;
  }
}
