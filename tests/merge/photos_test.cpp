#include "merge/photos.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "support/memory_sources.h"

namespace corvix::merge {
namespace {

using core::Null;
using Texts = std::vector<std::string>;

class PhotosTest : public testing::Test, protected test::MemorySources {
 protected:
  /// A target row with the list, photo records of key A1, one merge; gives the list that is stored.
  std::string Merge(const core::Value& photos,
                    const std::vector<std::pair<std::string, std::string>>& records,
                    const std::string& photo_key = "A1") {
    target->AddRow({std::string("a1"), Null{}, Null{}, Null{}, Null{}, Null{}, Null{}, photos, false});
    for (const auto& [view, id] : records) photo->AddRow({photo_key, id, view});
    photo->AddRow({std::string("A2"), std::string("Z"), std::string("OTHER")});
    Connect();
    std::string key = "A1";
    lines_ = MergePhoto(sources, key);
    return target->Text(0, "PHOTOS");
  }
  std::string Front() { return target->Text(0, "FRONT"); }
  int lines_ = 0;
};

TEST_F(PhotosTest, ViewsThatTheRowLacksAreAdded) {
  EXPECT_EQ(Merge(std::string("FRONT VIEW|P1\r\n"), {{"FRONT VIEW", "P9"}, {"REAR", "P2"}}),
            "FRONT VIEW|P1\r\nREAR|P2\r\n");
  EXPECT_EQ(Front(), "False") << "the front view was listed already";
  EXPECT_EQ(lines_, 1);
}

TEST_F(PhotosTest, ViewsAreEqualWithoutCaseAndOuterBlanksButStoredAsRead) {
  EXPECT_EQ(Merge(Null{}, {{" Side", "1"}, {"SIDE ", "2"}, {"SI DE", "3"}}), " Side|1\r\nSI DE|3\r\n");
}

TEST_F(PhotosTest, FrontIsSetByTheExactViewOnly) {
  EXPECT_EQ(Merge(Null{}, {{"Front View", "1"}, {"FRONT VIEW", "2"}}), "Front View|1\r\n");
  EXPECT_EQ(Front(), "False");
}

TEST_F(PhotosTest, FrontIsSetWhenAFrontViewIsAdded) {
  Merge(std::string(" "), {{"FRONT VIEW", "1"}});
  EXPECT_EQ(Front(), "True");
}

TEST_F(PhotosTest, NothingTakenOver_EndsAsOneBlank) {
  EXPECT_EQ(Merge(std::string(), {{"REAR", "1"}}, "a1"), " ") << "another letter case ends the walk at once";
  EXPECT_EQ(lines_, 0);
}

TEST_F(PhotosTest, LinesWithoutEndAndBehindAnEmptyLineAreLost) {
  EXPECT_EQ(Merge(std::string("A|1\r\nB|2"), {{"C", "3"}}), "A|1\r\nC|3\r\n");
  Texts views, images;
  target->AddRow({std::string("b1"), Null{}, Null{}, Null{}, Null{}, Null{}, Null{},
                  std::string("X|1\r\nno bar\r\nV|a|b\r\n\r\nLOST|9\r\n")});
  std::string key = "B1";
  LoadPhotoListsByKey(sources.DATFOLVANE, key, views, images);
  EXPECT_EQ(views, (Texts{"X", "", "V"}));
  EXPECT_EQ(images, (Texts{"1", "", "a|b"}));
  key = "NOBODY";
  LoadPhotoListsByKey(sources.DATFOLVANE, key, views, images);
  EXPECT_TRUE(views.empty() && images.empty());
  EXPECT_EQ(key, "NOBODY    ") << "the caller's key is fitted";
}

TEST_F(PhotosTest, AFailureWhileSavingKeepsTheFrontFlag) {
  target->before = test::FailNth(test::Operation::Store, 2, common::kFieldTooSmall);
  EXPECT_THROW(Merge(Null{}, {{"FRONT VIEW", "1"}}), common::Error);
  EXPECT_EQ(Front(), "True");
  EXPECT_EQ(target->Text(0, "PHOTOS"), "");
}

}  // namespace
}  // namespace corvix::merge
