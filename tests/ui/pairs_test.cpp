// Converts the shared pairs in the main window, a person's clicks scripted, and once more on the command
// line: both store the same rows, the expected ones, and say the same.
#include "support/pairs.h"

#include <QCheckBox>
#include <QRadioButton>
#include <sstream>

#include "storage/engine/file_engine.h"
#include "ui/command_line.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class WindowPairsTest : public test::WindowTest, public testing::WithParamInterface<test::PairRun> {
 protected:
  ~WindowPairsTest() override { window_.reset(); }  // before the engine goes

  void ConvertInTheWindow(const json& step) {
    const json& expect = step["expect"];
    dialogs.boxes = {};
    dialogs.failures.clear();
    ASSERT_TRUE(Open(engine_, {.source = GetParam().folder() / step.value("source", "source"),
                               .target = by_window_.path()}));
    Get<QRadioButton>("optdup(" + std::to_string(test::DupModeOf(step["duplicates"])) + ")").setChecked(true);
    Get<QCheckBox>("ckbconvertphotos").setChecked(step["photos"].get<bool>());
    {
      test::ModalScript script;
      const json asked = expect.value("asked", json::array());
      for (std::size_t i = 0; i < expect["prompts"]; ++i) {
        script.Then("frmAsk",
                    [this, answer = step["answers"][i], key = asked[i].get<std::string>()](QWidget& prompt) {
                      EXPECT_EQ(ui::FromQt(ui::Control<QLabel>(prompt, "lblAsk").text()),
                                "Comp Address '" + key + "' was found.  Overwrite?");
                      for (const json& click : answer.is_array() ? answer : json{answer})
                        Answer(prompt, click);
                    });
      }
      Convert();
    }
    EXPECT_EQ(json(dialogs.boxes.notices), expect["messages"]);
    EXPECT_EQ(TextOf("lblmsg"), expect["status"]);
    EXPECT_EQ(TextOf("lblRecord"), std::to_string(expect["records"].get<int>()));
    ASSERT_EQ(dialogs.failures.size(), expect["error"].is_null() ? 0u : 1u);
    for (const std::string& failure : dialogs.failures)
      EXPECT_TRUE(failure.starts_with("Error # " + expect["error"].dump() + " in module ")) << failure;
    window_->close();
  }

  void Answer(const QWidget& prompt, const std::string& click) {
    static const std::map<std::string, const char*> buttons{
        {"yes", "cmdYes"}, {"no", "cmdNo"}, {"stop", "cmdStop"}};
    const auto button = buttons.find(click);
    if (button == buttons.end()) dialogs.boxes.yes_no = {click != "dontask:no"};
    test::Click(prompt, button == buttons.end() ? "cmdDontask" : button->second);
  }

  void ConvertOnTheCommandLine(const json& step) {
    std::string answers = "y\n";  // there is a backup
    for (const json& answer : step.value("answers", json::array())) {
      for (const json& click : answer.is_array() ? answer : json{answer}) {
        const auto text = click.get<std::string>();
        answers += text.starts_with("dontask") ? text == "dontask:no" ? "a\nn\n" : "a\ny\n"
                                               : text.substr(0, 1) + "\n";
      }
    }
    const std::string source = (GetParam().folder() / step.value("source", "source")).string();
    const std::string policy = step["duplicates"].get<std::string>() + (step["photos"] ? "" : " --no-photos");
    const json result =
        json::parse(test::CommandLine("convert --json --source '" + source + "' --target '" +
                                          by_command_.path().string() + "' --duplicates " + policy,
                                      answers));
    EXPECT_EQ(result["messages"], step["expect"]["messages"]);
  }

  storage::PosixFileSystem files_;
  storage::FileEngine engine_{files_};
  test::TemporaryDirectory by_window_;
  test::TemporaryDirectory by_command_;
};

TEST_P(WindowPairsTest, WindowAndCommandLineStoreTheExpectedRows) {
  for (const fs::path& office : {by_window_.path(), by_command_.path()}) test::CopyTarget(GetParam(), office);
  for (const json& step : test::StepsOf(GetParam())) {
    ConvertInTheWindow(step);
    ConvertOnTheCommandLine(step);
  }
  const std::string rows = test::RowsOf(by_window_.path());
  EXPECT_EQ(rows, test::RowsOf(by_command_.path()));
  std::vector<json> got;
  std::istringstream lines(rows);
  for (std::string line; std::getline(lines, line);) got.push_back(json::parse(line));
  test::ExpectRows(got, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Shared, WindowPairsTest, testing::ValuesIn(test::AllPairRuns()), test::kPairRunName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(WindowPairsTest);

}  // namespace
}  // namespace corvix
