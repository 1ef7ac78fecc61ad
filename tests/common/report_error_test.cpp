#include "common/report_error.h"

#include <gtest/gtest.h>

#include "common/path_names.h"
#include "common/trap.h"
#include "support/errors.h"
#include "support/recording_dialogs.h"

namespace corvix::common {
namespace {

using test::RecordingDialogs;

class ReportErrorTest : public testing::Test {
 protected:
  RecordingDialogs dialogs_;
  DialogsScope scope_{dialogs_};
};

TEST_F(ReportErrorTest, CurrentProc_HoldsTwentyCharacters) {
  CurrentProc = "short";
  EXPECT_EQ(CurrentProc.Padded(), "short               ");
  CurrentProc = "exactly twenty chars";
  EXPECT_EQ(CurrentProc.Trimmed(), "exactly twenty chars");
  CurrentProc = "twenty-one characters";
  EXPECT_EQ(CurrentProc.Trimmed(), "twenty-one character");
  std::string path = "x";
  CkRSlash(path);
  EXPECT_EQ(CurrentProc.Trimmed(), "CkRSlash") << "not restored when a procedure returns";
}

TEST_F(ReportErrorTest, DeviceErrors_AskAndMapTheAnswer) {
  for (const ErrorNumber number : {kDeviceIo, kDiskFull, kDeviceUnavailable, kDiskNotReady}) {
    dialogs_.device_answers = {DeviceAnswer::Abort, DeviceAnswer::Retry, DeviceAnswer::Ignore};
    EXPECT_EQ(ReportError(Error(number)), Action::Leave);
    EXPECT_EQ(ReportError(Error(number)), Action::Retry);
    EXPECT_EQ(ReportError(Error(number)), Action::Skip);
  }
  CurrentProc = "CkRSlash";
  dialogs_.device_answers = {DeviceAnswer::Abort};
  ReportError(Error(kDiskNotReady));
  EXPECT_EQ(dialogs_.device_boxes.back(), "Disk not ready.\r\nError # 71 in module CkRSlash.");
}

TEST_F(ReportErrorTest, LockedRecord_ShowsTheRebuildMessageAndEndsTheProgram) {
  EXPECT_THROW(ReportError(Error(kRecordLocked)), ProgramEnd);
  ASSERT_EQ(dialogs_.notices.size(), 1u);
  EXPECT_EQ(dialogs_.notices[0],
            "The databases may be corrupt.  Please run the rebuild programs. (Double Click on the icons) and "
            "restart Lumivar.");
}

TEST_F(ReportErrorTest, OtherErrors_ClimbToTheOutermostCallerUnseen) {
  const auto inner = [] {
    Procedure("inner", [](const Trap& trap) { trap([] { throw Error(kConversion, "text", "place"); }); });
  };
  const Error error = test::ErrorOf([&] { Procedure("outer", [&](const Trap& trap) { trap(inner); }); });
  EXPECT_EQ(error.number(), kConversion);
  EXPECT_STREQ(error.what(), "text (place)");
  EXPECT_TRUE(dialogs_.notices.empty());
  EXPECT_TRUE(dialogs_.device_boxes.empty());
}

/// Runs a procedure of three statements whose second fails with a device error `failures` times.
std::string RunFailing(int failures) {
  std::string done;
  Procedure("three", [&](const Trap& trap) {
    trap([&] { done += 'a'; });
    trap([&] {
      if (failures-- > 0) throw Error(kDiskFull);
      done += 'b';
    });
    trap([&] { done += 'c'; });
  });
  return done;
}

TEST_F(ReportErrorTest, Answers_RetrySkipOrLeaveTheFailingStatement) {
  dialogs_.device_answers = {DeviceAnswer::Retry, DeviceAnswer::Retry};
  EXPECT_EQ(RunFailing(2), "abc");
  dialogs_.device_answers = {DeviceAnswer::Ignore};
  EXPECT_EQ(RunFailing(1), "ac");
  dialogs_.device_answers = {DeviceAnswer::Abort};
  EXPECT_EQ(RunFailing(1), "a");
}

TEST_F(ReportErrorTest, OwnRules_SettleBeforeTheReporterIsAsked) {
  std::string done;
  Procedure(
      "own",
      [&](const Trap& trap) {
        trap([] { throw Error(kDiskFull); });
        done += 'x';
      },
      [](const Error&) { return Action::Skip; });
  EXPECT_EQ(done, "x");
  EXPECT_EQ(ErrAction, Action::Skip);
  EXPECT_TRUE(dialogs_.device_boxes.empty());
}

TEST_F(ReportErrorTest, ProgramEnd_PassesEveryTrap) {
  EXPECT_THROW(Procedure("ending", [](const Trap& trap) { trap([] { throw ProgramEnd{}; }); }), ProgramEnd);
}

}  // namespace
}  // namespace corvix::common
