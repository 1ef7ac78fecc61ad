// The window on real files: what it stores is what the same run without a window stores, the files are sound
// and closed afterwards, and a database that cannot be used ends the start.
#include <QRadioButton>

#include "common/host_paths.h"
#include "core/json_form.h"
#include "run/conversion.h"
#include "sample/sample_writer.h"
#include "storage/engine/file_engine.h"
#include "support/scripted_host.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;
using test::ClickOn;

class FilesTest : public test::WindowTest {
 protected:
  FilesTest() {
    for (const fs::path& office : {by_window_.path(), by_host_.path()}) {
      sample::WriteOffice(files_, office, {.seed = 3, .records = 300, .duplicates_percent = 40});
    }
    // As other programs leave their settings: one directory each, which holds everything here.
    const std::string directory_text = common::DisplayPath(by_window_.path());
    for (const char* ini : {"marvek.ini", "Zelta.Ini"}) {
      WriteIni(ini, "[Directories]\r\nDataDir=" + directory_text + "\r\n");
    }
  }
  ~FilesTest() override { window_.reset(); }  // before the engine goes

  /// The same run without a window.
  void ConvertByHost(std::int16_t policy, std::deque<std::int16_t> answers) {
    run::Session session;
    session.access.engine = &engine_;
    session.values.DupMode = policy;
    session.values.ConvertPhotosFlag = 1;
    test::ScriptedHost host;
    host.prompt_results = std::move(answers);
    const std::string text = common::DisplayPath(by_host_.path());
    host.boxes = {text, "COMPS.DBF", text, "FOLVANE.MDB"};
    run::cmdnewconvert_Click(session, host);
    session.access.TargetDb->Close();
    EXPECT_EQ(dialogs.boxes.notices, host.dialogs.notices);
  }

  static std::string Rows(storage::FileEngine& engine, const fs::path& office) {
    const auto database = engine.OpenDatabase(common::DisplayPath(office / "FOLVANE.MDB"));
    const auto records = database->OpenTable("COMPS");
    std::string rows;
    for (records->MoveFirst(); !records->PastEnd(); records->MoveNext())
      rows += core::RowAsJson(*records) + "\n";
    return rows;
  }

  storage::PosixFileSystem files_;
  storage::FileEngine engine_{files_};
  test::TemporaryDirectory by_window_;
  test::TemporaryDirectory by_host_;
};

TEST_F(FilesTest, AConversionServesEventsAndStoresWhatTheRunStores) {
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
  window_->close();
  EXPECT_EQ(exit_codes, std::vector<int>{0});
  const std::string check = "'" CORVIX_CLI "' check '" + by_window_.path().string() + "' >/dev/null 2>&1";
  EXPECT_EQ(std::system(check.c_str()), 0) << "damaged, or kept open by the prompt's connection";
  ConvertByHost(run::kAskEachTime, {run::kAskNo, run::kAskYes, run::kAskOverwriteAll});
  EXPECT_EQ(Rows(engine_, by_window_.path()), Rows(engine_, by_host_.path()));
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
