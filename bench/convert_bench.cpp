// The main job as a whole: an invented office of N central records (with comps, photos and memos) converted
// into FOLVANE.MDB on disk.
//
//   Convert/New/N         all keys are new, into an empty target
//   Convert/Duplicates/N  the same office again: every key is there, duplicates are overwritten
//
// Figures: records a second, bytes written to files for each record, and the size of the target.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "sample/sample_writer.h"
#include "storage/base/posix_file.h"
#include "support/file_run.h"
#include "support/temporary_directory.h"

namespace corvix {
namespace {

namespace fs = std::filesystem;

/// Bytes that this process has written to files so far.
double BytesWritten() {
  std::ifstream in("/proc/self/io");
  for (std::string name; in >> name;) {
    double value = 0;
    in >> value;
    if (name == "wchar:") return value;
  }
  return 0;
}

struct Office {
  test::TemporaryDirectory directory;
  fs::path empty_target;
  fs::path full_target;
};

void Convert(const fs::path& source, const fs::path& target) {
  storage::PosixFileSystem files;
  if (test::FileRun(files, source, target).Run() != run::RunEnd::Completed) std::abort();
}

/// The office of a size, made once, with a target before and after a first conversion.
const Office& OfficeOf(std::int64_t records) {
  static std::map<std::int64_t, Office> offices;
  const auto [entry, is_new] = offices.try_emplace(records);
  Office& office = entry->second;
  if (is_new) {
    storage::PosixFileSystem files;
    sample::WriteOffice(files, office.directory.path(), {.records = records, .duplicates_percent = 0});
    office.empty_target = office.directory.path() / "empty";
    office.full_target = office.directory.path() / "full";
    fs::rename(office.directory.path() / "FOLVANE.MDB", office.empty_target);
    fs::copy_file(office.empty_target, office.directory.path() / "FOLVANE.MDB");
    Convert(office.directory.path(), office.directory.path());
    fs::rename(office.directory.path() / "FOLVANE.MDB", office.full_target);
  }
  return office;
}

void Run(benchmark::State& state, bool duplicates) {
  const Office& office = OfficeOf(state.range(0));
  const test::TemporaryDirectory target;
  const fs::path file = target.path() / "FOLVANE.MDB";
  double written = 0;
  for (auto _ : state) {
    state.PauseTiming();
    fs::copy_file(duplicates ? office.full_target : office.empty_target, file,
                  fs::copy_options::overwrite_existing);
    const double before = BytesWritten();
    state.ResumeTiming();
    Convert(office.directory.path(), target.path());
    written += BytesWritten() - before;
  }
  const auto records = static_cast<double>(state.iterations() * state.range(0));
  state.counters["records/s"] = benchmark::Counter(records, benchmark::Counter::kIsRate);
  state.counters["bytes/record"] = written / records;
  state.counters["target MiB"] = static_cast<double>(fs::file_size(file)) / (1 << 20);
}

void New(benchmark::State& state) { Run(state, false); }
void Duplicates(benchmark::State& state) { Run(state, true); }

BENCHMARK(New)
    ->Name("Convert/New")
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(Duplicates)
    ->Name("Convert/Duplicates")
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace corvix
