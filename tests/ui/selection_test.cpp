// Choosing source and target with the file dialog.
#include "ui/selection.h"

#include <QFileDialog>
#include <QLineEdit>

#include "common/error.h"
#include "common/host_paths.h"
#include "ui/file_dialog.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;

class SelectionTest : public test::MemoryWindowTest {
 protected:
  std::string Box(std::string_view name) { return ui::FromQt(Get<QLineEdit>(name).text()); }
};

TEST_F(SelectionTest, SourceTakesTheDirectoryTargetTheNameToo) {
  ASSERT_TRUE(Open());
  test::TemporaryDirectory there;
  Get<QLineEdit>("txtCompPath").setText(ui::ToQt(common::DisplayPath(there.path())));
  chooser.chosen = "/home/user/data/photo.dbf";
  test::Click(*window_, "cmdSource");
  EXPECT_EQ(chooser.title, "Select 'Comps.dbf','Photo.dbf', or 'Central.Dbf'-then select 'Open'");
  EXPECT_EQ(chooser.filter, "Data Files (*.dbf)|*.dbf");
  EXPECT_EQ(chooser.directory, there.path());
  chooser.chosen = "/home/user/folvane.mdb";
  test::Click(*window_, "cmdTarget");
  EXPECT_EQ(chooser.title, "Select 'Folvane.mdb' and then select 'Open'");
  EXPECT_EQ(chooser.filter, "Data Files (*.mdb)|*.mdb");
  EXPECT_FALSE(chooser.directory) << "C:\\DST does not exist";
  EXPECT_EQ(Box("txtCompPath") + " " + Box("txtcompfilename"), "\\HOME\\USER\\DATA\\ COMPS.DBF");
  EXPECT_EQ(Box("txtCompsPath") + " " + Box("txtcompsfilename"), "\\HOME\\USER\\ FOLVANE.MDB");
}

TEST_F(SelectionTest, CancelAndErrorsKeepTheBoxes) {
  ASSERT_TRUE(Open());
  for (const bool fails : {false, true}) {
    if (fails) chooser.on_open = [] { throw common::Error(common::kDeviceUnavailable); };
    test::Click(*window_, "cmdSource");
    test::Click(*window_, "cmdTarget");
  }
  EXPECT_EQ(Box("txtCompPath"), "C:\\SRC\\");
  EXPECT_EQ(Box("txtCompsPath"), "C:\\DST\\");
  EXPECT_EQ(Box("txtcompsfilename"), "FOLVANE.MDB");
  EXPECT_TRUE(dialogs.failures.empty());
  EXPECT_TRUE(dialogs.boxes.notices.empty());
}

TEST(SplitChosenFile, CutsAtTheFirstDotAndJoinsAgain) {
  for (const auto& [file, directory, name] : {std::array{"/data/target", "\\DATA\\", "TARGET."},
                                              {"C:\\OLD.DIR\\FOLVANE.MDB", "C:\\", "OLD.DIR\\FOLVANE.MDB"},
                                              {"/old.dir/comps.dbf", "\\", "OLD.DIR\\COMPS.DBF"}}) {
    const ui::Selection selection = ui::SplitChosenFile(file);
    EXPECT_EQ(selection.directory, directory);
    EXPECT_EQ(selection.file_name, name);
  }
}

TEST(FileDialog, ShowsFilesOfEitherCaseAndReturnsTheChosenOne) {
  test::TemporaryDirectory there;
  std::ofstream(there.path() / "COMPS.DBF") << "x";
  ui::FileDialog chooser;
  test::ModalScript script;
  script.Then("cmdialog1", [&](QWidget& widget) {
    auto& dialog = dynamic_cast<QFileDialog&>(widget);
    EXPECT_EQ(dialog.windowTitle(), "Title");
    EXPECT_EQ(dialog.nameFilters(), QStringList{"Data Files (*.dbf)"});
    EXPECT_EQ(dialog.directory().absolutePath().toStdString(), there.path().string());
    dialog.selectFile("COMPS.DBF");
    dialog.findChild<QLineEdit*>("fileNameEdit")->setText("COMPS.DBF");
    QMetaObject::invokeMethod(&dialog, "accept");
  });
  EXPECT_EQ(chooser.Open({"Title", "Data Files (*.dbf)|*.dbf", there.path()}), there.path() / "COMPS.DBF");
  script.Then("cmdialog1", [&](QWidget& dialog) {
    EXPECT_EQ(dynamic_cast<QFileDialog&>(dialog).directory().absolutePath().toStdString(),
              there.path().string())
        << "forgot where it was";
    dynamic_cast<QFileDialog&>(dialog).reject();
  });
  EXPECT_EQ(chooser.Open({"Title", "Data Files (*.dbf)|*.dbf", {}}), std::nullopt);
}

}  // namespace
}  // namespace corvix
