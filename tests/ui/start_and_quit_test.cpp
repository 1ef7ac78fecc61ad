// Start-up, settings and the end of the program.
#include <QAction>
#include <QCheckBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>
#include <gmock/gmock.h>

#include "common/error.h"
#include "ui/main_form.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

using test::MemoryWindowTest;
using testing::ElementsAre;
using testing::StartsWith;

class StartTest : public MemoryWindowTest {
 protected:
  std::string Boxes() {
    std::string texts;
    for (const char* name : {"txtCompPath", "txtcompfilename", "txtCompsPath", "txtcompsfilename"})
      texts += (texts.empty() ? "" : "|") + ui::FromQt(Get<QLineEdit>(name).text());
    return texts;
  }
};

TEST_F(StartTest, ShowsTheSettingsAndTheDefaults) {
  auto* window = Open();
  ASSERT_TRUE(window);
  EXPECT_EQ(window->windowTitle().toStdString(), "Corvix - Version 7.1.14");
  EXPECT_EQ(window->pos(), QPoint(0, 0));
  EXPECT_EQ(Boxes(), "C:\\SRC\\|COMPS.DBF|C:\\DST\\|FOLVANE.MDB");
  EXPECT_EQ(window->values().DupMode, run::kAskEachTime);
  EXPECT_EQ(window->values().ConvertPhotosFlag, 1);
  EXPECT_EQ(Get<QProgressBar>("gauprogress").maximum(), 100);
  EXPECT_EQ(Get<QProgressBar>("gauprogress").value(), 0);
  EXPECT_TRUE(Get<QLineEdit>("txtCompPath").hasFocus());
}

struct Preferences : test::NamedCase {
  std::string ini;
  std::string options;  ///< which are on
  std::int16_t dup_mode;
  Qt::CheckState photos;
};

class PreferencesTest : public StartTest, public testing::WithParamInterface<Preferences> {};

TEST_P(PreferencesTest, SetTheRunAndAreSaved) {
  const Preferences& wanted = GetParam();
  WriteIni("CORVIX.INI", "[PREFERENCES]\r\n" + wanted.ini);
  auto* window = Open();
  ASSERT_TRUE(window);
  std::string options;
  for (const auto name : ui::kDuplicateOptions) options += Get<QRadioButton>(name).isChecked() ? '1' : '0';
  EXPECT_EQ(options, wanted.options);
  EXPECT_EQ(window->values().DupMode, wanted.dup_mode);
  EXPECT_EQ(Get<QCheckBox>("ckbconvertphotos").checkState(), wanted.photos);
  EXPECT_EQ(window->values().ConvertPhotosFlag, wanted.photos == Qt::Unchecked ? 0 : 1);
  window->close();
  for (std::size_t i = 0; i < options.size(); ++i) {
    EXPECT_NE(ReadIni("CORVIX.INI").find("DUPLICATE" + std::to_string(i) + "=" + options[i]),
              std::string::npos);
  }
  EXPECT_NE(ReadIni("CORVIX.INI").find(wanted.photos == Qt::Unchecked ? "PHOTOS=0" : "PHOTOS=1"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PreferencesTest,
    testing::Values(Preferences{"First", "DUPLICATE0=1\nDUPLICATE1=0\nDUPLICATE2=0\nCONVERTPHOTOS=0", "100",
                                0, Qt::Unchecked},
                    Preferences{"HighestWins", "DUPLICATE0=1\nDUPLICATE2=1\nCONVERTPHOTOS=2", "001", 2,
                                Qt::PartiallyChecked},
                    Preferences{"NoneSelected", "DUPLICATE2= 0 \nCONVERTPHOTOS=x", "000", 0, Qt::Unchecked},
                    Preferences{"ZerosAreOn", "DUPLICATE1=00\nDUPLICATE2=0\nCONVERTPHOTOS= 1 of 2", "010", 1,
                                Qt::Checked},
                    Preferences{"EmptyIsOn", "DUPLICATE0=\nDUPLICATE2=0\nCONVERTPHOTOS=", "100", 0,
                                Qt::Unchecked},
                    Preferences{"NoState", "CONVERTPHOTOS=3", "001", 2, Qt::Checked},
                    Preferences{"Negative", "CONVERTPHOTOS=-1", "001", 2, Qt::Checked},
                    Preferences{"TooLarge", "CONVERTPHOTOS=99999", "001", 2, Qt::Checked}),
    test::kCaseName);

TEST_F(StartTest, ASecondStartFindsWhatTheFirstSaved) {
  WriteIni("CORVIX.INI", "[PREFERENCES]\r\nCONVERTPHOTOS=2\r\n");
  auto* window = Open();
  ASSERT_TRUE(window);
  QTest::mouseClick(&Get<QRadioButton>("optdup(1)"), Qt::LeftButton, {}, QPoint(8, 8));
  for (const auto state : {Qt::Unchecked, Qt::Checked, Qt::Unchecked}) {  // a click turns grey into unchecked
    QTest::mouseClick(&Get<QCheckBox>("ckbconvertphotos"), Qt::LeftButton, {}, QPoint(6, 6));
    EXPECT_EQ(Get<QCheckBox>("ckbconvertphotos").checkState(), state);
  }
  Get<QLineEdit>("txtcompfilename").setText("OTHER.DBF");
  for (const char* unsaved : {"txtcompsfilename", "txtCompPath", "txtCompsPath"})
    Get<QLineEdit>(unsaved).setText("UNSAVED");
  window->close();
  EXPECT_EQ(ReadIni("CORVIX.INI"),
            "[PREFERENCES]\r\nCONVERTPHOTOS=0\r\nDUPLICATE0=0\r\nDUPLICATE1=1\r\nDUPLICATE2=0\r\n"
            "[DIRECTORIES]\r\nDATAFILE=OTHER.DBF\r\n");
  EXPECT_EQ(ReadIni("ZELTA.INI"), "[DIRECTORIES]\r\nDATADIR=C:\\DST\\\r\n");

  window = Open();
  ASSERT_TRUE(window);
  EXPECT_EQ(window->values().DupMode, run::kKeepTarget);
  EXPECT_EQ(window->values().ConvertPhotosFlag, 0);
  EXPECT_EQ(Boxes(), "C:\\SRC\\|OTHER.DBF|C:\\DST\\|FOLVANE.MDB");
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
  common::ErrorNumber number;  ///< raised when the database is opened; 0: a machine without settings and data
  std::string notice;          ///< begins; empty: a failure instead
  std::string failure;         ///< begins
};

class StartFailureTest : public MemoryWindowTest, public testing::WithParamInterface<StartFailure> {};

TEST_P(StartFailureTest, EndsTheProgramWithOneMessageAndSavesNothing) {
  const StartFailure& wanted = GetParam();
  if (wanted.number == 0) {
    for (const char* ini : {"MARVEK.INI", "ZELTA.INI"}) std::filesystem::remove(directory.path() / ini);
  }
  engine.before_open = [&](std::string_view) {
    if (wanted.number != 0) throw common::Error(wanted.number);
  };
  EXPECT_FALSE(Open());
  EXPECT_EQ(exit_codes, std::vector<int>{1});
  const auto one = [](const std::string& begin) { return ElementsAre(StartsWith(begin)); };
  EXPECT_THAT(wanted.notice.empty() ? dialogs.failures : dialogs.boxes.notices,
              one(wanted.notice + wanted.failure));
  EXPECT_THAT(wanted.notice.empty() ? dialogs.boxes.notices : dialogs.failures, testing::IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
}

INSTANTIATE_TEST_SUITE_P(
    Causes, StartFailureTest,
    testing::Values(
        StartFailure{
            "Locked", common::kFileInUse,
            "The comparables database is locked (possibly by another user on a network) OR the database may "
            "be damaged.  Correct and try again.",
            ""},
        StartFailure{"NoSettingsNoData", 0,
                     "The file PHOTO.DBF was not found.  Please correct and try again.", ""},
        StartFailure{"Other", common::kDamagedDatabase, "",
                     "Error # 3049 in module Connect2Sourcemdb: The file is damaged"}),
    test::kCaseName);

TEST_F(StartTest, ADeviceErrorIsRetriedOrLeavesTheWindowWaiting) {
  for (const auto answer : {common::DeviceAnswer::Retry, common::DeviceAnswer::Abort}) {
    int calls = 0;
    engine.before_open = [&](std::string_view) {
      if (++calls < 3) throw common::Error(common::kDiskNotReady);
    };
    dialogs.boxes.device_answers = {answer, answer};
    EXPECT_TRUE(Open());
    EXPECT_EQ(calls, answer == common::DeviceAnswer::Retry ? 3 : 1);
    EXPECT_EQ(dialogs.boxes.device_boxes[0], "Disk not ready.\r\nError # 71 in module Connect2Sourcemdb.");
  }
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
  EXPECT_EQ(database->open_connections, 0) << "an idle window locks the office out";

  dialogs.quit = true;
  exit->trigger();
  EXPECT_EQ(exit_codes, std::vector<int>{0});
  EXPECT_FALSE(window->isVisible());
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
  window->close();
  EXPECT_EQ(dialogs.quit_questions.size(), 4u) << "asked again after the end";
}

}  // namespace
}  // namespace corvix
