// Where the trash puts items on Linux: the freedesktop.org layout that every file manager and
// `gio trash --list` read, in the home trash and on other volumes.
#include "zuv/platform/trash.h"

#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/scratch_home.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Items = std::map<std::string, std::string>;
namespace fs = std::filesystem;

class LinuxTrashTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::remove_all(HomeTrash()); }
  static bool Recycle(const std::string& folder, const std::vector<std::string>& names) {
    return zuv::platform::Replaceable<zuv::platform::Trash>::Real().Recycle(folder, names);
  }
  ScratchFolder m_scratch;
};

// The Path= of an info file, and its DeletionDate= in local time as seconds since the epoch (-1
// when it is not in the form YYYY-MM-DDThh:mm:ss).
std::pair<std::string, time_t> ReadInfo(const std::string& file) {
  const std::string text = Contents(file);
  EXPECT_EQ(text.rfind("[Trash Info]\n", 0), 0u) << file;
  std::smatch path, date;
  std::regex_search(text, path, std::regex("\nPath=([^\n]*)\n"));
  std::tm local = {};
  local.tm_isdst = -1;
  const bool dated = std::regex_search(text, date, std::regex("\nDeletionDate=([^\n]{19})\n")) &&
                     strptime(date.str(1).c_str(), "%Y-%m-%dT%H:%M:%S", &local) != nullptr;
  return {path.str(1), dated ? mktime(&local) : -1};
}

TEST_F(LinuxTrashTest, HomeTrashKeepsEveryItemWithItsOriginAndTime) {
  const time_t before = time(nullptr);
  for (const std::string contents : {"first", "second"}) {
    WriteFile(m_scratch / "photo.jpg", contents);
    EXPECT_TRUE(Recycle(m_scratch.Path(), {"photo.jpg"}));
  }
  const time_t after = time(nullptr);
  const Items files = Tree(HomeTrash() + "/files");
  ASSERT_EQ(files.size(), 2u) << "the same name trashed twice keeps both";
  EXPECT_EQ(std::set<std::string>({files.begin()->second, files.rbegin()->second}),
            std::set<std::string>({"first", "second"}));
  for (const auto& [name, content] : files) {
    const auto [path, deleted] = ReadInfo(HomeTrash() + "/info/" + name + ".trashinfo");
    EXPECT_EQ(path, m_scratch / "photo.jpg");
    EXPECT_GE(deleted, before - 1);
    EXPECT_LE(deleted, after + 1);
  }
  EXPECT_TRUE(Names(m_scratch.Path()).empty());
}

// A volume's trash names items from the volume's root; a tmpfs, which GIO counts as internal to
// the system, has none, and the item stays.
TEST_F(LinuxTrashTest, ItemsOnAnotherVolumeGoToThatVolumesTrash) {
  if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  if (!HaveTool("mke2fs")) GTEST_SKIP() << "mke2fs is missing";
  const std::string volume = m_scratch.MountDiskImage("volume", "ext4", false);
  const std::string memory = m_scratch.MountTmpfs("memory");
  ASSERT_FALSE(volume.empty() || memory.empty());
  WriteFile(volume + "/a.tif", "tiff");
  fs::create_directories(volume + "/shoot/raw");
  WriteFile(volume + "/shoot/raw/c.nef", "nef");
  WriteFile(memory + "/scan.png", "png");
  EXPECT_TRUE(Recycle(volume, {"a.tif", "shoot"}));
  EXPECT_FALSE(Recycle(memory, {"scan.png"}));
  const std::string trash = volume + "/.Trash-" + std::to_string(geteuid());
  EXPECT_EQ(Tree(trash + "/files"), (Items{{"a.tif", "tiff"},
                                           {"shoot", "<folder>"},
                                           {"shoot/raw", "<folder>"},
                                           {"shoot/raw/c.nef", "nef"}}));
  EXPECT_EQ(ReadInfo(trash + "/info/a.tif.trashinfo").first, "a.tif");
  EXPECT_EQ(ReadInfo(trash + "/info/shoot.trashinfo").first, "shoot");
  EXPECT_EQ(Tree(memory), (Items{{"scan.png", "png"}}));
  EXPECT_FALSE(fs::exists(HomeTrash() + "/files"));
}

}  // namespace
