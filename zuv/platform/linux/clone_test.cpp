// The tree copy on a file system whose files can share extents (XFS with reflink): the copies'
// data is not written again but shared with the source's, and reads the same.
#include <cstdlib>
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/replaceable.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/tree_transfer.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;

// The number of extents of the file and how many of them are shared with another file; {-1, -1}
// when FIEMAP fails.
std::pair<int, int> ExtentsOf(const std::string& path) {
  std::vector<char> buffer(sizeof(fiemap) + 64 * sizeof(fiemap_extent));
  auto* map = reinterpret_cast<fiemap*>(buffer.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_flags = FIEMAP_FLAG_SYNC;
  map->fm_extent_count = 64;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool read = fd >= 0 && ioctl(fd, FS_IOC_FIEMAP, map) == 0;
  close(fd);
  if (!read) return {-1, -1};
  int shared = 0;
  for (uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
    shared += (map->fm_extents[i].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
  }
  return {static_cast<int>(map->fm_mapped_extents), shared};
}

TEST(CloneTest, CopiesOnXfsShareEveryExtentWithTheirSource) {
  if (!IsRoot()) GTEST_SKIP() << "mounting an XFS image needs root";
  if (!HaveTool("mkfs.xfs")) GTEST_SKIP() << "mkfs.xfs is missing (xfsprogs)";
  ScratchFolder scratch;
  const std::string volume = scratch.MountXfsImage("xfs");
  ASSERT_FALSE(volume.empty()) << "the XFS image could not be made or mounted";
  // A file alone, and one inside a folder the copy walks into, of bytes no file system can
  // compress or find twice.
  std::string raw(8 << 20, '\0');
  for (char& byte : raw) byte = static_cast<char>(std::rand());
  ASSERT_EQ(mkdir((volume + "/card").c_str(), 0755), 0);
  WriteFile(volume + "/raw.nef", raw);
  WriteFile(volume + "/card/img.jpg", raw.substr(0, 300 << 10));
  ASSERT_EQ(ExtentsOf(volume + "/raw.nef").second, 0) << "a new file shares extents already";
  auto& transfer = zuv::platform::Replaceable<zuv::platform::TreeTransfer>::Current();
  ASSERT_EQ(transfer.Copy(volume + "/raw.nef", volume + "/raw copy.nef", {}), 0);
  ASSERT_EQ(transfer.Copy(volume + "/card", volume + "/card copy", {}), 0);
  for (const std::string copy : {"/raw copy.nef", "/card copy/img.jpg"}) {
    SCOPED_TRACE(copy);
    const std::string original = copy == "/raw copy.nef" ? raw : raw.substr(0, 300 << 10);
    EXPECT_TRUE(zuv::testing::Contents(volume + copy) == original) << "the copy reads otherwise";
    const auto [all, shared] = ExtentsOf(volume + copy);
    EXPECT_GT(all, 0);
    EXPECT_EQ(shared, all) << "the copy's data was written anew";
  }
}

}  // namespace
