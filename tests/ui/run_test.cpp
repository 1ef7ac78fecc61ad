// Conversions in the window: policies, prompt, interruption, errors.
#include <QAction>
#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>
#include <gmock/gmock.h>
#include <sstream>

#include "common/error.h"
#include "core/text_form.h"
#include "ui/application.h"
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

struct PromptCase : test::NamedCase {
  std::vector<std::string> clicks;  ///< one a showing; several in one are separated by blanks
  std::string conditions;           ///< of the four rows afterwards
  std::vector<std::string> notices;
};

class PromptTest : public RunTest, public testing::WithParamInterface<PromptCase> {
 protected:
  /// A button, or: close, esc, cmdDontask with the answer to its question.
  void Do(QWidget& dialog, const std::string& click) {
    if (click == "close") {
      dialog.close();
    } else if (click == "esc") {
      QTest::keyClick(&dialog, Qt::Key_Escape);
      EXPECT_TRUE(dialog.isVisible()) << "Esc answered";
    } else if (click.starts_with("dontask:")) {
      dialogs.boxes.yes_no = {click == "dontask:yes"};
      test::Click(dialog, "cmdDontask");
      EXPECT_EQ(dialogs.boxes.questions.back(), "Continue without stopping?");
      EXPECT_EQ(dialog.isVisible(), click == "dontask:no");
    } else {
      test::Click(dialog, click);
    }
  }
};

TEST_P(PromptTest, AnswersDecide) {
  const PromptCase& wanted = GetParam();
  AddDuplicates(4);
  ASSERT_TRUE(Open());
  ModalScript script;
  for (const std::string& clicks : wanted.clicks) {
    script.Then("frmAsk", [this, clicks](QWidget& dialog) {
      std::istringstream words(clicks);
      for (std::string click; words >> click;) Do(dialog, click);
    });
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
        PromptCase{"YesAndNo", {"cmdYes", "cmdNo", "esc cmdYes", "cmdNo"}, "NEW OLD NEW OLD", kComplete},
        PromptCase{"CloseBoxIsNo", {"cmdYes", "close", "close", "cmdYes"}, "NEW OLD OLD NEW", kComplete},
        PromptCase{"Stop", {"cmdYes", "cmdStop"}, "NEW OLD OLD OLD", {"Conversion Stopped"}},
        PromptCase{"StopOnTheLast", {"cmdNo", "cmdNo", "cmdNo", "cmdStop"}, "OLD OLD OLD OLD", {}},
        PromptCase{"DontAsk",
                   {"dontask:no cmdNo", "dontask:no cmdYes", "dontask:yes"},
                   "OLD NEW NEW NEW",
                   kComplete}),
    test::kCaseName);

TEST_F(RunTest, ThePromptShowsBothSidesAndMarksWhatDiffers) {
  tables.central->AddRow({std::string("K1"), std::string("Main St")});
  tables.comps->AddRow({std::string("K1"), std::string("NEW"), std::string("04/05/1995")});
  tables.target->AddRow({std::string("K1"), {}, {}, std::string("OLD"), core::ToDate("4/5/1995")});
  ASSERT_TRUE(Open());
  ModalScript script;
  script.Then("frmAsk", [](QWidget& dialog) {
    dialog.move(300, 200);
    EXPECT_EQ(ui::Control<QLabel>(dialog, "lblAsk").text(), "Comp Address 'K1' was found.  Overwrite?");
    EXPECT_EQ(ui::Control<QLabel>(dialog, "lblAddress").text(), "Main St");
    EXPECT_TRUE(ui::Control<QLabel>(dialog, "lblAddress").font().bold());
    EXPECT_EQ(ui::Control<QLineEdit>(dialog, "Text17").text(), "");
    EXPECT_EQ(ui::Control<QLabel>(dialog, "signText17").text(), QString::fromUtf8("≠"));
    EXPECT_EQ(ui::Control<QLabel>(dialog, "lblSaleDate").text(), "04/05/1995");
    EXPECT_EQ(ui::Control<QLineEdit>(dialog, "Text6").text(), "4/5/1995");
    EXPECT_EQ(ui::Control<QLabel>(dialog, "signText6").text(), "") << "the same date in another form";
    for (const auto* box : dialog.findChildren<QLineEdit*>()) EXPECT_TRUE(box->isReadOnly());
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

TEST_F(RunTest, KeysMeantForWhatWasThereBeforeAnswerNothing) {
  reading_time = std::chrono::milliseconds(40);
  AddDuplicates(3);
  ASSERT_TRUE(Open());
  PressEscAfter(1);
  const auto read_and = [this](std::string answer) {
    return [this, answer](QWidget& dialog) {
      auto& first = *dynamic_cast<QPushButton*>(dialog.focusWidget());
      test::ExpectNoAnswerUnread(dialog, first, reading_time);
      test::Click(dialog, answer);
    };
  };
  ModalScript script;
  script.Then("frmAsk", read_and("cmdYes"))
      .Then("frmAsk", read_and("cmdNo"))
      .Then("frmEscape", read_and("Command1"))
      .Then("frmAsk", read_and("cmdYes"));
  Convert();
  EXPECT_EQ(Conditions(), "NEW OLD NEW");
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

TEST_F(RunTest, EscAfterTheLastRecordCounts) {
  AddDuplicates(2);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  PressEscAfter(2, 0);
  ModalScript script;
  script.Then("frmEscape", ClickOn("cmdStop"));
  Convert();
  EXPECT_EQ(TextOf("lblmsg"), "Conversion Cancelled");
}

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
  for (const std::string answer : {"Command1", "cmdStop"}) {
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

TEST_F(RunTest, AHandlerThatFailsIsToldAndTheRunGoesOn) {
  AddDuplicates(3);
  ASSERT_TRUE(Open());
  SelectPolicy(run::kUseSource);
  auto& application = dynamic_cast<ui::Application&>(*QApplication::instance());
  application.on_failure = [this](const std::exception& failure) { window_->HandlerFailed(failure); };
  for (const auto& [fail, begin] : std::vector<std::pair<std::function<void()>, std::string>>{
           {[] { throw std::bad_alloc(); }, "Error # 7 in module "},
           {[] { throw std::logic_error("odd"); }, "Error # 51 in module "},
           {[] { throw common::Error(common::kDiskFull); }, "Error # 61 in module "}}) {
    dialogs.failures.clear();
    QTimer::singleShot(0, &*window_, fail);
    Convert();
    EXPECT_THAT(dialogs.failures, testing::ElementsAre(testing::StartsWith(begin)));
    EXPECT_EQ(TextOf("lblmsg"), "Conversion complete. (3 records)");
  }
  application.on_failure = {};
  ExpectIdle();
}

struct ErrorCase : test::NamedCase {
  Operation operation;
  common::ErrorNumber number;
  std::string status;
  std::vector<std::string> boxes;  ///< the beginning of the only one, if there is one
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
  std::vector<std::string> shown = dialogs.boxes.notices;
  for (const std::string& failure : dialogs.failures) {
    shown.push_back(failure);
    EXPECT_THAT(failure, testing::HasSubstr("'K2'")) << "names no record";
    EXPECT_GT(database->checkpoints, 0);
  }
  ASSERT_EQ(shown.size(), wanted.boxes.size());
  EXPECT_TRUE(shown.empty() || shown[0].starts_with(wanted.boxes[0])) << shown[0];
  EXPECT_EQ(exit_codes.size(), wanted.ends ? 1u : 0u);
  EXPECT_EQ(window_->isVisible(), !wanted.ends);
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "CORVIX.INI"));
  ExpectIdle();
  EXPECT_EQ(Get<QLineEdit>("txtcompsfilename").hasFocus(), wanted.number == common::kFileNotFound);
}

constexpr const char* kStarted = "Press Esc to interrupt the conversion";
INSTANTIATE_TEST_SUITE_P(
    Errors, RunErrorTest,
    testing::Values(
        ErrorCase{"Other", Operation::Store, common::kFieldRequired, kStarted, {"Error # 3314 in module "}},
        ErrorCase{"EndsTheProgram",
                  Operation::Store,
                  common::kCannotBuildKey,
                  kStarted,
                  {"Your data appears to be corrupt."},
                  true},
        ErrorCase{"MissingFile",
                  Operation::OpenTable,
                  common::kFileNotFound,
                  "File not found.  Correct and try again",
                  {}}),
    test::kCaseName);

}  // namespace
}  // namespace corvix
