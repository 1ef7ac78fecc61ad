// The driver over tables in memory: decisions, messages, labels, bar, interruption, and the error table.
#include "run/conversion.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/error.h"
#include "run/duplicate_prompt.h"
#include "support/errors.h"
#include "support/memory_sources.h"
#include "support/scripted_host.h"

namespace corvix::run {
namespace {

using core::Null;
using test::FailNth;
using test::Operation;
using testing::ElementsAre;
using testing::StartsWith;

class ConversionTest : public testing::Test {
 protected:
  ConversionTest() {
    session.access.engine = &engine;
    session.values.ConvertPhotosFlag = 1;
    host.boxes = {"C:\\OLD", "COMPS.DBF", "C:\\NEW\\", "FOLVANE.MDB"};
  }

  RunEnd Run() {
    engine.AddFoxProTable("C:\\OLD", "CENTRAL", tables.central);
    engine.AddFoxProTable("C:\\OLD", "COMPS", tables.comps);
    engine.AddFoxProTable("C:\\OLD", "PHOTO", tables.photo);
    engine.AddDatabase("C:\\NEW\\FOLVANE.MDB").tables["COMPS"] = tables.target;
    return cmdnewconvert_Click(session, host);
  }

  /// A central and a comps record for each key.
  void AddSource(std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
      tables.central->AddRow({std::string(key), std::string("NEW ADDR"), 1.5});
      tables.comps->AddRow({std::string(key), std::string("GOOD"), std::string("3/5/02"), 900.0});
    }
  }
  void AddTarget(std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
      tables.target->AddRow({std::string(key), Null{}, 9.0, std::string("OLD")});
    }
  }
  std::vector<std::string> Column(std::string_view field) {
    std::vector<std::string> texts;
    for (std::size_t row = 0; row < tables.target->Rows().size(); ++row) {
      texts.push_back(tables.target->Text(row, field));
    }
    return texts;
  }
  std::vector<std::string>& notices() { return host.dialogs.notices; }

  test::MemoryTables tables;
  test::MemoryEngine engine;
  test::ScriptedHost host;
  Session session;
};

TEST_F(ConversionTest, Declined_TouchesNothing) {
  host.dialogs.yes_no = {false};
  engine.before_open = [](std::string_view) { FAIL() << "a database was opened"; };
  AddSource({"A1"});
  EXPECT_EQ(Run(), RunEnd::Declined);
  EXPECT_THAT(host.statuses, ElementsAre("Press Esc to interrupt the conversion"));
  EXPECT_EQ(
      host.dialogs.questions.at(0),
      "You should have a good backup of your data BEFORE using this option.  If you have a many records "
      "(thousands) to merge and convert this task may take a long time.  The files are 'CENTRAL.DBF', "
      "'CENTRAL.CDX', 'COMPS.DBF', 'COMPS.CDX' AND 'COMP.FPT' in the subdirectory called 'C:\\OLD\\'. Do you "
      "wish to continue?");
  EXPECT_TRUE(host.pointer.empty());
}

TEST_F(ConversionTest, ThePromptShowsTheRecordInHand_WhateverPathAndKeyLookLike) {
  tables.central->AddRow({std::string(" k1"), std::string("IN HAND")});
  tables.central->AddRow({std::string("K1"), std::string("SECOND")});
  tables.comps->AddRow({std::string("K1"), std::string("GOOD")});
  AddTarget({"K1"});
  session.values.DupMode = kAskEachTime;
  std::vector<std::string> shown;
  host.on_prompt = [&] {
    const PromptContents contents(session);
    shown.push_back(contents.Text(PromptRows()[0].source[0]) + contents.Text(PromptRows()[8].source[0]));
  };
  for (const char* directory : {".", "..\\old", "C:\\john.smith\\data\\", "C:\\OLD"}) {
    engine.AddFoxProTable(directory, "CENTRAL", tables.central);
    engine.AddFoxProTable(directory, "COMPS", tables.comps);
    engine.AddFoxProTable(directory, "PHOTO", tables.photo);
    host.boxes.txtCompPath = directory;
    shown.clear();
    EXPECT_EQ(Run(), RunEnd::Completed);
    EXPECT_THAT(shown, ElementsAre("IN HAND", "SECOND")) << directory;
  }
}

TEST_F(ConversionTest, NewKeys_GetCentralCompsAndPhotos) {
  AddSource({"b2", "A1"});
  tables.photo->AddRow({std::string("A1"), std::string("P1"), std::string("FRONT VIEW")});
  AddTarget({"OTHER"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(Column("CENTRALKEY"), ElementsAre("OTHER", "A1        ", "b2        "));
  EXPECT_THAT(Column("Address"), ElementsAre("", "NEW ADDR  ", "NEW ADDR  "));
  EXPECT_THAT(Column("CONDITION"), ElementsAre("OLD", "GOOD    ", ""))
      << "the comps record of a lower-case key is not found under upper case";
  EXPECT_THAT(Column("SaleDate"), ElementsAre("", "3/5/2002", ""));
  EXPECT_EQ(Column("PHOTOS").at(1), "FRONT VIEW|P1\r\n");
  EXPECT_THAT(notices(), ElementsAre("Conversion complete. (2 records)"));
  EXPECT_EQ(host.statuses.back(), "Conversion complete. (2 records)");
  EXPECT_EQ(host.AddressText(), "B2");
  EXPECT_THAT(host.positions, ElementsAre(49, 99, 99, 99));
  EXPECT_THAT(host.pointer, ElementsAre(true, false));
  EXPECT_EQ(session.paths.CompsFile, "C:\\NEW\\FOLVANE.MDB");
}

TEST_F(ConversionTest, EmptyTarget_TakesTheFirstRowAsCurrent) {
  AddSource({"A1", "A2"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(Column("CONDITION"), ElementsAre("GOOD    ", "GOOD    "));
}

TEST_F(ConversionTest, Duplicates_AreOverwrittenOrKeptByThePolicy) {
  for (const std::int16_t policy : {kUseSource, kKeepTarget}) {
    tables = {};
    AddSource({"A1"});
    AddTarget({"a1"});
    tables.photo->AddRow({std::string("A1"), std::string("P1"), std::string("REAR")});
    session.values.DupMode = policy;
    EXPECT_EQ(Run(), RunEnd::Completed);
    const bool overwritten = policy == kUseSource;
    EXPECT_EQ(Column("CONDITION").at(0), overwritten ? "GOOD    " : "OLD");
    EXPECT_EQ(Column("Address").at(0), overwritten ? "NEW ADDR" : "") << "filled plainly, not padded";
    EXPECT_EQ(Column("LOTSIZE").at(0), "9") << "a filled field is not replaced from the central record";
    EXPECT_EQ(Column("PHOTOS").at(0), "REAR|P1\r\n") << "whatever the policy";
    EXPECT_EQ(host.events.back().outcome, overwritten ? Outcome::Overwritten : Outcome::Kept);
  }
}

TEST_F(ConversionTest, AKeyThatTheCompsTableLacks_GetsPhotosOnly) {
  tables.central->AddRow({std::string("A1"), std::string("NEW ADDR"), 1.5});
  AddTarget({"A1"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_EQ(Column("Address").at(0), "");
}

TEST_F(ConversionTest, BlankKeys_AreCountedAndNothingElse) {
  tables.central->AddRow({Null{}, std::string("NOBODY"), 1.0});
  AddSource({"A1"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_EQ(tables.target->Rows().size(), 1u);
  EXPECT_EQ(host.events.at(0).outcome, Outcome::Blank);
  EXPECT_THAT(host.positions, ElementsAre(99, 99, 99));
  EXPECT_THAT(notices(), ElementsAre("Conversion complete. (2 records)"));
}

TEST_F(ConversionTest, Ask_ActsOnEachAnswerUntilItIsNotAskedAgain) {
  AddSource({"A1", "A2", "A3", "A4"});
  AddTarget({"A1", "A2", "A3", "A4"});
  session.values.DupMode = kAskEachTime;
  host.prompt_results = {kAskNo, kAskYes, kAskOverwriteAll};
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(host.asked, ElementsAre("A1", "A2", "A3"));
  EXPECT_THAT(Column("CONDITION"), ElementsAre("OLD", "GOOD    ", "GOOD    ", "GOOD    "));
}

TEST_F(ConversionTest, Stop_EndsAtTheTopOfTheNextRecord) {
  AddSource({"A1", "A2"});
  AddTarget({"A1", "A2"});
  session.values.DupMode = kAskEachTime;
  host.prompt_results = {kAskStop};
  EXPECT_EQ(Run(), RunEnd::Stopped);
  EXPECT_THAT(notices(), ElementsAre("Conversion Stopped"));
  EXPECT_EQ(host.events.size(), 1u);
  EXPECT_THAT(host.pointer, ElementsAre(true, false));
}

TEST_F(ConversionTest, Stop_OnTheLastRecordEndsSilently) {
  AddSource({"A1"});
  AddTarget({"A1"});
  session.values.DupMode = kAskEachTime;
  host.prompt_results = {kAskStop};
  EXPECT_EQ(Run(), RunEnd::Stopped);
  EXPECT_TRUE(notices().empty());
}

TEST_F(ConversionTest, Escape_ContinuesOrCancels) {
  AddSource({"A1", "A2", "A3"});
  host.escapes = {{1, kEscapeContinue}, {2, kEscapeStop}};
  EXPECT_EQ(Run(), RunEnd::Cancelled);
  EXPECT_EQ(host.statuses.back(), "Conversion Cancelled");
  EXPECT_EQ(host.positions.back(), 99);
  EXPECT_THAT(notices(), ElementsAre("Conversion complete. (2 records)"));
  EXPECT_EQ(tables.target->Rows().size(), 2u);
  EXPECT_EQ(session.values.EscapeState, kEscapeNone);
}

TEST_F(ConversionTest, EmptyCentralTable_SaysSoAndCompletesWithNothing) {
  AddTarget({"A1"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(notices(),
              ElementsAre("At least one of the databases is empty.  This may not be a problem if you "
                          "don't own all applicable programs (Photos and Comps).",
                          "Conversion complete. ( records)"));
  EXPECT_EQ(host.statuses.back(), "Conversion complete. (0 records)");
  EXPECT_TRUE(host.positions.empty());
}

TEST_F(ConversionTest, MissingSourceTable_EndsTheProgramNamingTheFirst) {
  engine.AddFoxProTable("C:\\OLD", "CENTRAL", tables.central);
  EXPECT_THROW(cmdnewconvert_Click(session, host), common::ProgramEnd);
  EXPECT_THAT(notices(),
              ElementsAre("The file C:\\OLD\\PHOTO.DBF was not found.  Please correct and try again."));
}

TEST_F(ConversionTest, AnUnusableSourceTable_WarnsAndTheRunGoesOnWithoutIt) {
  tables.photo = nullptr;
  AddSource({"A1"});
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(
      notices(),
      ElementsAre(
          "Warning.  The file 'C:\\OLD\\PHOTO.DBF' was not found or may be in another directory.  You "
          "also may not have this type of data.",
          "Conversion complete. (1 records)"));
  EXPECT_EQ(tables.target->Rows().size(), 1u);
}

TEST_F(ConversionTest, ARunThatCannotBegin_TouchesNeitherItsTargetNorTheOneBefore) {
  using common::DeviceAnswer;
  test::MemoryDatabaseFile& second = engine.AddDatabase("C:\\NEXT\\FOLVANE.MDB");
  const auto fail_device = [](test::MemoryTable& table, Operation operation) {
    table.before = FailNth(operation, 1, common::kDeviceIo);
  };
  struct Case {
    const char* what;
    std::function<void()> spoil;
    common::ErrorNumber number = common::kDeviceIo;
  };
  const std::vector<Case> cases{
      {"no table", [&] { second.tables.clear(); }, common::kObjectNotFound},
      {"no index",
       [&] {
         second.tables["COMPS"] =
             std::make_shared<test::MemoryTable>(std::vector{test::TextField("CENTRALKEY", 9)});
       },
       common::kNotAnIndex},
      {"unsound", [&] { second.fault = "a page is used twice"; }, common::kDamagedDatabase},
      {"target fails",
       [&] { engine.before_open = [](std::string_view) { throw common::Error(common::kDeviceIo); }; }},
      {"central fails", [&] { fail_device(*tables.central, Operation::OpenTable); }},
      {"comps fails", [&] { fail_device(*tables.comps, Operation::SelectIndex); }},
      {"the order fails", [&] { fail_device(*tables.central, Operation::MoveFirst); }},
  };
  for (const Case& c : cases) {
    for (const DeviceAnswer answer : {DeviceAnswer::Ignore, DeviceAnswer::Abort}) {
      SCOPED_TRACE(c.what);
      tables = {};
      AddSource({"A1"});
      host.boxes.txtCompsPath = "C:\\NEW";
      EXPECT_EQ(Run(), RunEnd::Completed);
      AddSource({"A2"});
      const auto next = test::MemoryTables().target;
      second = {.tables = {{"COMPS", next}}};
      host.boxes.txtCompsPath = "C:\\NEXT";
      host.dialogs.device_answers = {answer};
      host.events.clear();
      c.spoil();
      RunEnd end = RunEnd::Failed;
      common::ErrorNumber number = test::NumberOf([&] { end = Run(); });
      if (number == 0) number = session.ended_by ? session.ended_by->number() : 0;
      EXPECT_EQ(end, RunEnd::Failed);
      EXPECT_EQ(number, c.number);
      EXPECT_TRUE(host.events.empty());
      EXPECT_EQ(tables.target->Rows().size() + next->Rows().size(), 1u);
      engine.before_open = {};
    }
  }
}

TEST_F(ConversionTest, WhatAFailingDatabaseTakesBack_LeavesTheTotals) {
  AddSource({"A1", "A2"});
  AddTarget({"A3"});
  tables.photo->AddRow({std::string("A3"), std::string("P1"), std::string("REAR")});
  tables.central->AddRow({std::string("A3")});
  test::MemoryDatabaseFile& file = engine.AddDatabase("C:\\NEW\\FOLVANE.MDB");
  int stores = 0;
  tables.target->before = [&](Operation operation, std::string_view) {
    // Between the two stores of A1 the last checkpoint succeeds.
    if (operation == Operation::Store && ++stores == 2) ++file.checkpoints;
  };
  file.before_checkpoint = [] { throw common::Error(common::kDiskFull); };
  host.dialogs.device_answers = {common::DeviceAnswer::Ignore, common::DeviceAnswer::Abort};
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_EQ(session.left_out, 0) << "it is tried again";
  EXPECT_EQ(test::NumberOf([&] { CloseTarget(session, host); }), common::kDiskFull);
  ASSERT_EQ(host.taken_back.size(), 3u);
  EXPECT_FALSE(host.taken_back[0].row) << "the row is there, its comps data is not";
  EXPECT_TRUE(host.taken_back[1].row);
  EXPECT_EQ(host.taken_back[2].photo_lines, 1);
  const Summary summary = host.Result();
  EXPECT_THAT((std::vector{summary.added, summary.taken_back, summary.kept, summary.photo_lines}),
              ElementsAre(1, 1, 1, 0));
  EXPECT_EQ(file.open_connections, 0);
}

TEST_F(ConversionTest, SourcesThatAreNotSound_AreNamed) {
  AddSource({"A1", "A2"});
  AddTarget({"A1"});
  tables.comps->rebuilt_index = "2 records have no entry";
  tables.central->unreadable = {{{0, "LOTSIZE"}, "1x"}};
  tables.comps->unreadable = {{{1, "GLA"}, "9*0"}, {{1, "SALEDATE"}, "text fields are not looked at"}};
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_THAT(notices().at(0),
              testing::HasSubstr("CENTRALKEY of COMPS is not used: 2 records have no entry"));
  ASSERT_EQ(host.events.at(0).unreadable.size(), 1u) << "a central record that only fills";
  const UnreadableValue& value = host.events.at(1).unreadable.at(0);
  EXPECT_EQ(fmt::format("{} {} {} {}: {}", value.table, value.record, value.field, value.text, value.why),
            "COMPS 2 GLA 9*0: no number; '900' was read of it");
  EXPECT_EQ(host.Result().unreadable_values, 2);
}

TEST_F(ConversionTest, EveryRecordIsInOneClass) {
  AddSource({"A1", "B2", "C3", "D4"});
  tables.central->AddRow({std::string("  ")});
  AddTarget({"A1", "B2"});
  int stores = 0;
  tables.target->before = [&](Operation operation, std::string_view) {
    if (operation == Operation::Store && (++stores == 1 || stores == 3))
      throw common::Error(common::kDuplicateKey);
  };
  tables.central->before = [&](Operation operation, std::string_view field) {
    const bool in_d4 = host.events.size() == 4;
    if (operation == Operation::Read && field == "CENTRALKEY" && in_d4)
      throw common::Error(common::kDamagedDatabase);
  };
  session.values.ConvertPhotosFlag = 0;
  EXPECT_EQ(Run(), RunEnd::Completed);
  const Summary summary = host.Result();
  EXPECT_THAT((std::vector{summary.added, summary.overwritten, summary.kept, summary.Refused(),
                           summary.skipped_blank, summary.unreadable}),
              ElementsAre(0, 1, 1, 1, 1, 1));
  EXPECT_THAT(summary.refused.at(0).keys, ElementsAre("C3"));
  EXPECT_THAT(summary.incomplete.at(0).records, ElementsAre(1)) << "the overwrite that was refused";
}

TEST_F(ConversionTest, ErrorTable_ByNumber) {
  struct Case {
    common::ErrorNumber number;
    RunEnd end;
    const char* status;
  };
  for (const Case& c :
       {Case{common::kBadFileName, RunEnd::Failed, "Invalid Filename please correct and retry"},
        {common::kPathNotFound, RunEnd::Failed, "Path not found.  Correct the Drive and Path and retry"},
        {common::kFileNotFound, RunEnd::Failed, "File not found.  Correct and try again"},
        {common::kDuplicateKey, RunEnd::Completed, "Conversion complete. (2 records)"},
        {common::kObjectNotSet, RunEnd::Completed, "Conversion complete. (2 records)"},
        {common::kConversion, RunEnd::Completed, "Conversion complete. (2 records)"}}) {
    tables = {};
    AddSource({"A1", "A2"});
    AddTarget({"X"});
    tables.target->before = FailNth(Operation::Store, 1, c.number);
    host.target_file_name_focused = false;
    EXPECT_EQ(Run(), c.end) << c.number;
    EXPECT_EQ(host.statuses.back(), c.status);
    EXPECT_EQ(host.target_file_name_focused, c.number == common::kFileNotFound);
    EXPECT_FALSE(host.pointer.back()) << "the normal pointer is back";
  }
}

TEST_F(ConversionTest, ErrorsThatEndTheProgram_SayWhy) {
  for (const common::ErrorNumber number :
       {common::kCannotBuildKey, common::kNullKey, common::kRecordLocked}) {
    tables = {};
    notices().clear();
    AddSource({"A1"});
    tables.target->before = FailNth(Operation::Store, 1, number);
    EXPECT_THROW(Run(), common::ProgramEnd) << number;
    EXPECT_THAT(notices(), ElementsAre(StartsWith(number == common::kRecordLocked
                                                      ? "The databases may be corrupt."
                                                      : "Your data appears to be corrupt.")));
    EXPECT_FALSE(host.pointer.back());
  }
}

TEST_F(ConversionTest, OtherErrors_LeaveTheCommandAndKeepWhatIsStored) {
  AddSource({"A1", "A2"});
  tables.target->before = FailNth(Operation::Store, 3, common::kFieldRequired);
  EXPECT_EQ(test::NumberOf([this] { Run(); }), common::kFieldRequired);
  EXPECT_EQ(tables.target->Rows().size(), 1u);
  EXPECT_EQ(session.values.CurrentKey, "A2");
  EXPECT_EQ(host.events.size(), 2u);
  EXPECT_FALSE(host.pointer.back());
}

TEST_F(ConversionTest, DeviceErrors_AskUnderTheStepThatFailed) {
  AddSource({"A1", "A2"});
  tables.target->before = FailNth(Operation::Store, 1, common::kDiskFull);
  host.dialogs.device_answers = {common::DeviceAnswer::Retry};
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_EQ(tables.target->Rows().size(), 2u) << "retry repeats the store alone";
  EXPECT_THAT(host.dialogs.device_boxes, ElementsAre(testing::HasSubstr("Error # 61 in module ")));
}

TEST_F(ConversionTest, ARefusedOverwriteOrRow_IsSilentAndTheNextRecordGoesOn) {
  AddSource({"A1", "B2", "C3"});
  AddTarget({"A1"});
  int stores = 0;
  tables.target->before = [&](Operation operation, std::string_view) {
    if (operation == Operation::Store && ++stores <= 2) throw common::Error(common::kDuplicateKey);
  };
  session.values.ConvertPhotosFlag = 0;
  EXPECT_EQ(Run(), RunEnd::Completed);
  EXPECT_EQ(host.events.at(0).outcome, Outcome::Kept);
  EXPECT_EQ(host.events.at(1).outcome, Outcome::NotAdded);
  EXPECT_EQ(host.events.at(2).outcome, Outcome::Added);
  EXPECT_THAT(Column("CENTRALKEY"), ElementsAre("A1", "C3        "));
  EXPECT_THAT(host.events.at(0).errors, ElementsAre(common::kDuplicateKey));
}

}  // namespace
}  // namespace corvix::run
