// What drives the real windows in tests: dialogs and file chooser that answer from a script, a script for the
// modal windows, and the main window over tables in memory.
#pragma once

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <deque>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "common/text.h"
#include "storage/base/posix_file.h"
#include "support/memory_sources.h"
#include "support/recording_dialogs.h"
#include "support/temporary_directory.h"
#include "ui/form.h"
#include "ui/main_window.h"

namespace corvix::test {

/// A case of a table, known by its name.
struct NamedCase {
  std::string name;
  friend std::ostream& operator<<(std::ostream& out, const NamedCase& row) { return out << row.name; }
};
inline constexpr auto kCaseName = [](const auto& row) { return row.param.name; };

class ScriptedWindowDialogs : public ui::WindowDialogs {
 public:
  RecordingDialogs boxes;
  std::vector<std::string> quit_questions;  ///< "title: text"
  std::vector<std::string> failures;
  bool quit = true;
  std::function<void()> on_question;  ///< runs while a Yes/No question is open

  void Notice(std::string_view text) override { boxes.Notice(text); }
  bool AskYesNo(std::string_view text) override {
    if (on_question) on_question();
    return boxes.AskYesNo(text);
  }
  common::DeviceAnswer AskDevice(std::string_view text) override { return boxes.AskDevice(text); }
  bool AskQuit(std::string_view title, std::string_view text) override {
    quit_questions.push_back(std::string(title) + ": " + std::string(text));
    return quit;
  }
  void Failure(std::string_view text) override { failures.emplace_back(text); }
};

class ScriptedChooser : public ui::FileChooser {
 public:
  std::optional<std::filesystem::path> chosen;  ///< none: the user cancels
  std::function<void()> on_open;
  std::string title;
  std::string filter;
  std::optional<std::filesystem::path> directory;

  std::optional<std::filesystem::path> Open(const Request& request) override {
    title = request.title;
    filter = request.filter;
    directory = request.directory;
    if (on_open) on_open();
    return chosen;
  }
};

/// While it lives, each modal window that opens is handed to the next step of the script; a window that no
/// step expects fails the test and is closed.
class ModalScript {
 public:
  using Step = std::function<void(QWidget& dialog)>;

  ModalScript() {
    timer_.callOnTimeout([this] { Look(); });
    timer_.start(1);
  }
  ~ModalScript() { EXPECT_TRUE(steps_.empty()) << steps_.size() << " windows did not open"; }

  ModalScript& Then(std::string window, Step step) {
    steps_.emplace_back(std::move(window), std::move(step));
    return *this;
  }

 private:
  void Look() {
    QWidget* dialog = QApplication::activeModalWidget();
    if (!dialog || dialog->property("seen").toBool()) return;
    dialog->setProperty("seen", true);
    const std::string name = ui::FromQt(dialog->objectName());
    if (steps_.empty() || steps_.front().first != name) {
      ADD_FAILURE() << "unexpected window '" << name << "'";
      dialog->hide();
      return;
    }
    const Step step = std::move(steps_.front().second);
    steps_.pop_front();
    step(*dialog);
  }

  QTimer timer_;
  std::deque<std::pair<std::string, Step>> steps_;
};

inline void Click(const QWidget& window, std::string_view button) {
  QTest::mouseClick(&ui::Control<QPushButton>(window, button), Qt::LeftButton);
}
inline ModalScript::Step ClickOn(std::string button) {
  return [button](QWidget& dialog) { Click(dialog, button); };
}
/// Every way to answer a dialog by its button while nobody can have read it; then the key that is still held
/// down when it can be.
inline void ExpectNoAnswerUnread(QWidget& dialog, QPushButton& button,
                                 std::chrono::milliseconds reading_time) {
  for (const auto key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Y}) QTest::keyClick(&button, key);
  QTest::keyClick(&dialog, Qt::Key_Y, Qt::AltModifier);
  QTest::mouseClick(&button, Qt::LeftButton);
  QTest::qWait(static_cast<int>(reading_time.count()) * 2);
  for (const auto key : {Qt::Key_Return, Qt::Key_Space}) {
    QKeyEvent held(QEvent::KeyPress, key, Qt::NoModifier, {}, true);
    QApplication::sendEvent(&button, &held);
    for (const auto type : {QEvent::KeyRelease, QEvent::KeyPress}) {  // a repetition that is not known as one
      QKeyEvent half(type, key, Qt::NoModifier, 36, 0, 0);
      half.setTimestamp(1000);
      QApplication::sendEvent(&button, &half);
    }
  }
  EXPECT_TRUE(dialog.isVisible()) << ui::FromQt(button.text()) << " answered";
}
inline void CloseBox(QWidget& window) { window.close(); }

/// The main window over an engine, a directory for its settings, and scripts.
class WindowTest : public testing::Test {
 protected:
  /// The window, loaded and shown; none when the start-up sequence ended the program.
  ui::MainWindow* Open(core::TableEngine& engine, const ui::MainWindow::Directories& directories = {}) {
    window_.emplace(ui::MainWindow::Services{engine, settings_, dialogs, chooser,
                                             [this](int code) { exit_codes.push_back(code); }, reading_time});
    if (!window_->Load(directories)) return nullptr;
    window_->show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&*window_));
    return &*window_;
  }
  template <class Widget>
  Widget& Get(std::string_view name) {
    return ui::Control<Widget>(*window_, name);
  }
  void Convert() { Click(*window_, "cmdnewconvert"); }
  std::string TextOf(std::string_view label) { return ui::FromQt(Get<QLabel>(label).text()); }

  void WriteIni(const std::string& file, const std::string& text) {
    std::ofstream(directory.path() / file) << text;
  }
  std::string ReadIni(const std::string& file) {
    std::ifstream in(directory.path() / file);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  TemporaryDirectory directory;  // of the settings
  ScriptedWindowDialogs dialogs;
  ScriptedChooser chooser;
  std::vector<int> exit_codes;
  std::chrono::milliseconds reading_time{0};

 private:
  storage::PosixFileSystem files_;
  settings::SettingsPlace settings_{files_, directory.path()};

 protected:
  std::optional<ui::MainWindow> window_;
};

/// The window over tables in memory, which the settings name.
class MemoryWindowTest : public WindowTest {
 protected:
  static constexpr const char* kSource = "C:\\SRC";
  static constexpr const char* kTarget = "C:\\DST";

  ~MemoryWindowTest() override { window_.reset(); }  // before the engine goes

  MemoryWindowTest() {
    WriteIni("MARVEK.INI", "[DIRECTORIES]\r\nDATADIR=C:\\SRC\\\r\n");
    WriteIni("ZELTA.INI", "[DIRECTORIES]\r\nDATADIR=C:\\DST\\\r\n");
  }

  ui::MainWindow* Open() {
    engine.AddFoxProTable(kSource, "CENTRAL", tables.central);
    engine.AddFoxProTable(kSource, "COMPS", tables.comps);
    engine.AddFoxProTable(kSource, "PHOTO", tables.photo);
    database = &engine.AddDatabase(std::string(kTarget) + "\\FOLVANE.MDB");
    database->tables["COMPS"] = tables.target;
    return WindowTest::Open(engine);
  }

  /// `count` duplicates: keys K1, K2 ... on both sides, with condition NEW in the source and OLD in the
  /// target.
  void AddDuplicates(int count) {
    for (int i = 1; i <= count; ++i) {
      const std::string key = "K" + std::to_string(i);
      tables.central->AddRow({key, std::string("Main St")});
      tables.comps->AddRow({key, std::string("NEW")});
      tables.target->AddRow({key, {}, {}, std::string("OLD")});
    }
  }
  /// The conditions of the target rows, one after another.
  std::string Conditions() {
    std::string all;
    for (std::size_t row = 0; row < tables.target->Rows().size(); ++row) {
      const std::string condition = tables.target->Text(row, "CONDITION");
      all.append(row ? " " : "").append(common::Trim(condition));
    }
    return all;
  }
  /// Presses Esc while the run is between records `number` and `number` + 1, which takes that long: by
  /// default a frame's time, so that the next yield serves events.
  void PressEscAfter(int number, int milliseconds = 20) {
    tables.central->before = [=, this, moves = 0](Operation operation, std::string_view) mutable {
      if (operation != Operation::MoveNext || ++moves != number) return;
      QTest::qSleep(milliseconds);
      QCoreApplication::postEvent(&*window_, new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
    };
  }

  MemoryTables tables;
  MemoryEngine engine;
  MemoryDatabaseFile* database = nullptr;
};

}  // namespace corvix::test
