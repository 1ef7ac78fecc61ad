// The window on real files: what it stores is what the command line stores, the files are sound and closed
// afterwards, and a database that cannot be used ends the start.
#include <QLineEdit>
#include <QRadioButton>
#include <gmock/gmock.h>

#include "common/host_paths.h"
#include "sample/sample_writer.h"
#include "storage/engine/file_engine.h"
#include "storage/jet/catalog/jet_create.h"
#include "ui/command_line.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;
using test::ClickOn;
using testing::ElementsAre;
using testing::HasSubstr;

class FilesTest : public test::WindowTest {
 protected:
  FilesTest() {
    for (const fs::path& office : {by_window_.path(), by_command_.path()}) {
      sample::WriteOffice(files_, office, {.seed = 3, .records = 300, .duplicates_percent = 40});
    }
    // As other programs leave their settings: one directory each, which holds everything here.
    const std::string directory_text = common::DisplayPath(by_window_.path());
    for (const char* ini : {"marvek.ini", "Zelta.Ini"}) {
      WriteIni(ini, "[Directories]\r\nDataDir=" + directory_text + "\r\n");
    }
  }
  ~FilesTest() override { window_.reset(); }  // before the engine goes

  storage::PosixFileSystem files_;
  storage::FileEngine engine_{files_};
  test::TemporaryDirectory by_window_;
  test::TemporaryDirectory by_command_;
};

TEST_F(FilesTest, AConversionServesEventsAndStoresWhatTheCommandLineStores) {
  ASSERT_TRUE(Open(engine_));
  int served = 0;
  QTimer heartbeat;
  heartbeat.callOnTimeout([&] { ++served; });
  heartbeat.start(0);
  {
    test::ModalScript script;
    script.Then("frmAsk", ClickOn("cmdNo"))
        .Then("frmAsk", ClickOn("cmdYes"))
        .Then("frmAsk", ClickOn("cmdDontask"));
    Convert();
  }
  EXPECT_GT(served, 0);
  EXPECT_EQ(TextOf("lblmsg"), "Conversion complete. (300 records)");
  window_->close();
  EXPECT_EQ(exit_codes, std::vector<int>{0});
  const std::string office = "'" + by_command_.path().string() + "'";
  test::CommandLine("convert --duplicates ask --source " + office + " --target " + office, "y\nn\ny\na\ny\n");
  const std::string rows = test::RowsOf(by_window_.path());
  EXPECT_NE(rows, "") << "the prompt's connection keeps the file";
  EXPECT_EQ(rows, test::RowsOf(by_command_.path()));
  EXPECT_EQ(test::CommandLine("check '" + by_window_.path().string() + "' >/dev/null || echo damaged"), "");
}

TEST_F(FilesTest, AnIdleWindowLetsOthersReadWriteAndReplaceTheDatabase) {
  const fs::path path = by_window_.path() / "FOLVANE.MDB";
  const fs::path by_command = by_command_.path() / "FOLVANE.MDB";
  const fs::path backup = by_command_.path() / "BACKUP.MDB";
  fs::copy_file(path, backup);
  const auto convert = [&](const fs::path& target, const char* duplicates) {
    return test::CommandLine("convert --yes --json --source '" + by_window_.path().string() + "' --target '" +
                             target.parent_path().string() + "' --duplicates " + duplicates);
  };
  const std::vector<std::function<void()>> meanwhile{
      [] {},
      [&] {  // over the old one
        std::ifstream in(backup, std::ios::binary);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << in.rdbuf();
      },
      [&] {  // in its place
        fs::copy_file(backup, path.string() + ".new");
        fs::rename(path.string() + ".new", path);
      },
      [&] { EXPECT_THAT(convert(path, "target"), HasSubstr("complete. (300 records)")); }};
  ASSERT_TRUE(Open(engine_));
  Get<QRadioButton>("optdup(0)").setChecked(true);
  for (const auto& change : meanwhile) {
    EXPECT_FALSE(fs::exists(by_window_.path() / "FOLVANE.ldb"));
    change();
    fs::copy_file(path, by_command, fs::copy_options::overwrite_existing);
    EXPECT_NE(test::RowsOf(by_window_.path()), "") << "a reader is refused";
    Convert();
    EXPECT_EQ(dialogs.boxes.notices.back(), "Conversion complete. (300 records)");
    EXPECT_THAT(convert(by_command, "source"), HasSubstr("complete. (300 records)"));
    EXPECT_TRUE(test::RowsOf(by_window_.path()) == test::RowsOf(by_command_.path()));
    EXPECT_EQ(test::CommandLine("check '" + by_window_.path().string() + "' >/dev/null || echo damaged"), "");
  }
}

TEST_F(FilesTest, ADatabaseWithoutItsTableLeavesTheOneBeforeAlone) {
  const auto bytes = [&] {
    std::ifstream in(by_window_.path() / "FOLVANE.MDB", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  ASSERT_TRUE(Open(engine_));
  const std::string before = bytes();
  const fs::path unusable = by_command_.path() / "FOLVANE.MDB";
  fs::remove(unusable);
  jet::CreateDatabase(files_, unusable, {});
  Get<QLineEdit>("txtCompsPath").setText(ui::ToQt(common::DisplayPath(by_command_.path())));
  Convert();
  EXPECT_THAT(dialogs.boxes.notices, ElementsAre(HasSubstr("is missing or is invalid.")));
  EXPECT_THAT(dialogs.failures,
              ElementsAre(HasSubstr("Nothing was converted.  The database has no table 'COMPS'")));
  EXPECT_EQ(TextOf("lblmsg") + TextOf("lblRecord"), "Nothing was converted");
  EXPECT_EQ(bytes(), before);
}

TEST_F(FilesTest, ADatabaseThatCannotBeUsedEndsTheStart) {
  const fs::path path = by_window_.path() / "FOLVANE.MDB";
  fs::permissions(path, fs::perms::owner_read);
  EXPECT_FALSE(Open(engine_));
  ASSERT_EQ(dialogs.boxes.notices.size(), 1u);
  EXPECT_TRUE(dialogs.boxes.notices[0].starts_with("The comparables database is locked"));
  fs::remove(path);
  std::ofstream(path) << "no database";
  EXPECT_FALSE(Open(engine_));
  ASSERT_EQ(dialogs.failures.size(), 1u);
  EXPECT_NE(dialogs.failures[0].find("FOLVANE.MDB"), std::string::npos) << dialogs.failures[0];
}

}  // namespace
}  // namespace corvix
