// Where the trash puts items on Linux: the freedesktop.org layout that every file manager and
// `gio trash --list` read, in the home trash and on other volumes.
#include "zuv/platform/trash.h"

#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/scratch_home.h"
#include "zuv/testing/files.h"
#include "zuv/transfer/trash.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Strings = std::vector<std::string>;
using Items = std::map<std::string, std::string>;
namespace fs = std::filesystem;

class LinuxTrashTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::remove_all(HomeTrash()); }
  ScratchFolder m_scratch;
};

// The Path= and DeletionDate= of an info file; DeletionDate as seconds since the epoch, -1 when
// it is not local time in the form YYYY-MM-DDThh:mm:ss.
struct TrashInfo {
  std::string path;
  time_t deleted = -1;
};

TrashInfo ReadInfo(const std::string& file) {
  const std::string text = Contents(file);
  TrashInfo info;
  std::smatch match;
  if (std::regex_search(text, match, std::regex("\nPath=([^\n]*)\n"))) info.path = match[1];
  if (std::regex_search(text, match,
                        std::regex("\nDeletionDate=(\\d{4}-\\d\\d-\\d\\dT[\\d:]{8})\n"))) {
    std::tm local = {};
    local.tm_isdst = -1;
    if (strptime(match.str(1).c_str(), "%Y-%m-%dT%H:%M:%S", &local) != nullptr) {
      info.deleted = mktime(&local);
    }
  }
  EXPECT_EQ(text.rfind("[Trash Info]\n", 0), 0u) << file;
  return info;
}

TEST_F(LinuxTrashTest, HomeTrashKeepsEveryItemWithItsOriginAndTime) {
  const time_t before = time(nullptr);
  for (const std::string contents : {"first", "second"}) {
    WriteFile(m_scratch / "photo.jpg", contents);
    EXPECT_EQ(ZuvMoveToTrashEx(PathOf(m_scratch / "photo.jpg"), nullptr, nullptr), kZuvSuccess);
  }
  const time_t after = time(nullptr);

  const Items files = Tree(HomeTrash() + "/files");
  ASSERT_EQ(files.size(), 2u) << "the same name trashed twice keeps both";
  Strings contents;
  for (const auto& [name, content] : files) {
    contents.push_back(content);
    const TrashInfo info = ReadInfo(HomeTrash() + "/info/" + name + ".trashinfo");
    EXPECT_EQ(info.path, m_scratch / "photo.jpg");
    EXPECT_GE(info.deleted, before - 1);
    EXPECT_LE(info.deleted, after + 1);
  }
  std::sort(contents.begin(), contents.end());
  EXPECT_EQ(contents, (Strings{"first", "second"}));
  EXPECT_EQ(Names(m_scratch.Path()), Strings{});
}

TEST_F(LinuxTrashTest, ItemsOnAnotherVolumeGoToThatVolumesTrash) {
  if (!IsRoot()) GTEST_SKIP() << "mounting an ext4 image needs root";
  if (!HaveTool("mke2fs")) GTEST_SKIP() << "mke2fs is missing";
  const std::string volume = m_scratch.MountDiskImage("volume", "ext4", false);
  ASSERT_FALSE(volume.empty());
  WriteFile(volume + "/a.tif", "tiff");
  fs::create_directories(volume + "/shoot/raw");
  WriteFile(volume + "/shoot/raw/c.nef", "nef");

  EXPECT_EQ(ZuvMoveToTrash({PathOf(volume + "/a.tif"), PathOf(volume + "/shoot")}), kZuvSuccess);

  const std::string trash = volume + "/.Trash-" + std::to_string(geteuid());
  EXPECT_EQ(Tree(trash + "/files"), (Items{{"a.tif", "tiff"},
                                           {"shoot", "<folder>"},
                                           {"shoot/raw", "<folder>"},
                                           {"shoot/raw/c.nef", "nef"}}));
  EXPECT_EQ(ReadInfo(trash + "/info/a.tif.trashinfo").path, "a.tif")
      << "a volume's trash names items from the volume's root";
  EXPECT_EQ(ReadInfo(trash + "/info/shoot.trashinfo").path, "shoot");
  EXPECT_FALSE(fs::exists(HomeTrash() + "/files"));
}

// GIO counts a tmpfs as internal to the system and keeps no trash there: the item stays.
TEST_F(LinuxTrashTest, VolumeWithoutTrashRefusesAndKeepsTheItem) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const std::string volume = m_scratch.MountTmpfs("memory");
  ASSERT_FALSE(volume.empty());
  WriteFile(volume + "/scan.png", "png");
  EXPECT_EQ(ZuvMoveToTrashEx(PathOf(volume + "/scan.png"), nullptr, nullptr), kZuvErrAccessDenied);
  EXPECT_EQ(Tree(volume), (Items{{"scan.png", "png"}}));
  EXPECT_FALSE(fs::exists(HomeTrash() + "/files"));
}

}  // namespace
