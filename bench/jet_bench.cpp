// The Jet engine alone, on a disk: tables built row by row, sought at random, checked.
//
//   jet_bench [ROWS]     1,000,000 rows with two indexes when not told otherwise; then a tenth with five
//
// Prints seconds, rates, the size of the file and the peak memory of the process so far.
#include <charconv>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <random>
#include <sys/resource.h>

#include "core/record_set.h"
#include "storage/base/posix_file.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/jet_database.h"
#include "storage/jet/pages/pager.h"
#include "support/temporary_directory.h"

namespace corvix {
namespace {

constexpr int kSeeks = 100'000;

class Clock {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

double PeakMemoryMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// Keys in no order, each of them once.
std::string KeyOf(std::uint32_t row) { return fmt::format("{:010} OLD MILL LANE", row * 2654435761U); }

jet::TableDescription Houses(bool all_indexes) {
  using jet::ColumnType;
  jet::TableDescription table{.name = "Houses",
                              .columns = {{.name = "Id", .type = ColumnType::Long, .autonumber = true},
                                          {.name = "Key", .length = 35},
                                          {.name = "City", .length = 25},
                                          {.name = "Price", .type = ColumnType::Double},
                                          {.name = "Sold", .type = ColumnType::Date}},
                              .indexes = {{.name = "PrimaryKey", .columns = {{"Id"}}, .primary = true},
                                          {.name = "Key", .columns = {{"Key"}}, .unique = true}}};
  if (all_indexes) {
    table.indexes.push_back({.name = "City", .columns = {{"City"}}});
    table.indexes.push_back({.name = "Price", .columns = {{"Price", false}}});
    table.indexes.push_back({.name = "Sold", .columns = {{"Sold"}, {"City"}}});
  }
  return table;
}

void Build(core::RecordSet& records, int rows) {
  std::mt19937 random(1);
  for (int i = 0; i < rows; ++i) {
    records.BeginAdd();
    records.Write(1, KeyOf(static_cast<std::uint32_t>(i)));
    records.Write(2, fmt::format("City {}", random() % 900));
    records.Write(3, static_cast<double>(random() % 400'000));
    records.Write(4, core::Date{static_cast<double>(30'000 + random() % 9000)});
    records.Store();
  }
}

int Seek(core::RecordSet& records, int rows) {
  std::mt19937 random(2);
  records.SelectIndex("Key");
  int found = 0;
  for (int i = 0; i < kSeeks; ++i) {
    records.SeekEqual(KeyOf(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(2 * rows)));
    if (!records.NoMatch()) ++found;
  }
  return found;
}

void Measure(int rows, bool all_indexes) {
  const test::TemporaryDirectory directory;
  const auto path = directory.path() / "houses.mdb";
  storage::PosixFileSystem files;
  jet::CreateDatabase(files, path, {.tables = {Houses(all_indexes)}, .relationships = {}});
  fmt::print("{} rows, {} indexes\n", rows, all_indexes ? 5 : 2);
  const auto tell = [](const char* what, double seconds, int count) {
    fmt::print("  {:<8}{:8.2f} s {:12.0f}/s   peak memory {:.0f} MiB\n", what, seconds, count / seconds,
               PeakMemoryMiB());
  };
  {
    const auto database = jet::OpenJetDatabase(files, path, core::Access::ReadWrite);
    const auto houses = database->OpenTable("Houses");
    const Clock building;
    Build(*houses, rows);
    database->Close();
    tell("built", building.Seconds(), rows);
  }
  {
    const auto database = jet::OpenJetDatabase(files, path, core::Access::ReadOnly);
    const auto houses = database->OpenTable("Houses");
    const Clock seeking;
    const int found = Seek(*houses, rows);
    tell("sought", seeking.Seconds(), kSeeks);
    fmt::print("  found   {:8} of {}\n", found, kSeeks);
  }
  const Clock checking;
  jet::Pager pager(files.Open(path, storage::OpenMode::Read), path, {.read_only = true});
  const jet::CheckReport report = jet::CheckDatabase(pager);
  tell("checked", checking.Seconds(), rows);
  fmt::print("  {} problems, {} index entries, file {:.0f} MiB\n", report.problems.size(),
             report.index_entries, static_cast<double>(std::filesystem::file_size(path)) / (1 << 20));
}

}  // namespace
}  // namespace corvix

int main(int count, char** arguments) {
  int rows = 1'000'000;
  if (count > 1) {
    const char* const end = arguments[1] + std::strlen(arguments[1]);
    const auto read = std::from_chars(arguments[1], end, rows);
    if (read.ec != std::errc() || read.ptr != end || rows < 10) {
      fmt::print(stderr, "usage: jet_bench [ROWS], at least 10\n");
      return 2;
    }
  }
  corvix::Measure(rows, false);
  corvix::Measure(rows / 10, true);
}
