// Start-up, settings and the end of the program.
#include <QAction>
#include <QCheckBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>

#include "common/error.h"
#include "ui/bound_widgets.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

using test::MemoryWindowTest;

constexpr std::string_view kLocked =
    "The comparables database is locked (possibly by another user on a network) OR the database may be "
    "damaged.  Correct and try again.";

using StartTest = MemoryWindowTest;

TEST_F(StartTest, ShowsTheSettingsAndTheDefaults) {
  auto* window = Open();
  ASSERT_TRUE(window);
  EXPECT_EQ(window->windowTitle().toStdString(), "Corvix - Version 7.1.14");
  EXPECT_EQ(window->pos(), QPoint(0, 0));
  EXPECT_EQ(Get<QLineEdit>("txtCompPath").text(), "C:\\SRC\\");
  EXPECT_EQ(Get<QLineEdit>("txtcompfilename").text(), "COMPS.DBF");
  EXPECT_EQ(Get<QLineEdit>("txtCompsPath").text(), "C:\\DST\\");
  EXPECT_EQ(Get<QLineEdit>("txtcompsfilename").text(), "FOLVANE.MDB");
  EXPECT_TRUE(Get<QRadioButton>("optdup(2)").isChecked());
  EXPECT_EQ(window->values().DupMode, run::kAskEachTime);
  EXPECT_EQ(window->values().ConvertPhotosFlag, 1);
  EXPECT_EQ(Get<QProgressBar>("gauprogress").maximum(), 100);
  EXPECT_EQ(Get<QProgressBar>("gauprogress").value(), 0);
  EXPECT_TRUE(Get<QLineEdit>("txtCompPath").hasFocus());
}

struct Preferences : test::NamedCase {
  std::string ini;
  int checked;  ///< option, or -1
  std::int16_t dup_mode;
  Qt::CheckState photos;
  std::string saved;  ///< DUPLICATE0, 1, 2 and CONVERTPHOTOS
};

class PreferencesTest : public MemoryWindowTest, public testing::WithParamInterface<Preferences> {};

TEST_P(PreferencesTest, SetTheRunAndAreSaved) {
  const Preferences& wanted = GetParam();
  WriteIni("CORVIX.INI", "[PREFERENCES]\r\n" + wanted.ini);
  auto* window = Open();
  ASSERT_TRUE(window);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Get<QRadioButton>("optdup(" + std::to_string(i) + ")").isChecked(), i == wanted.checked) << i;
  }
  EXPECT_EQ(window->values().DupMode, wanted.dup_mode);
  EXPECT_EQ(Get<QCheckBox>("ckbconvertphotos").checkState(), wanted.photos);
  EXPECT_EQ(window->values().ConvertPhotosFlag, wanted.photos == Qt::Unchecked ? 0 : 1);
  window->close();
  std::string saved;
  for (const char* key : {"DUPLICATE0=", "DUPLICATE1=", "DUPLICATE2=", "CONVERTPHOTOS="}) {
    const std::string text = ReadIni("CORVIX.INI");
    const auto at = text.find(key);
    ASSERT_NE(at, std::string::npos) << key;
    saved += text[at + std::string_view(key).size()];
  }
  EXPECT_EQ(saved, wanted.saved);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PreferencesTest,
    testing::Values(
        Preferences{"First", "DUPLICATE0=1\r\nDUPLICATE1=0\r\nDUPLICATE2=0\r\nCONVERTPHOTOS=0\r\n", 0, 0,
                    Qt::Unchecked, "1000"},
        Preferences{"HighestWins", "DUPLICATE0=1\r\nDUPLICATE2=1\r\nCONVERTPHOTOS=2\r\n", 2, 2,
                    Qt::PartiallyChecked, "0011"},
        Preferences{"NoneSelected", "DUPLICATE2=0\r\nCONVERTPHOTOS=x\r\n", -1, 0, Qt::Unchecked, "0000"},
        Preferences{"OddValues", "DUPLICATE1=00\r\nDUPLICATE2= 0 \r\nCONVERTPHOTOS=7\r\n", 1, 1, Qt::Checked,
                    "0101"}),
    test::kCaseName);

TEST_F(StartTest, ASecondStartFindsWhatTheFirstSaved) {
  auto* window = Open();
  ASSERT_TRUE(window);
  QTest::mouseClick(&Get<QRadioButton>("optdup(1)"), Qt::LeftButton, {}, QPoint(8, 8));
  QTest::mouseClick(&Get<QCheckBox>("ckbconvertphotos"), Qt::LeftButton, {}, QPoint(6, 6));
  Get<QLineEdit>("txtcompfilename").setText("OTHER.DBF");
  Get<QLineEdit>("txtcompsfilename").setText("UNSAVED.MDB");
  EXPECT_EQ(window->values().DupMode, run::kKeepTarget);
  EXPECT_EQ(window->values().ConvertPhotosFlag, 0);
  window->close();

  window = Open();
  ASSERT_TRUE(window);
  EXPECT_EQ(window->values().DupMode, run::kKeepTarget);
  EXPECT_EQ(window->values().ConvertPhotosFlag, 0);
  EXPECT_EQ(Get<QLineEdit>("txtcompfilename").text(), "OTHER.DBF");
  EXPECT_EQ(Get<QLineEdit>("txtcompsfilename").text(), "FOLVANE.MDB");
  EXPECT_EQ(ReadIni("ZELTA.INI"), "[DIRECTORIES]\r\nDATADIR=C:\\DST\\\r\n");
}

TEST_F(StartTest, TheSettingsCanSwitchTheOnlyOptionOff) {
  ASSERT_TRUE(Open());
  auto& button = Get<QRadioButton>("optdup(2)");
  ui::BoundOption option(button);
  option.SetState(0);
  EXPECT_FALSE(button.isChecked());
  option.SetState(1);
  EXPECT_EQ(option.State(), 1);
}

TEST_F(StartTest, AClickTurnsGreyIntoUnchecked) {
  WriteIni("CORVIX.INI", "[PREFERENCES]\r\nCONVERTPHOTOS=2\r\n");
  ASSERT_TRUE(Open());
  auto& box = Get<QCheckBox>("ckbconvertphotos");
  for (const auto state : {Qt::Unchecked, Qt::Checked, Qt::Unchecked}) {
    QTest::mouseClick(&box, Qt::LeftButton, {}, QPoint(6, 6));
    EXPECT_EQ(box.checkState(), state);
  }
}

TEST_F(StartTest, DirectoriesOfTheCommandLineTakeThePlaceOfTheSettings) {
  WriteIni("MARVEK.INI", "");
  engine.AddFoxProTable("\\here", "CENTRAL", tables.central);
  engine.AddFoxProTable("\\here", "COMPS", tables.comps);
  engine.AddFoxProTable("\\here", "PHOTO", tables.photo);
  engine.AddDatabase("C:\\DST\\FOLVANE.MDB").tables["COMPS"] = tables.target;
  ASSERT_TRUE(WindowTest::Open(engine, {.source = "/here"}));
  EXPECT_EQ(Get<QLineEdit>("txtCompPath").text(), "\\here");
}

struct StartFailure : test::NamedCase {
  common::ErrorNumber number;  ///< raised when the database is opened; 0: a source table is missing
  std::string notice;          ///< begins
  std::string failure;         ///< begins
};

class StartFailureTest : public MemoryWindowTest, public testing::WithParamInterface<StartFailure> {};

TEST_P(StartFailureTest, EndsTheProgramWithOneMessageAndSavesNothing) {
  const StartFailure& wanted = GetParam();
  if (wanted.number == 0) {
    WriteIni("MARVEK.INI", "[DIRECTORIES]\r\nDATADIR=C:\\EMPTY\r\n");
  } else {
    engine.before_open = [&](std::string_view) { throw common::Error(wanted.number); };
  }
  EXPECT_FALSE(Open());
  EXPECT_EQ(exit_codes, std::vector<int>{1});
  std::vector<std::string> shown = dialogs.boxes.notices;
  EXPECT_EQ(shown.size(), wanted.notice.empty() ? 0u : 1u);
  if (!shown.empty()) {
    EXPECT_EQ(shown[0].substr(0, wanted.notice.size()), wanted.notice);
  }
  EXPECT_EQ(dialogs.failures.size(), wanted.failure.empty() ? 0u : 1u);
  if (!dialogs.failures.empty()) {
    EXPECT_EQ(dialogs.failures[0].substr(0, wanted.failure.size()), wanted.failure);
  }
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
}

INSTANTIATE_TEST_SUITE_P(
    Causes, StartFailureTest,
    testing::Values(
        StartFailure{"Locked", common::kFileInUse, std::string(kLocked), ""},
        StartFailure{"MissingSource", 0,
                     "The file C:\\EMPTY\\PHOTO.DBF was not found.  Please correct and try again.", ""},
        StartFailure{"LockedRecord", common::kRecordLocked,
                     "The databases may be corrupt.  Please run the rebuild programs. (Double Click on the "
                     "icons) and restart Lumivar.",
                     ""},
        StartFailure{"Other", common::kDamagedDatabase, "",
                     "Error # 3049 in module Connect2Sourcemdb: The file is damaged"}),
    test::kCaseName);

TEST_F(StartTest, ADeviceErrorIsRetriedOrLeavesTheWindowWaiting) {
  int calls = 0;
  engine.before_open = [&](std::string_view) {
    if (++calls < 3) throw common::Error(common::kDiskNotReady);
  };
  dialogs.boxes.device_answers = {common::DeviceAnswer::Retry, common::DeviceAnswer::Retry};
  EXPECT_TRUE(Open());
  EXPECT_EQ(dialogs.boxes.device_boxes.size(), 2u);
  EXPECT_EQ(dialogs.boxes.device_boxes[0], "Disk not ready.\r\nError # 71 in module Connect2Sourcemdb.");
}

using QuitTest = MemoryWindowTest;

TEST_F(QuitTest, AllThreeWaysAskTheSameQuestion) {
  auto* window = Open();
  ASSERT_TRUE(window);
  dialogs.quit = false;
  auto* exit = window->findChild<QAction*>("FileMenuItem(1)");
  const std::vector<std::function<void()>> ways{[&] { test::Click(*window, "cmdQuit"); },
                                                [&] { exit->trigger(); }, [&] { window->close(); }};
  for (const auto& way : ways) way();
  EXPECT_EQ(dialogs.quit_questions,
            std::vector<std::string>(3, "Corvix - Version 7.1.14: Quit?  Are you Sure?"));
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(exit_codes.empty());
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
  EXPECT_EQ(database->open_connections, 1);

  dialogs.quit = true;
  exit->trigger();
  EXPECT_EQ(exit_codes, std::vector<int>{0});
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(database->open_connections, 0);
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
  window->close();
  EXPECT_EQ(dialogs.quit_questions.size(), 4u) << "asked again after the end";
}

}  // namespace
}  // namespace corvix
