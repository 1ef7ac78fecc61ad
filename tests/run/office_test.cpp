// A whole invented office through the real engines: 10,000 new records, then the same again as duplicates.
// Every stored field is worked out here from the office itself.
#include <filesystem>
#include <gmock/gmock.h>
#include <map>

#include "common/text.h"
#include "core/lookup.h"
#include "core/text_form.h"
#include "merge/dates.h"
#include "sample/sample_writer.h"
#include "storage/base/posix_file.h"
#include "storage/jet/jet_database.h"
#include "support/file_run.h"
#include "support/jet_files.h"
#include "support/temporary_directory.h"

namespace corvix {
namespace {

class OfficeTest : public testing::Test {
 protected:
  run::Summary Convert() {
    test::FileRun conversion(files_, directory_.path(), directory_.path());
    EXPECT_EQ(conversion.Run(), run::RunEnd::Completed);
    return conversion.host.Result();
  }

  void ExpectSound() {
    EXPECT_THAT(test::CheckFile(files_, directory_.path() / "FOLVANE.MDB").problems, testing::IsEmpty());
  }

  /// What PHOTOS must hold: views are listed once, whatever their letter case.
  static std::string PhotoLines(const std::vector<sample::PhotoRecord>& photos) {
    std::map<std::string, bool> seen;
    std::string lines;
    for (const auto& photo : photos) {
      if (seen.emplace(common::UpperCase(photo.view), true).second)
        lines += photo.view + "|" + photo.picture_id + "\r\n";
    }
    return lines;
  }

  static void ExpectProperty(core::TableSource& target, const sample::Property& property) {
    const auto stored = [&](std::string_view field) { return core::GetFieldData(target, field); };
    const auto padded = [](const std::string& text, std::size_t width) {
      return text.empty() ? text : common::FitWidth(text, width);
    };
    std::string key = property.central.key;
    ASSERT_TRUE(core::FindRecord(target, key, core::kCentralKey)) << property.central.key;
    EXPECT_EQ(stored("CENTRALKEY"), padded(property.central.key, 35));
    EXPECT_EQ(stored("OWNER"), padded(property.central.owner, 30));
    EXPECT_EQ(stored("MAPREF"), padded(property.central.mapref, 15));
    if (!property.central.lotsize.empty()) {
      EXPECT_EQ(core::ToDouble(stored("LOTSIZE")), core::ToDouble(property.central.lotsize));
    }
    EXPECT_EQ(stored("PHOTOS"), PhotoLines(property.photos));
    EXPECT_EQ(stored("FRONT"), property.photos.empty() ? "False" : "True");
    EXPECT_EQ(stored("COMMENTS"), "") << "memo fields are never stored into";
    const bool has_comps = !property.comps.empty();
    EXPECT_EQ(stored("CONDITION"), has_comps ? padded(property.comps[0].condition, 12) : "");
    EXPECT_EQ(stored("GLA"), has_comps ? property.comps[0].gla : "");
    if (!has_comps) return;
    const std::string& sale_date = property.comps[0].sale_date;
    const std::string trimmed(common::TrimRight(sale_date));
    if (trimmed.empty()) {
      EXPECT_EQ(stored("SaleDate") + stored("SaleSerial"), "");
    } else if (merge::IsDate(trimmed)) {
      EXPECT_EQ(stored("SaleDate"), core::DateText(core::ToDate(trimmed))) << sale_date;
    } else {
      EXPECT_EQ(stored("SaleSerial"), "2") << sale_date;
    }
  }

  storage::PosixFileSystem files_;
  test::TemporaryDirectory directory_;
};

TEST_F(OfficeTest, TenThousandRecords_NewAndThenAsDuplicates) {
  const sample::OfficeOptions options{.seed = 7, .records = 10'000, .duplicates_percent = 0};
  sample::WriteOffice(files_, directory_.path(), options);
  std::int64_t with_comps = 0;
  for (std::int64_t i = 0; i < options.records; ++i) {
    if (!sample::MakeProperty(options, i).comps.empty()) ++with_comps;
  }

  const run::Summary first = Convert();
  EXPECT_EQ(first.added, options.records);
  EXPECT_EQ(first.overwritten + first.kept, 0);
  ExpectSound();
  const run::Summary second = Convert();
  EXPECT_EQ(second.added, 0);
  EXPECT_EQ(second.overwritten, with_comps);
  EXPECT_EQ(second.kept, options.records - with_comps);
  EXPECT_EQ(second.photo_lines, 0);
  ExpectSound();

  core::TableSource target{.name = "target"};
  const auto database =
      jet::OpenJetDatabase(files_, directory_.path() / "FOLVANE.MDB", core::Access::ReadOnly);
  target.Recordset = database->OpenTable("COMPS");
  ASSERT_EQ(target.Records().RecordCount(), options.records);
  for (std::int64_t i = 0; i < options.records; ++i) ExpectProperty(target, sample::MakeProperty(options, i));
}

}  // namespace
}  // namespace corvix
