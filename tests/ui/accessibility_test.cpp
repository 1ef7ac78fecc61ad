// Layout, keyboard and what readers of the screen are told.
#include <QAccessible>
#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <map>
#include <set>

#include "ui/message_boxes.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

class AccessibilityTest : public test::MemoryWindowTest {};

/// The texts of labels and buttons are not cut off.
void ExpectTextsFit(const QWidget& control) {
  const auto* label = qobject_cast<const QLabel*>(&control);
  const auto* button = qobject_cast<const QAbstractButton*>(&control);
  if ((!label || label->wordWrap()) && !button) return;
  const QString text = label ? label->text() : QString(button->text()).remove('&');
  EXPECT_LE(control.fontMetrics().horizontalAdvance(text), control.width()) << text.toStdString();
}

/// Everything that a person can act on or must hear has a name of its own, and a role that says what it is;
/// each control that takes the focus by keyboard can be reached by it.
void ExpectLegibleAndNamed(const QWidget& window) {
  const std::map<QAccessible::Role, bool> acted_on{
      {QAccessible::EditableText, true}, {QAccessible::Button, true},    {QAccessible::RadioButton, true},
      {QAccessible::CheckBox, true},     {QAccessible::Grouping, false}, {QAccessible::ProgressBar, false}};
  std::set<QString> names;
  for (const QWidget* control : window.findChildren<QWidget*>()) {
    if (!control->isVisible() || control->objectName().startsWith("qt_"))
      continue;  // the toolkit's own groups
    ExpectTextsFit(*control);
    const auto* face = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(control));
    const std::string object = control->objectName().toStdString();
    ASSERT_TRUE(face) << object;
    const auto role = acted_on.find(face->role());
    if (role == acted_on.end()) {
      EXPECT_EQ(control->focusPolicy() & Qt::TabFocus, 0)
          << object << " takes the focus without a known role";
      continue;
    }
    const QString name = face->text(QAccessible::Name);
    EXPECT_FALSE(name.isEmpty()) << object;
    EXPECT_TRUE(names.insert(name).second) << object << " shares the name " << name.toStdString();
    const bool option = face->role() == QAccessible::RadioButton;  // arrows reach those that are not selected
    EXPECT_TRUE(!role->second || option || (control->focusPolicy() & Qt::TabFocus) != 0) << object;
  }
  EXPECT_GT(names.size(), 0u);
}

/// Names of the controls that Tab reaches, from the one that has the focus, once around.
std::vector<std::string> TabThrough(QWidget& window) {
  std::vector<std::string> order;
  const QWidget* first = window.focusWidget();
  do {
    order.push_back(ui::FromQt(window.focusWidget()->objectName()));
    QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
  } while (window.focusWidget() != first && order.size() < 100);
  return order;
}

TEST_F(AccessibilityTest, TheMainWindowIsNamedAndReachedByKeyboard) {
  ASSERT_TRUE(Open());
  ExpectLegibleAndNamed(*window_);
  EXPECT_EQ(window_->centralWidget()->size(), QSize(614, 294));
  EXPECT_EQ(Get<QWidget>("txtCompPath").geometry(), QRect(272, 56, 157, 19));
  EXPECT_EQ(Get<QWidget>("optdup(1)").geometry(), QRect(16, 32, 449, 17)) << "in its frame";
  EXPECT_EQ(Get<QLabel>("lblmsg").palette().color(QPalette::Window), QColor(Qt::white));
  EXPECT_EQ(TabThrough(*window_),
            (std::vector<std::string>{"txtCompPath", "txtCompsPath", "cmdSource", "cmdTarget", "cmdQuit",
                                      "optdup(2)", "cmdnewconvert", "txtcompfilename", "txtcompsfilename",
                                      "ckbconvertphotos"}));
  Get<QWidget>("optdup(2)").setFocus();
  QTest::keyClick(&Get<QWidget>("optdup(2)"), Qt::Key_Up);
  EXPECT_EQ(window_->values().DupMode, run::kKeepTarget) << "arrows select";
  EXPECT_EQ(Get<QLabel>("Label5").buddy(), &Get<QWidget>("lblAddress"));
  EXPECT_EQ(Get<QLabel>("Label6").buddy(), &Get<QWidget>("lblRecord"));
}

TEST_F(AccessibilityTest, AcceleratorsAndEnterPressButtons) {
  ASSERT_TRUE(Open());
  dialogs.quit = false;
  dialogs.boxes.yes_no = {false, false};
  const auto one = [](const auto& list) { return [&list] { return list.size() == 1; }; };
  QTest::keyClick(&*window_, Qt::Key_C, Qt::AltModifier);  // the button is shown pressed for a moment
  EXPECT_TRUE(QTest::qWaitFor(one(dialogs.boxes.questions)));
  QTest::keyClick(&*window_, Qt::Key_Q, Qt::AltModifier);
  EXPECT_TRUE(QTest::qWaitFor(one(dialogs.quit_questions)));
  Get<QWidget>("cmdQuit").setFocus();
  QTest::keyClick(&Get<QWidget>("cmdQuit"), Qt::Key_Return);
  QTest::keyClick(&Get<QWidget>("cmdQuit"), Qt::Key_Space);
  EXPECT_EQ(dialogs.quit_questions.size(), 3u);
  EXPECT_EQ(window_->findChild<QMenu*>("FileMenu")->title(), "&File");
  EXPECT_EQ(window_->findChild<QAction*>("FileMenuItem(1)")->text(), "E&xit");
  EXPECT_EQ(window_->findChild<QMenu*>("HelpMenu")->title(), "&Help");
  EXPECT_EQ(window_->findChild<QAction*>("HelpMenuItem(1)")->text(), "&About");
}

TEST_F(AccessibilityTest, ThePromptIsNamedAndReachedByKeyboard) {
  AddDuplicates(1);
  ASSERT_TRUE(Open());
  test::ModalScript script;
  script.Then("frmAsk", [](QWidget& dialog) {
    ExpectLegibleAndNamed(dialog);
    const std::vector<std::string> order = TabThrough(dialog);
    EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + 5),
              (std::vector<std::string>{"cmdYes", "cmdNo", "cmdStop", "cmdDontask", "Text17"}));
    EXPECT_EQ(order.size(), 4u + 19u) << "the target's boxes can be read by keyboard";
    EXPECT_EQ(ui::Control<QWidget>(dialog, "Text2").accessibleName(), "Target Bedrooms");
    EXPECT_EQ(ui::Control<QWidget>(dialog, "signText17").accessibleName(), "Target Address differs");
    ui::Control<QWidget>(dialog, "Text8").setFocus();
    for (const auto* button : dialog.findChildren<QPushButton*>())
      EXPECT_FALSE(button->isDefault()) << "drawn as if Enter pressed it";
    QTest::keyClick(&ui::Control<QWidget>(dialog, "Text8"), Qt::Key_Return);
    EXPECT_TRUE(dialog.isVisible()) << "Enter in a box answered";
    ui::Control<QWidget>(dialog, "cmdNo").setFocus();
    QTest::keyClick(&ui::Control<QWidget>(dialog, "cmdNo"), Qt::Key_Return);
    EXPECT_FALSE(dialog.isVisible());
  });
  Convert();
  EXPECT_EQ(Conditions(), "OLD");
}

TEST_F(AccessibilityTest, TheOtherDialogsAreNamedAndReachedByKeyboard) {
  using Buttons = std::vector<std::string>;
  ASSERT_TRUE(Open());
  const auto expect = [](Buttons wanted) {
    return [wanted](QWidget& dialog) {
      EXPECT_FALSE(dialog.windowTitle().trimmed().isEmpty());
      ExpectLegibleAndNamed(dialog);
      EXPECT_EQ(TabThrough(dialog), wanted);
      QTest::keyClick(dialog.focusWidget(), Qt::Key_Space);
      EXPECT_FALSE(dialog.isVisible());
    };
  };
  test::ModalScript script;
  script.Then("frmEscape", expect({"cmdStop", "Command1"})).Then("frmAboutBox", expect({"Cmd_OK"}));
  QTest::keyClick(&*window_, Qt::Key_Escape);
  window_->findChild<QAction*>("HelpMenuItem(1)")->trigger();
  script.Then("", expect({"", ""}));  // a box with Yes and No
  ui::MessageBoxes(reading_time).AskYesNo("Continue?");
}

}  // namespace
}  // namespace corvix
