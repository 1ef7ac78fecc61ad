// What a directory of source tables lacks, in words that name the file to copy.
#include "cli/source_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample/sample_writer.h"
#include "storage/base/memory_file.h"
#include "storage/foxpro/foxpro_writer.h"

namespace corvix::cli {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::string> Findings(storage::FileSystem& files) {
  std::vector<std::string> lines;
  for (const auto& finding : CheckSource(files, "/old")) lines.push_back(finding.place + ": " + finding.text);
  return lines;
}

TEST(SourceCheck, NamesTheFilesThatAConversionNeeds) {
  storage::MemoryFileSystem files;
  EXPECT_THAT(Findings(files), IsEmpty()) << "a directory without source tables";
  sample::WriteSourceTables(files, "/old", {.records = 3});
  EXPECT_THAT(Findings(files), IsEmpty());

  files.Remove("/old/COMPS.DBF");
  foxpro::FoxProWriter other(
      files, "/old", "PHOTO",
      {.fields = {{"CENTRALKEY", 'C', 5}}, .tags = {{.name = "OTHER", .key = "CENTRALKEY"}}});
  other.Finish();
  files.Remove("/old/CENTRAL.CDX");
  EXPECT_THAT(
      Findings(files),
      ElementsAre(
          StartsWith("COMPS.DBF: the table is missing, and a conversion ends without it; copy COMPS.DBF "
                     "and COMPS.CDX and COMPS.FPT"),
          StartsWith("PHOTO.CDX: there is no tag CENTRALKEY")))
      << "the header of CENTRAL promises its index, so the check of the table itself tells";
  files.Contents("/old/CENTRAL.DBF")[28] = std::byte{0};
  EXPECT_THAT(Findings(files).at(0), StartsWith("CENTRAL.CDX: the file is missing"));
}

}  // namespace
}  // namespace corvix::cli
