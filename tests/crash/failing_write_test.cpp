// Every write, sync, truncation, creation and removal of a conversion fails, with a full disk and with a
// device error, once or from then on, and the user answers Retry, Ignore or Abort. The box names the error;
// the database is sound afterwards, whether it is opened again or the power fails as well; and a fault that
// goes away and is retried leaves no trace in the rows.
#include <limits>
#include <map>

#include "crash/small_office.h"

namespace corvix::test {
namespace {

struct Fault {
  common::DeviceAnswer answer;
  bool stays;
  const char* name;
};

constexpr Fault kFaults[] = {{common::DeviceAnswer::Retry, false, "retried"},
                             {common::DeviceAnswer::Ignore, false, "ignored"},
                             {common::DeviceAnswer::Ignore, true, "ignored, the fault stays"},
                             {common::DeviceAnswer::Abort, false, "aborted"},
                             {common::DeviceAnswer::Abort, true, "aborted, the fault stays"}};

class FailingWrite : public testing::TestWithParam<common::ErrorNumber> {
 protected:
  /// Runs the conversion, operation `operation` failing, and judges what is left. True when a box was shown.
  bool RunWith(const Fault& fault, std::uint64_t operation) {
    FaultyFileSystem files;
    PutAll(files, office_);
    files.FailAt(operation, fault.stays ? std::numeric_limits<std::uint64_t>::max() : 1, GetParam());
    std::vector<std::string> boxes;
    {
      SmallRun conversion(files);
      conversion.host.dialogs.device_answers.assign(1000, fault.answer);
      try {
        conversion.Run();
      } catch (const common::Error& error) {
        EXPECT_EQ(error.number(), GetParam()) << error.what();
        EXPECT_NE(fault.answer, common::DeviceAnswer::Retry) << error.what();
      } catch (const common::ProgramEnd&) {
        EXPECT_NE(fault.answer, common::DeviceAnswer::Retry);
      }
      boxes = conversion.host.dialogs.device_boxes;
    }
    const std::string wanted = common::Error(GetParam()).what();
    for (const std::string& box : boxes) {
      EXPECT_TRUE(box.starts_with(wanted)) << box;
      EXPECT_NE(box.find(fmt::format("Error # {} in module ", GetParam())), std::string::npos) << box;
    }
    const Rows& after_cut =
        judge_.RowsOf(Reopened(files.AfterCut(Unsynced::Mixed, static_cast<unsigned>(operation))));
    files.FailAt(0, 0, 0);
    jet::OpenJetDatabase(files, kDatabase, core::Access::ReadWrite)->Close();
    const Rows& rows = judge_.RowsOf(files.Contents(kDatabase));
    if (fault.answer == common::DeviceAnswer::Retry) {
      EXPECT_EQ(rows, undisturbed_);
      EXPECT_LE(boxes.size(), 1u);
    }
    EXPECT_GE(std::min(rows.size(), after_cut.size()), judge_.RowsOf(office_.at(kDatabase)).size());
    EXPECT_LE(std::max(rows.size(), after_cut.size()), undisturbed_.size());
    return !boxes.empty();
  }

  Judge judge_;
  const Device office_ = MakeSmallOffice(50);
  Rows undisturbed_;
};

TEST_P(FailingWrite, AtAnyOperationLeavesASoundDatabase) {
  FaultyFileSystem files;
  PutAll(files, office_);
  ASSERT_EQ(SmallRun(files).Run(), run::RunEnd::Completed);
  undisturbed_ = judge_.RowsOf(files.Contents(kDatabase));
  ASSERT_EQ(undisturbed_.size(), 50u);

  std::map<Change, std::size_t> asked;
  for (std::uint64_t operation = 0; operation < files.operations(); ++operation) {
    for (const Fault& fault : kFaults) {
      SCOPED_TRACE(testing::Message()
                   << "operation " << operation << " of " << files.operations() << " (kind "
                   << static_cast<int>(files.log()[operation]) << ") fails, " << fault.name);
      if (RunWith(fault, operation)) ++asked[files.log()[operation]];
      if (HasFailure()) return;
    }
  }
  for (const Change kind : {Change::Write, Change::Sync, Change::Truncate}) EXPECT_GT(asked[kind], 20u);
}

INSTANTIATE_TEST_SUITE_P(DiskFullAndDeviceError, FailingWrite,
                         testing::Values(common::kDiskFull, common::kDeviceIo));

}  // namespace
}  // namespace corvix::test
