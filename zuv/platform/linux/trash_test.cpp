// The trash, through the library and through the platform's own answer on Linux: the
// freedesktop.org layout that every file manager and `gio trash --list` read.
#include "zuv/transfer/trash.h"

#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/scratch_home.h"
#include "zuv/platform/trash.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Items = std::map<std::string, std::string>;
namespace fs = std::filesystem;

// Each test starts with an empty home trash in the scratch home of its process.
class TrashTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::remove_all(HomeTrash()); }

  // What the home trash holds by relative path ("<folder>" for a folder), infos aside.
  static Items Trashed() {
    return fs::exists(HomeTrash() + "/files") ? Tree(HomeTrash() + "/files") : Items{};
  }
  static bool Recycle(const std::string& folder, const std::vector<std::string>& names) {
    return zuv::platform::Replaceable<zuv::platform::Trash>::Real().Recycle(folder, names);
  }

  ScratchFolder m_scratch;
};

// The Path= of an info file, which names where the item was.
std::string OriginOf(const std::string& info) {
  std::smatch path;
  const std::string text = Contents(info);
  std::regex_search(text, path, std::regex("^\\[Trash Info\\]\nPath=([^\n]*)\n"));
  return path.str(1);
}

// Empty paths are skipped, and a name that was not trashed is not told. The list is one folder's:
// a later path is taken by its name in the first path's folder.
TEST_F(TrashTest, ListTakesEveryNameInTheFirstPathsFolder) {
  fs::create_directories(m_scratch / "one/album/day");
  fs::create_directories(m_scratch / "two");
  WriteFile(m_scratch / "one/a.jpg", "photo");
  WriteFile(m_scratch / "one/album/day/b.raw", "raw");
  WriteFile(m_scratch / "one/same", "one's");
  WriteFile(m_scratch / "two/same", "two's");
  WriteFile(m_scratch / "two/only", "2");
  EXPECT_EQ(ZuvMoveToTrash({PathOf(m_scratch / "one/a.jpg"), CZuvFilePath(),
                            PathOf(m_scratch / "missing"), PathOf(m_scratch / "one/album/"),
                            PathOf(m_scratch / "two/same"), PathOf(m_scratch / "two/only")}),
            kZuvSuccess);
  EXPECT_EQ(Trashed(), (Items{{"a.jpg", "photo"},
                              {"album", "<folder>"},
                              {"album/day", "<folder>"},
                              {"album/day/b.raw", "raw"},
                              {"same", "one's"}}));
  EXPECT_EQ(Tree(m_scratch / "two"), (Items{{"only", "2"}, {"same", "two's"}}));
}

// A list without a usable first path, and an item that cannot be trashed, are refused: nothing
// moves and the callback is not called. Once trashed, the item stays so whatever the callback says.
TEST_F(TrashTest, ExCallsBackOnceAfterTrashingAndWhatCannotBeTrashedStays) {
  const std::string notUtf8 = m_scratch / "caf\xe9";
  WriteFile(notUtf8, "latin-1 name");
  WriteFile(m_scratch / "b", "b");
  for (const std::vector<CZuvFilePath>& list :
       std::vector<std::vector<CZuvFilePath>>{{},
                                              {CZuvFilePath(), PathOf(m_scratch / "b")},
                                              {PathOf(notUtf8), PathOf(m_scratch / "b")}}) {
    EXPECT_EQ(ZuvMoveToTrash(list), kZuvErrAccessDenied) << list.size();
  }
  CountingCallback callback{0, 1};
  for (const std::string& path :
       {m_scratch / "missing", std::string(), notUtf8, std::string("/")}) {
    EXPECT_EQ(ZuvMoveToTrashEx(PathOf(path), CountingCallback::Call, &callback),
              kZuvErrAccessDenied)
        << path;
  }
  EXPECT_EQ(callback.calls, 0);
  fs::create_directories(m_scratch / "folder/inner");
  EXPECT_EQ(ZuvMoveToTrashEx(PathOf(m_scratch / "folder/"), CountingCallback::Call, &callback),
            kZuvSuccess);
  EXPECT_EQ(callback.calls, 1);
  EXPECT_EQ(Trashed(), (Items{{"folder", "<folder>"}, {"folder/inner", "<folder>"}}));
  EXPECT_EQ(Tree(m_scratch.Path()), (Items{{"b", "b"}, {"caf\xe9", "latin-1 name"}}));
}

// A volume's trash names items from the volume's root; a tmpfs, which GIO counts as internal to
// the system, has none, and the item stays.
TEST_F(TrashTest, ItemsOnAnotherVolumeGoToThatVolumesTrash) {
  if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  const std::string volume = m_scratch.MountDiskImage("volume", "ext4", false);
  const std::string memory = m_scratch.MountTmpfs("memory");
  ASSERT_FALSE(volume.empty() || memory.empty()) << "mke2fs or mount failed";
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
  EXPECT_EQ(OriginOf(trash + "/info/a.tif.trashinfo"), "a.tif");
  EXPECT_EQ(OriginOf(trash + "/info/shoot.trashinfo"), "shoot");
  EXPECT_EQ(Tree(memory), (Items{{"scan.png", "png"}}));
  EXPECT_EQ(Trashed(), Items{});
}

}  // namespace
