// What the journal costs: an invented office converted into an empty target on disk, and again as duplicates,
// with the journal and without it, in alternation. Prints the times and the median of their ratios.
//
//   journal_bench [RECORDS [PAIRS]]
//
// This program has an OpenJournaled of its own, which the linker takes instead of the engine's: it rolls
// nothing back, and gives no journal where the measurement wants none.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

#include "sample/sample_writer.h"
#include "storage/base/posix_file.h"
#include "storage/jet/pages/journal.h"
#include "support/file_run.h"
#include "support/temporary_directory.h"

namespace {
bool with_journal = true;
}

namespace corvix::jet {

std::filesystem::path JournalPath(storage::FileSystem& files, const std::filesystem::path& database) {
  return files.Resolve(database).string() + "-journal";
}

JournaledFile OpenJournaled(storage::FileSystem& files, const std::filesystem::path& database,
                            std::unique_ptr<storage::File> file, bool read_only) {
  JournaledFile opened;
  if (with_journal && !read_only) {
    opened.journal =
        std::make_unique<Journal>(files, JournalPath(files, database), database.filename().string(), *file);
  }
  opened.file = std::move(file);
  return opened;
}

}  // namespace corvix::jet

namespace {

using namespace corvix;
namespace fs = std::filesystem;

struct Cost {
  double seconds = 0;
  double cpu = 0;  // of them, the processor's
};

struct Run {
  Cost all_new, duplicates;
};

Cost Convert(const fs::path& source, const fs::path& target) {
  storage::PosixFileSystem files;
  const auto start = std::chrono::steady_clock::now();
  const std::clock_t cpu = std::clock();
  if (test::FileRun(files, source, target).Run() != run::RunEnd::Completed) std::abort();
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC};
}

Run Measure(const fs::path& office, bool journal) {
  with_journal = journal;
  const test::TemporaryDirectory target;
  fs::copy_file(office / "FOLVANE.MDB", target.path() / "FOLVANE.MDB");
  return {Convert(office, target.path()), Convert(office, target.path())};
}

void Print(const char* name, const std::vector<Run>& with, const std::vector<Run>& without, Cost Run::*part) {
  std::printf("%s:\n", name);
  for (const auto& [kind, time] :
       {std::pair("elapsed", &Cost::seconds), std::pair("processor", &Cost::cpu)}) {
    std::vector<double> ratios;
    std::printf("  %-10s", kind);
    for (std::size_t i = 0; i < with.size(); ++i) {
      ratios.push_back(with[i].*part.*time / (without[i].*part.*time));
      std::printf("%7.3f /%6.3f s", with[i].*part.*time, without[i].*part.*time);
    }
    std::ranges::sort(ratios);
    std::printf("   median ratio %.2f\n", ratios[ratios.size() / 2]);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int records = argc > 1 ? std::atoi(argv[1]) : 20'000;
  const int pairs = argc > 2 ? std::atoi(argv[2]) : 5;
  storage::PosixFileSystem files;
  const test::TemporaryDirectory office;
  sample::WriteOffice(files, office.path(), {.records = records, .duplicates_percent = 0});
  std::vector<Run> with, without;
  for (int i = 0; i < pairs; ++i) {
    with.push_back(Measure(office.path(), true));
    without.push_back(Measure(office.path(), false));
  }
  Print("all new, with / without", with, without, &Run::all_new);
  Print("again as duplicates, with / without", with, without, &Run::duplicates);
  return 0;
}
