#include "storage/overlay/overlay_file_system.h"

#include <gtest/gtest.h>
#include <random>

#include "common/error.h"
#include "storage/base/memory_file.h"

namespace corvix::storage {
namespace {

std::vector<std::byte> ReadAll(File& file) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(file.Size()));
  EXPECT_EQ(file.ReadAt(0, bytes), bytes.size());
  return bytes;
}

class OverlayTest : public testing::Test {
 protected:
  OverlayTest() {
    below.Open(path, OpenMode::Create);
    auto& bytes = below.Contents(path);
    bytes.resize(10'000);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::byte>(i * 7);
    before = bytes;
  }
  std::filesystem::path path = "f";
  MemoryFileSystem below;
  OverlayFileSystem overlay{below};
  std::vector<std::byte> before;
};

TEST_F(OverlayTest, RandomChanges_EqualThoseOfAnOrdinaryFileAndReachNothing) {
  constexpr unsigned kSeed = 20260;
  std::mt19937 random(kSeed);
  MemoryFileSystem plain;
  auto model = plain.Open("f", OpenMode::Create);
  model->WriteAt(0, before);
  auto file = overlay.Open(path, OpenMode::ReadWrite);
  for (int step = 0; step < 400; ++step) {
    const std::uint64_t offset = random() % 14'000;
    if (random() % 8 == 0) {
      file->Truncate(offset);
      model->Truncate(offset);
    } else {
      std::vector<std::byte> bytes(random() % 6'000 + 1, static_cast<std::byte>(random()));
      file->WriteAt(offset, bytes);
      model->WriteAt(offset, bytes);
    }
    ASSERT_EQ(ReadAll(*file), ReadAll(*model)) << "seed " << kSeed << " step " << step;
  }
  EXPECT_EQ(ReadAll(*overlay.Open(path, OpenMode::Read)), ReadAll(*model)) << "other openers see the changes";
  EXPECT_EQ(below.Contents(path), before);
}

TEST_F(OverlayTest, FilesMadeRemovedAndRenamed_ExistInThisLayerOnly) {
  overlay.Open("new", OpenMode::Create)->WriteAt(0, before);
  overlay.Rename(path, "moved");
  EXPECT_EQ(overlay.List(""), (std::vector<std::string>{"moved", "new"}));
  EXPECT_FALSE(overlay.Exists(path));
  EXPECT_THROW(overlay.Open(path, OpenMode::Read), common::Error);
  EXPECT_EQ(ReadAll(*overlay.Open("moved", OpenMode::Read)), before);
  EXPECT_EQ(below.List(""), std::vector<std::string>{"f"});
}

TEST_F(OverlayTest, Locks_AreSharedBelow) {
  auto reader = overlay.Open(path, OpenMode::ReadWrite);
  EXPECT_TRUE(reader->TryLock(LockKind::Exclusive, 0, 0));
  auto other = below.Open(path, OpenMode::ReadWrite);
  EXPECT_TRUE(other->TryLock(LockKind::Shared, 0, 0));
  EXPECT_FALSE(other->TryLock(LockKind::Exclusive, 0, 0));
}

}  // namespace
}  // namespace corvix::storage
