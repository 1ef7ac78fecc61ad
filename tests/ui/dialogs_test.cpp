// The about box and the message boxes, as real windows.
#include <QAction>
#include <QMessageBox>
#include <array>

#include "ui/about_box.h"
#include "ui/message_boxes.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

using test::ModalScript;

using AboutTest = test::MemoryWindowTest;

TEST_F(AboutTest, ShowsTheProductLineAndTheProgramsVersion) {
  const std::string built_in = "Corvix - Convert Quorvex Data to Folvane (Vistrel)";
  ASSERT_TRUE(Open());
  for (const auto& [marker, alias, product_line] :
       {std::array<std::string, 3>{"", "", built_in},
        {"VERSION=A", "", "Quorvex Vistrel"},
        {"VERSION=a", "quorvex vistrel=Other", built_in},
        {"VERSION=A", "quorvex vistrel=Other & Line", "Other & Line"}}) {
    WriteIni("MARVEK.INI", "[PROGRAM ALIAS]\r\n" + marker);
    WriteIni("ZELTA.INI", "[Program Alias]\r\n" + alias);
    ModalScript script;
    script.Then("frmAboutBox", [&](QWidget& dialog) {
      EXPECT_EQ(dialog.windowTitle(), "About ");
      EXPECT_EQ(ui::Control<QLabel>(dialog, "lblProgramAlias").text().toStdString(), product_line) << marker;
      EXPECT_EQ(ui::Control<QLabel>(dialog, "LblVersion").text(), "Version 7.1.14");
      QTest::keyClick(&dialog, Qt::Key_Escape);
      EXPECT_FALSE(dialog.isVisible());
    });
    window_->findChild<QAction*>("HelpMenuItem(1)")->trigger();
  }
}

static_assert(ui::CentredEdge(28800, 6480) == 11160);
static_assert(ui::CentredEdge(16201, 2370) == 6915, "the remainder is dropped");

/// What a box shows, and the button that a test presses in it.
ModalScript::Step Press(QMessageBox::StandardButton button, const std::string& title, const std::string& text,
                        QMessageBox::Icon icon) {
  return [=](QWidget& widget) {
    auto& box = dynamic_cast<QMessageBox&>(widget);
    EXPECT_EQ(box.windowTitle().toStdString(), title);
    EXPECT_EQ(box.text().toStdString(), text);
    EXPECT_EQ(box.icon(), icon);
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    if (box.standardButtons() != QMessageBox::Ok) {
      QTest::keyClick(&box, Qt::Key_Escape);
      box.close();
      EXPECT_TRUE(box.isVisible()) << "closed without an answer";
    }
    box.button(button)->click();
  };
}

TEST(MessageBoxes, AskAndAnswer) {
  ui::MessageBoxes boxes(std::chrono::milliseconds(0));
  ModalScript script;
  script.Then("", Press(QMessageBox::Ok, "Corvix", "<b>done</b>", QMessageBox::NoIcon));
  boxes.Notice("<b>done</b>");
  for (const auto button : {QMessageBox::Yes, QMessageBox::No}) {
    script.Then("", Press(button, "Corvix", "Continue?", QMessageBox::NoIcon));
    EXPECT_EQ(boxes.AskYesNo("Continue?"), button == QMessageBox::Yes);
    script.Then("", Press(button, "Caption", "Quit?", QMessageBox::Question));
    EXPECT_EQ(boxes.AskQuit("Caption", "Quit?"), button == QMessageBox::Yes);
  }
  const std::vector<std::pair<QMessageBox::StandardButton, common::DeviceAnswer>> answers{
      {QMessageBox::Abort, common::DeviceAnswer::Abort},
      {QMessageBox::Retry, common::DeviceAnswer::Retry},
      {QMessageBox::Ignore, common::DeviceAnswer::Ignore}};
  for (const auto& [button, answer] : answers) {
    script.Then("", Press(button, "Error", "Disk full.\nError # 61", QMessageBox::NoIcon));
    EXPECT_EQ(boxes.AskDevice("Disk full.\r\nError # 61"), answer);
  }
}

TEST_F(AboutTest, BoxesBelongToTheWindowAndAreNotAnsweredUnread) {
  constexpr std::chrono::milliseconds kTime(40);
  auto* window = Open();
  window->showMinimized();
  ui::MessageBoxes boxes(kTime);
  ModalScript script;
  script.Then("", [&](QWidget& widget) {
    EXPECT_EQ(widget.parentWidget(), window);
    EXPECT_FALSE(window->isMinimized());
    auto& yes = *dynamic_cast<QMessageBox&>(widget).button(QMessageBox::Yes);
    test::ExpectNoAnswerUnread(widget, dynamic_cast<QPushButton&>(yes), kTime);
    yes.click();
  });
  EXPECT_TRUE(boxes.AskYesNo("Continue?"));
}

}  // namespace
}  // namespace corvix
