// corvix: the window program.
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
#include "ui/application.h"
#include "ui/file_dialog.h"
#include "ui/main_window.h"
#include "ui/message_boxes.h"
#include "ui/orderly_end.h"
#include "ui/version.h"

namespace {

using corvix::ui::MainWindow;

class Arguments {
 public:
  Arguments() {
    parser_.setApplicationDescription("Carries comparables from FoxPro tables into an Access database.");
    parser_.addOptions({help_, version_, source_, target_});
  }

  /// Whether only a text is wanted, which needs no screen.
  bool AskForText(int argc, char** argv) {
    parser_.parse(QStringList(argv, argv + argc));
    return parser_.isSet(help_) || parser_.isSet(version_);
  }
  void PrintText() {
    if (parser_.isSet(help_)) parser_.showHelp();
    parser_.showVersion();
  }

  /// Directories for this start; they go into the boxes and are not saved. Ends the program on a mistake.
  MainWindow::Directories Read(const QApplication& application) {
    parser_.process(application);
    return {Directory(source_), Directory(target_)};
  }

 private:
  std::optional<std::filesystem::path> Directory(const QCommandLineOption& option) const {
    if (!parser_.isSet(option)) return std::nullopt;
    const std::filesystem::path given = parser_.value(option).toStdString();
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(given, error);
    return error ? given : absolute;
  }

  QCommandLineParser parser_;
  const QCommandLineOption help_{{"h", "help"}, "Displays help on commandline options."};
  const QCommandLineOption version_{{"v", "version"}, "Displays version information."};
  const QCommandLineOption source_{
      "source", "Directory of CENTRAL.DBF, COMPS.DBF and PHOTO.DBF, for this start.", "DIR"};
  const QCommandLineOption target_{"target", "Directory of FOLVANE.MDB, for this start.", "DIR"};
};

int Run(int argc, char** argv) {
  QCoreApplication::setApplicationName("corvix");
  QCoreApplication::setApplicationVersion(QString::fromStdString(corvix::ui::VersionText().substr(8)));
  Arguments arguments;
  if (arguments.AskForText(argc, argv)) {
    const QCoreApplication without_screen(argc, argv);
    arguments.PrintText();
  }
  corvix::ui::Application application(argc, argv);
  QApplication::setApplicationDisplayName({});  // captions stay as they are
  QGuiApplication::setDesktopFileName("corvix");
  QApplication::setWindowIcon(QIcon(":/corvix.svg"));
  QApplication::setQuitOnLastWindowClosed(false);  // the main window says when
  const MainWindow::Directories directories = arguments.Read(application);

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
  application.on_failure = [&window](const std::exception& failure) { window.HandlerFailed(failure); };
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
