// frmConvert, the main window: wires its controls to the conversion, the selection of source and target, the
// settings and the menus. What they do is decided elsewhere; this class holds what lives as long as the
// window.
//
// Life: constructed; Load() runs the start-up sequence and says whether the program goes on; shown; ended by
// a confirmed close request or a request from outside, which save the settings, or by an error that ends the
// program, which does not.
// On either end the callback given is called once with the exit code.
//
// Files are open for the moment of the start that looks for them, and for the duration of each run.
//
// No exception ever passes through the event loop: each handler runs inside Act.
#pragma once

#include <QMainWindow>
#include <filesystem>
#include <functional>
#include <optional>

#include "common/error.h"
#include "core/engine.h"
#include "run/host.h"
#include "settings/settings_place.h"
#include "ui/file_chooser.h"
#include "ui/reading_guard.h"
#include "ui/window_dialogs.h"
#include "ui/window_host.h"

namespace corvix::ui {

class MainWindow : public QMainWindow {
 public:
  /// What the window works with. All must outlive it.
  struct Services {
    core::TableEngine& engine;
    const settings::SettingsPlace& settings;
    WindowDialogs& dialogs;
    FileChooser& files;
    std::function<void(int exit_code)> end_program;
    std::chrono::milliseconds reading_time = kReadingTime;
  };
  /// Directories that take the place of the settings' for this start.
  struct Directories {
    std::optional<std::filesystem::path> source;
    std::optional<std::filesystem::path> target;
  };

  explicit MainWindow(Services services);
  ~MainWindow() override;

  /// Form_Load. False: the program ends, after a message.
  bool Load(const Directories& directories = {});

  /// Ends the program without asking: open dialogs are closed, a run stops after its record, what was stored
  /// is made safe, the settings are saved.
  void EndInOrder();

  /// Tells about an error that left the handler of an event.
  void HandlerFailed(const std::exception& failure) { ShowFailure(common::ErrorOf(failure)); }

  const run::RunValues& values() const { return session_.values; }
  bool running() const { return running_; }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  enum class Ended { No, Saved, Stopped, AtOnce };
  class RunningState;

  void Connect();
  void FormLoad(const Directories& directories);
  void ReadTags();
  void WriteTags();
  void SetFormTop() { move(0, 0); }

  void cmdnewconvert_Click();
  void cmdSource_Click();
  void cmdTarget_Click();
  void HelpMenuItem_Click();
  void Escape();
  void Form_Unload(Ended how);
  /// Gives up all files, so that the office can use, or replace, them while the window waits; false, after a
  /// message, when what was stored last could not be made safe.
  bool Release();
  void Disconnect();

  std::optional<std::filesystem::path> Choose(const char* title, const char* filter, std::string_view box);
  void SetBox(std::string_view name, std::string_view text);
  /// After a selection whose boxes lead elsewhere: whether the file's own directory is to be put in.
  bool WantsChosen(const std::string& boxes, const std::filesystem::path& file);
  /// False when a run would write another file than the boxes name, and the user does not want that.
  bool TargetIsMeant();

  /// Runs a user's action; false when an error left it. Shows the error, or ends the program.
  bool Act(const std::function<void()>& action);
  void ShowFailure(const common::Error& error);
  void End(Ended how);

  Services services_;
  run::Session session_;
  std::optional<WindowHost> host_;  // made after the controls that it finds
  bool running_ = false;
  Ended ended_ = Ended::No;
};

}  // namespace corvix::ui
