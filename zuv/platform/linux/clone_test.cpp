// The tree copy on a file system whose files can share extents (XFS with reflink): the copies'
// data is not written again but shared with the source's, and reads the same.
#include <cstdint>
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <random>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/replaceable.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/tree_transfer.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::testing::HaveTool;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::WriteFile;
using zuv::testing::Contents;

// Bytes that no file system can compress or find twice.
std::string RandomBytes(size_t size, unsigned seed) {
  std::independent_bits_engine<std::mt19937, 8, unsigned> random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

// The number of extents of the file and how many of them are shared with another file; -1 for
// both when FIEMAP fails.
struct Extents {
  int all = -1;
  int shared = -1;
};

Extents ExtentsOf(const std::string& path) {
  constexpr int kMost = 64;
  std::vector<uint8_t> buffer(sizeof(fiemap) + kMost * sizeof(fiemap_extent));
  auto* map = reinterpret_cast<fiemap*>(buffer.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_flags = FIEMAP_FLAG_SYNC;
  map->fm_extent_count = kMost;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool read = fd >= 0 && ioctl(fd, FS_IOC_FIEMAP, map) == 0;
  if (fd >= 0) close(fd);
  if (!read) return {};
  Extents extents{static_cast<int>(map->fm_mapped_extents), 0};
  for (uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
    if ((map->fm_extents[i].fe_flags & FIEMAP_EXTENT_SHARED) != 0) ++extents.shared;
  }
  return extents;
}

TEST(CloneTest, CopiesOnXfsShareEveryExtentWithTheirSource) {
  if (!IsRoot()) GTEST_SKIP() << "mounting an XFS image needs root";
  if (!HaveTool("mkfs.xfs")) GTEST_SKIP() << "mkfs.xfs is missing (xfsprogs)";
  ScratchFolder scratch;
  const std::string volume = scratch.MountXfsImage("xfs");
  ASSERT_FALSE(volume.empty()) << "the XFS image could not be made or mounted";

  // A file alone, and one inside a folder the copy walks into.
  const std::string raw = RandomBytes(8 << 20, 1);
  const std::string jpeg = RandomBytes(300 << 10, 2);
  ASSERT_EQ(mkdir((volume + "/card").c_str(), 0755), 0);
  WriteFile(volume + "/raw.nef", raw);
  WriteFile(volume + "/card/img.jpg", jpeg);

  ASSERT_EQ(ExtentsOf(volume + "/raw.nef").shared, 0) << "a new file shares extents already";

  zuv::platform::TreeTransfer& transfer =
      zuv::platform::Replaceable<zuv::platform::TreeTransfer>::Current();
  ASSERT_EQ(transfer.Copy(volume + "/raw.nef", volume + "/raw copy.nef", {}), 0);
  ASSERT_EQ(transfer.Copy(volume + "/card", volume + "/card copy", {}), 0);

  const struct {
    std::string copy;
    const std::string& contents;
  } cases[] = {{volume + "/raw copy.nef", raw}, {volume + "/card copy/img.jpg", jpeg}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.copy);
    EXPECT_TRUE(Contents(c.copy) == c.contents) << "the copy reads otherwise than its source";
    const Extents extents = ExtentsOf(c.copy);
    EXPECT_GT(extents.all, 0);
    EXPECT_EQ(extents.shared, extents.all) << "the copy's data was written anew";
  }
}

}  // namespace
