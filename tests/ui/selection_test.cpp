// Choosing source and target with the file dialog.
#include "ui/selection.h"

#include <QFileDialog>
#include <QLineEdit>
#include <QRadioButton>
#include <gmock/gmock.h>

#include "common/error.h"
#include "common/host_paths.h"
#include "ui/file_dialog.h"
#include "ui/scripted_window.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class SelectionTest : public test::MemoryWindowTest {
 protected:
  std::string Box(std::string_view name) { return ui::FromQt(Get<QLineEdit>(name).text()); }
};

TEST_F(SelectionTest, SourceTakesTheDirectoryTargetTheNameToo) {
  ASSERT_TRUE(Open());
  test::TemporaryDirectory there;
  Get<QLineEdit>("txtCompPath").setText(ui::ToQt(common::DisplayPath(there.path())));
  std::string expected = common::UpperCase(common::DisplayPath(there.path()));
  expected += "\\";
  std::ofstream(there.path() / "photo.dbf") << "x";
  std::ofstream(there.path() / "Folvane.mdb") << "x";
  chooser.chosen = there.path() / "photo.dbf";
  test::Click(*window_, "cmdSource");
  EXPECT_EQ(chooser.title, "Select 'Comps.dbf','Photo.dbf', or 'Central.Dbf'-then select 'Open'");
  EXPECT_EQ(chooser.filter, "Data Files (*.dbf)|*.dbf");
  EXPECT_EQ(chooser.directory, there.path());
  chooser.chosen = there.path() / "Folvane.mdb";
  test::Click(*window_, "cmdTarget");
  EXPECT_EQ(chooser.title, "Select 'Folvane.mdb' and then select 'Open'");
  EXPECT_EQ(chooser.filter, "Data Files (*.mdb)|*.mdb");
  EXPECT_FALSE(chooser.directory) << "C:\\DST does not exist";
  EXPECT_EQ(Box("txtCompPath") + " " + Box("txtcompfilename"), expected + " COMPS.DBF");
  EXPECT_EQ(Box("txtCompsPath") + " " + Box("txtcompsfilename"), expected + " FOLVANE.MDB");
  EXPECT_TRUE(dialogs.boxes.questions.empty()) << "the boxes lead to the chosen files";
}

TEST_F(SelectionTest, WhereTheBoxesLeadElsewhereTheChosenDirectoryIsOffered) {
  ASSERT_TRUE(Open());
  test::TemporaryDirectory root;
  const std::string shown = common::DisplayPath(root.path());
  for (const auto& [folder, file, other] :  // other: exists too, in upper case
       {std::array<std::string, 3>{"john.smith", "FOLVANE.MDB", ""},
        {"data", "FOLVANE.MDB", "DATA"},
        {"twins", "folvane.mdb", "twins/FOLVANE.MDB"}}) {
    fs::create_directories(root.path() / folder);
    std::ofstream(root.path() / folder / file) << "x";
    if (other == "DATA") fs::create_directory(root.path() / other);
    if (other.ends_with("MDB")) std::ofstream(root.path() / other) << "y";
    chooser.chosen = root.path() / folder / file;
    const std::string chosen = shown + "\\" + folder + "\\";
    for (const bool wanted : {false, true}) {
      dialogs.boxes.questions.clear();
      dialogs.boxes.yes_no = {wanted, wanted};
      if (other != "twins/FOLVANE.MDB") {  // the source takes the directory only
        test::Click(*window_, "cmdSource");
        EXPECT_EQ(Box("txtCompPath") == chosen, wanted);
      }
      test::Click(*window_, "cmdTarget");
      EXPECT_EQ(Box("txtCompsPath") + Box("txtcompsfilename") == chosen + file, wanted);
      ASSERT_FALSE(dialogs.boxes.questions.empty()) << folder;
      EXPECT_THAT(dialogs.boxes.questions.back(), HasSubstr("chosen file '" + chosen + file + "'"));
    }
  }
}

TEST_F(SelectionTest, ARunThatWouldWriteAnotherFileThanTheBoxesNameAsksFirst) {
  AddDuplicates(1);
  ASSERT_TRUE(Open());
  Get<QRadioButton>("optdup(0)").setChecked(true);
  for (const auto& [box, answers] : {std::pair{"OLD.DIR\\FOLVANE.MDB", std::deque{false}},
                                     {"OTHER.MDB", {false}},
                                     {"folvane.mdb", {false}},  // to the question after a backup
                                     {"OTHER.MDB", {true}}}) {
    EXPECT_EQ(Conditions(), "OLD") << box;
    Get<QLineEdit>("txtcompsfilename").setText(box);
    dialogs.boxes.questions.clear();
    dialogs.boxes.yes_no = answers;
    Convert();
    EXPECT_EQ(dialogs.boxes.questions[0].find("written is 'C:\\DST\\FOLVANE.MDB', not") == std::string::npos,
              std::string_view(box) == "folvane.mdb");
  }
  EXPECT_EQ(Conditions(), "NEW");
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
