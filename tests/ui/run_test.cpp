// Conversions in the window: policies, prompt, interruption, errors.
#include <QAction>
#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>
#include <cctype>

#include "common/error.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

using test::ClickOn;
using test::MemoryWindowTest;
using test::ModalScript;
using test::Operation;

class RunTest : public MemoryWindowTest {
 protected:
  void SelectPolicy(int policy) {
    Get<QRadioButton>("optdup(" + std::to_string(policy) + ")").setChecked(true);
  }
  /// Everything that a run takes away is back.
  void ExpectIdle() {
    EXPECT_FALSE(window_->running());
    EXPECT_TRUE(Get<QPushButton>("cmdnewconvert").isEnabled());
    EXPECT_TRUE(Get<QLineEdit>("txtCompPath").isEnabled());
    EXPECT_TRUE(window_->findChild<QAction*>("FileMenuItem(1)")->isEnabled());
    EXPECT_EQ(window_->cursor().shape(), Qt::ArrowCursor);
  }
};

TEST_F(RunTest, PoliciesDecideOnDuplicates) {
  AddDuplicates(2);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kKeepTarget);
  Convert();
  EXPECT_EQ(Conditions(), "OLD OLD");
  SelectPolicy(run::kUseSource);
  Convert();
  EXPECT_EQ(Conditions(), "NEW NEW");
  EXPECT_EQ(TextOf("lblmsg"), "Conversion complete. (2 records)");
  EXPECT_EQ(TextOf("lblRecord"), "2");
  EXPECT_EQ(TextOf("lblAddress"), "K2");
  EXPECT_EQ(Get<QProgressBar>("gauprogress").value(), 99);
  EXPECT_EQ(dialogs.boxes.notices, std::vector<std::string>(2, "Conversion complete. (2 records)"));
  ExpectIdle();
}

TEST_F(RunTest, WithoutAYesToTheBackupQuestionNothingHappens) {
  AddDuplicates(1);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  dialogs.boxes.yes_no = {false};
  bool disabled = true;
  dialogs.on_question = [&] {
    for (const char* name :
         {"cmdnewconvert", "cmdSource", "cmdTarget", "txtCompPath", "txtCompsPath", "txtcompfilename",
          "txtcompsfilename", "optdup(0)", "optdup(1)", "optdup(2)", "ckbconvertphotos"}) {
      disabled = disabled && !Get<QWidget>(name).isEnabled();
    }
    disabled = disabled && !window_->findChild<QAction*>("FileMenuItem(1)")->isEnabled();
    Convert();  // disabled, so it starts nothing
  };
  Convert();
  EXPECT_TRUE(disabled);
  ASSERT_EQ(dialogs.boxes.questions.size(), 1u);
  EXPECT_NE(dialogs.boxes.questions[0].find("subdirectory called 'C:\\SRC\\'. Do you wish to continue?"),
            std::string::npos);
  EXPECT_EQ(Conditions(), "OLD");
  EXPECT_EQ(TextOf("lblmsg"), "Press Esc to interrupt the conversion");
  ExpectIdle();
}

/// Clicks on cmdDontask with an answer to its question.
ModalScript::Step DontAsk(test::ScriptedWindowDialogs& dialogs, bool confirm, bool then_no = false) {
  return [&dialogs, confirm, then_no](QWidget& dialog) {
    dialogs.boxes.yes_no = {confirm};
    test::Click(dialog, "cmdDontask");
    EXPECT_EQ(dialogs.boxes.questions.back(), "Continue without stopping?");
    EXPECT_EQ(dialog.isVisible(), !confirm);
    if (then_no) test::Click(dialog, "cmdNo");
  };
}

struct PromptCase : test::NamedCase {
  std::vector<std::string> clicks;  ///< one a showing
  std::string conditions;           ///< of the four rows afterwards
  std::vector<std::string> notices;
};

class PromptTest : public RunTest, public testing::WithParamInterface<PromptCase> {};

TEST_P(PromptTest, AnswersDecide) {
  const PromptCase& wanted = GetParam();
  AddDuplicates(4);
  ASSERT_TRUE(Open());
  ModalScript script;
  for (const std::string& click : wanted.clicks) {
    if (click == "close") {
      script.Then("frmAsk", test::CloseBox);
    } else if (click == "esc") {
      script.Then("frmAsk", [](QWidget& dialog) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
        EXPECT_TRUE(dialog.isVisible()) << "Esc answered";
        test::Click(dialog, "cmdYes");
      });
    } else if (click == "dontask:no") {
      script.Then("frmAsk", DontAsk(dialogs, false, true));
    } else if (click == "dontask:yes") {
      script.Then("frmAsk", DontAsk(dialogs, true));
    } else {
      script.Then("frmAsk", ClickOn(click));
    }
  }
  Convert();
  EXPECT_EQ(Conditions(), wanted.conditions);
  EXPECT_EQ(dialogs.boxes.notices, wanted.notices);
  ExpectIdle();
}

const std::vector<std::string> kComplete{"Conversion complete. (4 records)"};
INSTANTIATE_TEST_SUITE_P(
    Answers, PromptTest,
    testing::Values(
        PromptCase{"YesAndNo", {"cmdYes", "cmdNo", "esc", "cmdNo"}, "NEW OLD NEW OLD", kComplete},
        PromptCase{"CloseBoxIsNo", {"cmdYes", "close", "close", "cmdYes"}, "NEW OLD OLD NEW", kComplete},
        PromptCase{"Stop", {"cmdYes", "cmdStop"}, "NEW OLD OLD OLD", {"Conversion Stopped"}},
        PromptCase{"StopOnTheLast", {"cmdNo", "cmdNo", "cmdNo", "cmdStop"}, "OLD OLD OLD OLD", {}},
        PromptCase{"DontAskConfirmed", {"cmdNo", "dontask:yes"}, "OLD NEW NEW NEW", kComplete},
        PromptCase{"DontAskRefused",
                   {"dontask:no", "dontask:no", "cmdYes", "dontask:yes"},
                   "OLD OLD NEW NEW",
                   kComplete}),
    test::kCaseName);

TEST_F(RunTest, ThePromptShowsBothSidesAndMarksWhatDiffers) {
  AddDuplicates(1);
  ASSERT_TRUE(Open());
  ModalScript script;
  script.Then("frmAsk", [](QWidget& dialog) {
    dialog.move(300, 200);
    EXPECT_EQ(ui::Control<QLabel>(dialog, "lblAsk").text(), "Comp Address 'K1' was found.  Overwrite?");
    EXPECT_EQ(ui::Control<QLabel>(dialog, "lblAddress").text(), "Main St");
    auto& box = ui::Control<QLineEdit>(dialog, "Text17");
    EXPECT_EQ(box.text(), "");
    EXPECT_TRUE(box.isReadOnly());
    EXPECT_TRUE(box.font().bold() || ui::Control<QLabel>(dialog, "lblAddress").font().bold());
    EXPECT_EQ(ui::Control<QLabel>(dialog, "signText17").text(), QString::fromUtf8("≠"));
    EXPECT_EQ(ui::Control<QLabel>(dialog, "signText8").text(), "");
    EXPECT_EQ(dialog.focusWidget(), &ui::Control<QWidget>(dialog, "cmdYes"));
    test::Click(dialog, "cmdNo");
  });
  script.Then("frmAsk", [](QWidget& dialog) {
    EXPECT_EQ(dialog.pos(), QPoint(0, 0));
    test::Click(dialog, "cmdNo");
  });
  Convert();
  Convert();
  EXPECT_EQ(Conditions(), "OLD");
}

struct EscapeCase : test::NamedCase {
  ModalScript::Step step;
  std::string status;
  std::string conditions;
  std::string notice;
};

class EscapeTest : public RunTest, public testing::WithParamInterface<EscapeCase> {};

TEST_P(EscapeTest, HaltsTheRunBetweenTwoRecords) {
  const EscapeCase& wanted = GetParam();
  AddDuplicates(4);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  PressEscAfter(1);  // so record 2 is completed first
  ModalScript script;
  script.Then("frmEscape", [&](QWidget& dialog) {
    EXPECT_EQ(Conditions(), "NEW NEW OLD OLD");
    EXPECT_EQ(TextOf("lblRecord"), "2");
    EXPECT_GT(database->checkpoints, 0);
    EXPECT_EQ(dialog.focusWidget(), &ui::Control<QWidget>(dialog, "cmdStop"));
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, {}, true);
    QApplication::sendEvent(&dialog, &held);
    EXPECT_TRUE(dialog.isVisible()) << "the key that raised it closed it";
    wanted.step(dialog);
  });
  Convert();
  EXPECT_EQ(TextOf("lblmsg"), wanted.status);
  EXPECT_EQ(Conditions(), wanted.conditions);
  EXPECT_EQ(dialogs.boxes.notices, std::vector<std::string>{wanted.notice});
  EXPECT_EQ(Get<QProgressBar>("gauprogress").value(), 99);
  EXPECT_EQ(window_->values().EscapeState, run::kEscapeNone);
  ExpectIdle();
}

const std::string kFour = "Conversion complete. (4 records)";
INSTANTIATE_TEST_SUITE_P(
    Answers, EscapeTest,
    testing::Values(EscapeCase{"Continue", ClickOn("Command1"), kFour, "NEW NEW NEW NEW", kFour},
                    EscapeCase{"Stop", ClickOn("cmdStop"), "Conversion Cancelled", "NEW NEW OLD OLD",
                               "Conversion complete. (2 records)"},
                    EscapeCase{"CloseBox", test::CloseBox, kFour, "NEW NEW NEW NEW", kFour}),
    test::kCaseName);

TEST_F(RunTest, EscIsHeardWhateverHasTheFocusOncePerPress) {
  ASSERT_TRUE(Open());
  for (const char* name : {"txtCompPath", "cmdQuit", "optdup(2)", "cmdnewconvert"}) {
    auto& control = Get<QWidget>(name);
    control.setFocus();
    ModalScript script;
    script.Then("frmEscape", ClickOn("Command1"));
    QTest::keyClick(&control, Qt::Key_Escape);
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, {}, true);
    QApplication::sendEvent(&control, &repeated);
    QTest::keyClick(&control, Qt::Key_F2);
    QTest::qWait(10);
  }
}

TEST_F(RunTest, ClosingDuringARunStopsItFirst) {
  AddDuplicates(4);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  std::vector<std::string> answers{"Command1", "cmdStop"};
  for (const std::string& answer : answers) {
    tables.central->before = [this](Operation operation, std::string_view) {
      if (operation != Operation::MoveNext || window_->isHidden() || TextOf("lblmsg") == "x") return;
      Get<QLabel>("lblmsg").setText("x");  // once
      QTest::qSleep(20);
      QTimer::singleShot(0, &*window_, [this] { window_->close(); });
    };
    ModalScript script;
    script.Then("frmEscape", ClickOn(answer));
    Convert();
    EXPECT_EQ(dialogs.quit_questions.size(), answer == "cmdStop" ? 1u : 0u) << answer;
  }
  EXPECT_EQ(exit_codes, std::vector<int>{0});
}

TEST_F(RunTest, AnErrorBeforeTheFirstRecordNamesNone) {
  AddDuplicates(1);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  Convert();
  engine.before_open = [](std::string_view) { throw common::Error(common::kDamagedDatabase); };
  Convert();
  ASSERT_EQ(dialogs.failures.size(), 1u);
  EXPECT_EQ(dialogs.failures[0].find("K1"), std::string::npos) << dialogs.failures[0];
}

struct ErrorCase : test::NamedCase {
  Operation operation;
  common::ErrorNumber number;
  std::string status;
  std::string notice;   ///< begins; the only one
  std::string failure;  ///< begins
  bool ends = false;
};

class RunErrorTest : public RunTest, public testing::WithParamInterface<ErrorCase> {};

TEST_P(RunErrorTest, IsSettledAndThePointerRestored) {
  const ErrorCase& wanted = GetParam();
  AddDuplicates(2);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  Get<QLineEdit>("txtCompPath").setFocus();
  if (wanted.operation == Operation::OpenTable) {
    engine.before_open = [&](std::string_view) { throw common::Error(wanted.number); };
  } else {
    tables.target->before = test::FailNth(wanted.operation, 2, wanted.number);
  }
  Convert();
  EXPECT_EQ(TextOf("lblmsg"), wanted.status);
  EXPECT_EQ(dialogs.boxes.notices.size(), wanted.notice.empty() ? 0u : 1u);
  if (!dialogs.boxes.notices.empty()) {
    EXPECT_EQ(dialogs.boxes.notices[0].substr(0, wanted.notice.size()), wanted.notice);
  }
  EXPECT_EQ(dialogs.failures.size(), wanted.failure.empty() ? 0u : 1u);
  if (!dialogs.failures.empty()) {
    EXPECT_EQ(dialogs.failures[0].substr(0, wanted.failure.size()), wanted.failure);
    EXPECT_NE(dialogs.failures[0].find("'K2'"), std::string::npos)
        << "names no record: " << dialogs.failures[0];
    EXPECT_GT(database->checkpoints, 0);
  }
  EXPECT_EQ(exit_codes.size(), wanted.ends ? 1u : 0u);
  EXPECT_EQ(window_->isVisible(), !wanted.ends);
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
  ExpectIdle();
  if (wanted.number == common::kFileNotFound) {
    EXPECT_TRUE(Get<QLineEdit>("txtcompsfilename").hasFocus());
  }
}

constexpr const char* kStarted = "Press Esc to interrupt the conversion";
INSTANTIATE_TEST_SUITE_P(
    Errors, RunErrorTest,
    testing::Values(ErrorCase{"Other", Operation::Store, common::kFieldRequired, kStarted, "",
                              "Error # 3314 in module ", false},
                    ErrorCase{"DuplicateKey", Operation::Store, common::kDuplicateKey,
                              "Conversion complete. (2 records)", "Conversion complete. (2 records)", "",
                              false},
                    ErrorCase{"CannotBuildKey", Operation::Store, common::kCannotBuildKey, kStarted,
                              "Your data appears to be corrupt.", "", true},
                    ErrorCase{"Locked", Operation::Store, common::kRecordLocked, kStarted,
                              "The databases may be corrupt.", "", true},
                    ErrorCase{"MissingFile", Operation::OpenTable, common::kFileNotFound,
                              "File not found.  Correct and try again", "", "", false},
                    ErrorCase{"MissingPath", Operation::OpenTable, common::kPathNotFound,
                              "Path not found.  Correct the Drive and Path and retry", "", "", false}),
    test::kCaseName);

}  // namespace
}  // namespace corvix
