// The look at all source records before a run.
#include "run/source_review.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/memory_sources.h"

namespace corvix::run {
namespace {

using core::Null;
using testing::ElementsAre;

class SourceReviewTest : public testing::Test {
 protected:
  /// "concern TABLE.FIELD: values[!] first record key".
  std::vector<std::string> Warnings(std::int16_t dup_mode = kUseSource) {
    engine.AddFoxProTable("C:\\OLD", "CENTRAL", tables.central);
    engine.AddFoxProTable("C:\\OLD", "COMPS", tables.comps);
    engine.AddFoxProTable("C:\\OLD", "PHOTO", tables.photo);
    engine.AddDatabase("C:\\NEW\\FOLVANE.MDB").tables["COMPS"] = tables.target;
    review = ReviewSources(engine, {"C:\\OLD", "COMPS.DBF", "C:\\NEW", "FOLVANE.MDB"},
                           {.DupMode = dup_mode, .ConvertPhotosFlag = 1});
    std::vector<std::string> lines;
    for (const Warning& w : review.warnings) {
      lines.push_back(fmt::format("{} {}.{}: {}{} {} {}", ConcernName(w.concern), w.table, w.field, w.values,
                                  w.ends_run ? "!" : "", w.record, w.key));
    }
    return lines;
  }
  void Central(const char* key, core::Value address = Null{}, core::Value lot = 1.0) {
    tables.central->AddRow({std::string(key), std::move(address), std::move(lot)});
  }
  void Comps(const char* key, core::Value condition = Null{}, core::Value sale_date = Null{}) {
    tables.comps->AddRow({std::string(key), std::move(condition), std::move(sale_date), 900.0});
  }

  test::MemoryTables tables;
  test::MemoryEngine engine;
  Review review;
};

TEST_F(SourceReviewTest, Keys) {
  tables.target = test::KeyedTable({test::TextField("CENTRALKEY", 6), test::TextField("ADDRESS", 10),
                                    test::TypedField("LOTSIZE", core::FieldType::Double)},
                                   test::KeyOrder::AccessText);
  tables.comps = test::KeyedTable({test::TextField("CENTRALKEY", 10)}, test::KeyOrder::FoxProTag);
  tables.central->AddRow({Null{}, Null{}, Null{}});
  for (const char* key : {"A1", "A1", "a1", "LONG KEY 1", "LONG KEY 2"}) Central(key);
  Comps("A1");
  Comps("NOBODY");
  EXPECT_THAT(Warnings(),
              ElementsAre("blank_key CENTRAL.CENTRALKEY: 1 1 ", "long_key CENTRAL.CENTRALKEY: 2 4 LONG KEY 1",
                          "repeated_key CENTRAL.CENTRALKEY: 1 3 A1", "case_key CENTRAL.CENTRALKEY: 1 6 a1",
                          "cut_key CENTRAL.CENTRALKEY: 1 5 LONG KEY 2"));
  EXPECT_EQ(review.comps_left, 1);
}

TEST_F(SourceReviewTest, Values_CountWhereTheyGoThroughTheStoreRules) {
  tables.target->AddRow({std::string("OLD"), std::string("HAS"), 9.0});
  tables.target->AddRow({std::string("OLD2"), Null{}, Null{}});
  Central("NEW", std::string("ELEVEN CHARS"));
  Comps("NEW", std::string("TOO LONG A TEXT"), std::string("unknown"));
  Central("OLD", std::string("ELEVEN CHARS"));
  Comps("OLD", std::string("TOO LONG A TEXT"), std::string("unknown"));
  Central("OLD2", std::string("ELEVEN CHARS"));
  Comps("OLD2", std::string("FINE"));
  EXPECT_THAT(Warnings(kUseSource),
              ElementsAre("fill_refused CENTRAL.ADDRESS: 1! 3 OLD2", "text_cut CENTRAL.ADDRESS: 1 1 NEW",
                          "text_cut COMPS.CONDITION: 2 1 NEW", "sentinel_date COMPS.SALEDATE: 2 1 NEW"));
  EXPECT_THAT(Warnings(kKeepTarget),
              ElementsAre("text_cut CENTRAL.ADDRESS: 1 1 NEW", "text_cut COMPS.CONDITION: 1 1 NEW",
                          "sentinel_date COMPS.SALEDATE: 1 1 NEW"));
}

TEST_F(SourceReviewTest, Fields_AreToldAndWhichOfThemEndTheRun) {
  tables.comps =
      test::KeyedTable({test::TextField("CENTRALKEY", 10), test::TextField("PHOTOS", 8),
                        test::TextField("OWNER", 8), test::TextField("AGENT", 8), test::TextField("GLA", 8)},
                       test::KeyOrder::FoxProTag);
  Central("A1");
  Central("A2");
  tables.comps->AddRow(
      {std::string("A1"), std::string("x"), Null{}, std::string("SMITH"), std::string("N/A")});
  tables.comps->AddRow({std::string("A2"), Null{}, Null{}, std::string("LEE"), std::string("7")});
  EXPECT_THAT(Warnings(),
              ElementsAre("no_target_field COMPS.AGENT: 2! 1 A1", "refused COMPS.GLA: 1! 1 A1",
                          "no_target_field COMPS.OWNER: 0 0 ", "never_stored COMPS.PHOTOS: 1 1 A1"));
  EXPECT_EQ(review.warnings[1].why, "'N/A' is not a number");
}

TEST_F(SourceReviewTest, PhotosAndRequiredFields_AreToldBeforeTheyEndTheRun) {
  core::Field required = test::TextField("AGENT", 8), given = test::TextField("ADDRESS", 10),
              defaulted = test::TextField("STATE", 2);
  required.required = given.required = defaulted.required = true;
  tables.target =
      test::KeyedTable({test::TextField("CENTRALKEY", 10), given, required, defaulted,
                        test::TextField("PHOTOS", 20), test::TypedField("LOTSIZE", core::FieldType::Double)},
                       test::KeyOrder::AccessText);
  tables.target->defaults = {Null{}, Null{}, Null{}, std::string("CA")};
  tables.comps = test::KeyedTable({test::TextField("CENTRALKEY", 10)}, test::KeyOrder::FoxProTag);
  tables.target->AddRow({std::string("A1"), std::string("HAS"), std::string("HAS"), std::string("CA"),
                         std::string("REAR|P1\r\n")});
  Central("A1");
  Central("B2", std::string("GIVEN"));
  for (const char* view : {"rear", "A|B", "FRONT VIEW"})
    tables.photo->AddRow({std::string("A1"), std::string("P2"), std::string(view)});
  tables.central->unreadable = {{{1, "LOTSIZE"}, "1x"}};
  tables.photo->rebuilt_index = "an entry is missing";
  EXPECT_THAT(
      Warnings(kKeepTarget),
      ElementsAre("no_target_field PHOTO.FRONT: 1! 1 A1", "required CENTRAL.AGENT: 1! 2 B2",
                  "photo_list_too_long PHOTO.PHOTOS: 1! 1 A1", "view_added_again PHOTO.VIEW: 1 1 A1"));
  EXPECT_EQ(review.warnings.at(0).source_record, 3);
  EXPECT_EQ(review.unreadable.at(0).text, "1x");
  EXPECT_EQ(review.rebuilt.at(0).table, "PHOTO");
}

TEST_F(SourceReviewTest, UndecodableCharacters_AreFoundInEveryTable) {
  Central("A1", std::string("CAF\xC3\x89"));                                      // a letter
  Central("A2", std::string("\xC2\x81"));                                         // U+0081
  Comps("A2", std::string("\xEF\xBF\xBD"));                                       // U+FFFD
  tables.photo->AddRow({std::string("P"), std::string("\xEF\x9E\x8D"), Null{}});  // a private character
  EXPECT_THAT(Warnings(),
              ElementsAre("undecodable CENTRAL.ADDRESS: 1 2 A2", "undecodable COMPS.CONDITION: 1 0 A2",
                          "undecodable PHOTO.PICTID: 1 0 P"));
}

TEST_F(SourceReviewTest, EmptyTables_AreNoTrouble) { EXPECT_THAT(Warnings(), testing::IsEmpty()); }

}  // namespace
}  // namespace corvix::run
