// Damaged files: whatever their bytes are, checking, reading and converting end in a result or an Error, and
// a flipped byte that changes what is read or stored is reported.
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "jet/schema_sample.h"
#include "sample/sample_writer.h"
#include "storage/base/bytes.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/jet_database.h"
#include "storage/overlay/overlay_file_system.h"
#include "support/errors.h"
#include "support/file_run.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using storage::ByteView;
using storage::ReadLittle;
using Bytes = std::vector<std::byte>;

const std::filesystem::path kTarget = "/office/FOLVANE.MDB";

/// What the program makes of a file.
struct Outcome {
  std::size_t problems = 0;  ///< that the checker reports
  std::string rows;          ///< the values of all rows of all tables
  std::string converted;     ///< how a conversion into the file ends; of a sound one the rows then
  std::size_t problems_then = 0;
};

/// The first `fields` of the rows in the current order. A damaged table may lead round and round: so many
/// rows are not read.
void AppendRows(std::string& out, core::RecordSet& records, std::size_t fields) {
  constexpr int kMostRows = 2000;
  std::string text;
  int rows = 0;
  if (!records.HasRow()) return;
  for (records.MoveFirst(); !records.PastEnd() && rows < kMostRows; records.MoveNext(), ++rows) {
    for (std::size_t i = 0; i < fields; ++i) out += records.ReadText(i, text) ? text : "Null";
    out += '\n';
  }
  EXPECT_LT(rows, kMostRows);
}

template <typename Action>
void AppendError(std::string& out, Action action) {
  try {
    action();
  } catch (const common::Error& error) {
    out += error.what();
  }
}

/// A table in file order and in that of each index, as the definition in the file names them.
void AppendTable(std::string& out, Pager& pager, core::Database& database, const CatalogObject& table) {
  AppendError(out, [&] {
    const auto records = database.OpenTable(table.name);
    AppendRows(out, *records, records->Fields().size());
    for (const LogicalIndex& index : ReadTableDefinition(pager, table.DefinitionPage()).logical_indexes) {
      AppendError(out, [&] {
        records->SelectIndex(index.name);
        AppendRows(out, *records, 1);
      });
    }
  });
}

std::string AllRows(storage::FileSystem& files) {
  std::string out;
  AppendError(out, [&] {
    const auto pager = test::OpenPager(files, kTarget);
    const auto database = OpenJetDatabase(files, kTarget, core::Access::ReadOnly);
    const Catalog catalog(*pager);
    for (const CatalogObject& object : catalog.objects()) {
      if (object.IsTable()) AppendTable(out, *pager, *database, object);
    }
  });
  return out;
}

/// Converts the office into its target, over which duplicates are written.
std::string Convert(storage::FileSystem& files) {
  test::FileRun conversion(files, kTarget.parent_path(), kTarget.parent_path());
  conversion.host.dialogs.device_answers.assign(100, common::DeviceAnswer::Abort);
  std::string out;
  AppendError(out, [&] { out += std::to_string(static_cast<int>(conversion.Run())); });
  return out + ' ' + conversion.host.Result().status;
}

class DamagedFile : public testing::Test {
 protected:
  DamagedFile() {
    sample::WriteSourceTables(files_, kTarget.parent_path(), {.records = 10});
    test::MakeSample(files_, kTarget, 200);
    Convert(files_);
    sample::WriteSourceTables(files_, kTarget.parent_path(), {.records = 20});  // ten of them duplicates
    sound_ = files_.Contents(kTarget);
  }

  Outcome Try(const Bytes& bytes) {
    files_.Contents(kTarget) = bytes;
    storage::OverlayFileSystem changed(files_);
    Outcome outcome{.problems = test::CheckFile(files_, kTarget).problems.size(),
                    .rows = AllRows(files_),
                    .converted = Convert(changed)};
    outcome.problems_then = test::CheckFile(changed, kTarget).problems.size();
    if (outcome.problems == 0) outcome.converted += AllRows(changed);
    return outcome;
  }

  storage::MemoryFileSystem files_;  // the office
  Bytes sound_;                      // its target
};

/// Rounds of a test: as many as CORVIX_DAMAGE_ROUNDS says, else `usual`.
unsigned Rounds(unsigned usual) {
  const char* set = std::getenv("CORVIX_DAMAGE_ROUNDS");
  return set == nullptr ? usual : static_cast<unsigned>(std::atoi(set));
}

/// The parts of a definition that are no names: from, to, from, to ...
std::vector<std::size_t> WithoutNames(ByteView page) {
  const std::size_t columns = ReadLittle<std::uint16_t>(page, definition::kColumnCount);
  const std::size_t trees = ReadLittle<std::uint32_t>(page, definition::kRealCount);
  const std::size_t indexes = ReadLittle<std::uint32_t>(page, definition::kLogicalCount);
  std::vector<std::size_t> borders{0};
  std::size_t at =
      definition::kCounters + definition::kCounterSize * trees + column_descriptor::kSize * columns;
  const auto skip_names = [&](std::size_t count) {
    for (; count > 0; --count) {
      borders.push_back(at + 2);
      at += 2 + ReadLittle<std::uint16_t>(page, at);
      borders.push_back(at);
    }
  };
  skip_names(columns);
  at += real_index::kSize * trees + logical_index::kSize * indexes;
  skip_names(indexes);
  borders.push_back(kPageSize - definition::kPageHead - ReadLittle<std::uint16_t>(page, definition::kFree));
  return borders;
}

/// Offsets of what is structure: all of definitions but their names, heads and row tables of data pages,
/// maps, index pages.
std::vector<std::size_t> Structure(ByteView file) {
  std::vector<std::size_t> offsets;
  for (std::size_t number = 1; number < file.size() / kPageSize; ++number) {
    const ByteView page = file.subspan(number * kPageSize, kPageSize);
    const auto add = [&](std::size_t from, std::size_t to) {
      for (; from < to; ++from) offsets.push_back(number * kPageSize + from);
    };
    const auto word = [&](std::size_t offset) { return ReadLittle<std::uint16_t>(page, offset); };
    switch (static_cast<PageType>(storage::ReadByte(page, kPageTypeOffset))) {
      case PageType::TableDefinition: {
        const std::vector<std::size_t> borders = WithoutNames(page);
        for (std::size_t i = 0; i < borders.size(); i += 2) add(borders[i], borders[i + 1]);
        break;
      }
      case PageType::IndexNode:
      case PageType::IndexLeaf:
        add(0, kPageSize - word(index_page::kFree));
        break;
      case PageType::Data: {
        const std::size_t slots_end = data_page::kRowTable + 2u * word(data_page::kCells);
        add(0, slots_end);
        if (number == kGlobalMapPage || ReadLittle<std::uint32_t>(page, data_page::kOwner) == 0)
          add(word(slots_end - 2) & data_page::kOffsetMask, kPageSize);
        break;
      }
      default:
        break;
    }
  }
  return offsets;
}

TEST_F(DamagedFile, OfOneByteIsReportedOrMeansNothing) {
  const Outcome sound = Try(sound_);
  ASSERT_EQ(sound.problems + sound.problems_then, 0U);
  ASSERT_GT(sound.converted.size(), sound.rows.size());
  const std::vector<std::size_t> structure = Structure(sound_);
  const unsigned rounds = Rounds(200);
  unsigned reported = 0;
  for (unsigned seed = 0; seed < rounds; ++seed) {
    std::mt19937 random(seed);
    Bytes bytes = sound_;
    const std::size_t at = structure[random() % structure.size()];
    bytes[at] ^= std::byte{1} << random() % 8;
    const Outcome outcome = Try(bytes);
    if (outcome.problems > 0) {
      ++reported;
    } else {
      EXPECT_TRUE(outcome.rows == sound.rows && outcome.converted == sound.converted &&
                  outcome.problems_then == 0)
          << "seed " << seed << ": page " << at / kPageSize << ", byte " << at % kPageSize;
    }
  }
  EXPECT_GT(reported, rounds * 3 / 4);
}

/// Each page of the target is damaged in turn: a run would be refused before it writes, or it ends with a
/// sound database that has all the rows. One bit of the map of free pages, too, gives used pages away.
TEST_F(DamagedFile, IsRefusedBeforeARunOrMeansNothing) {
  const auto refusal = [](storage::FileSystem& files) {
    storage::FileEngine engine(files);
    return test::ErrorOf([&] { engine.OpenDatabase(common::DisplayPath(kTarget))->RequireSound("comps"); });
  };
  EXPECT_EQ(refusal(files_).number(), 0) << "other tables stand beside this one";
  sample::WriteOffice(files_, kTarget.parent_path(), {.records = 60, .duplicates_percent = 50});
  sound_ = files_.Contents(kTarget);
  const Outcome sound = Try(sound_);
  std::mt19937 random(3);
  std::size_t refused = 0;
  const auto try_with = [&](Bytes bytes) {
    files_.Contents(kTarget) = bytes;
    const common::Error error = refusal(files_);
    EXPECT_EQ(files_.Contents(kTarget), bytes);
    if (error.number() != 0) {
      EXPECT_EQ(error.number(), common::kDamagedDatabase) << error.what();
      ++refused;
      return;
    }
    const Outcome outcome = Try(bytes);
    EXPECT_EQ(outcome.problems + outcome.problems_then, 0U);
    EXPECT_EQ(outcome.converted, sound.converted);
  };
  const std::size_t pages = sound_.size() / kPageSize;
  for (std::size_t page = 1; page < pages; ++page) {
    SCOPED_TRACE(testing::Message() << "page " << page);
    Bytes bytes = sound_;
    for (std::size_t i = 0; i < kPageSize; ++i) {
      bytes[page * kPageSize + i] ^= static_cast<std::byte>(random());
    }
    try_with(std::move(bytes));
  }
  EXPECT_GT(refused, pages / 2);
  std::size_t in_use = 0;  // pages that a flipped bit of the map gives away
  for (std::size_t page = 6; page < pages; ++page) {
    Bytes bytes = sound_;
    const auto slot =
        ReadLittle<std::uint16_t>(ByteView(bytes), kGlobalMapPage * kPageSize + data_page::kRowTable);
    const std::size_t map = kGlobalMapPage * kPageSize + (slot & data_page::kOffsetMask);
    std::byte& bits = bytes[map + 5 + page / 8];
    if ((bits & std::byte{1} << page % 8) != std::byte{0}) continue;
    bits |= std::byte{1} << page % 8;
    files_.Contents(kTarget) = bytes;
    EXPECT_EQ(refusal(files_).number(), common::kDamagedDatabase) << "page " << page << " is said to be free";
    ++in_use;
  }
  EXPECT_GT(in_use, pages / 2);
}

TEST_F(DamagedFile, OfManyBytesNeverCrashesOrHangs) {
  std::vector<Bytes> files{sound_, sound_, sound_};
  if (const auto folder = test::SharedFile("fixtures/mdb/real")) {
    storage::PosixFileSystem system;
    for (const char* name : {"indexTest.mdb", "test2.mdb", "pivot_small.mdb"}) {
      const auto file = system.Open(*folder / name, storage::OpenMode::Read);
      file->ReadAt(0, files.emplace_back(file->Size()));
    }
  }
  const unsigned rounds = Rounds(150);
  unsigned reported = 0;
  for (unsigned seed = 0; seed < rounds; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    Bytes bytes = files[random() % files.size()];
    for (std::size_t n = 1 + random() % 40; n > 0; --n) {
      // Heads of pages lead to everything else, so they are hit more often.
      const std::size_t page = random() % (bytes.size() / kPageSize);
      const std::size_t offset = random() % (random() % 2 == 0 ? 64 : kPageSize);
      bytes[page * kPageSize + offset] = static_cast<std::byte>(random());
    }
    if (random() % 8 == 0) bytes.resize(random() % bytes.size());
    if (Try(bytes).problems > 0) ++reported;
  }
  EXPECT_GT(reported, rounds * 3 / 4);
}

}  // namespace
}  // namespace corvix::jet
