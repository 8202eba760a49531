// The trash, through the library and through the platform's own answer on Linux: the
// freedesktop.org layout that every file manager and `gio trash --list` read. The main of this
// executable (scratch_home_main.cpp) gives it a scratch home.
#include "zuv/transfer/trash.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/trash.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Items = std::map<std::string, std::string>;
namespace fs = std::filesystem;

// Each test starts with an empty home trash.
class TrashTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::remove_all(m_home); }
  // What the home trash holds by relative path, infos aside.
  Items Trashed() const { return fs::exists(m_home) ? Tree(m_home + "/files") : Items{}; }

  const std::string m_home = std::string(std::getenv("XDG_DATA_HOME")) + "/Trash";
  ScratchFolder m_scratch;
};

// Empty paths are skipped, and a name that was not trashed is not told. A later path is taken by
// its name in the first path's folder.
TEST_F(TrashTest, ListTakesEveryNameInTheFirstPathsFolder) {
  fs::create_directories(m_scratch / "one/album");
  fs::create_directories(m_scratch / "two");
  WriteFile(m_scratch / "one/a.jpg", "photo");
  WriteFile(m_scratch / "one/same", "one's");
  WriteFile(m_scratch / "two/same", "two's");
  EXPECT_EQ(ZuvMoveToTrash({PathOf(m_scratch / "one/a.jpg"), CZuvFilePath(),
                            PathOf(m_scratch / "missing"), PathOf(m_scratch / "one/album/"),
                            PathOf(m_scratch / "two/same")}),
            kZuvSuccess);
  EXPECT_EQ(Trashed(), (Items{{"a.jpg", "photo"}, {"album", "<folder>"}, {"same", "one's"}}));
  EXPECT_EQ(Tree(m_scratch / "two"), (Items{{"same", "two's"}}));
}

// A list without a usable first path, and an item that cannot be trashed, are refused: nothing
// moves and the callback is not called. Once trashed, the item stays so whatever the callback says.
TEST_F(TrashTest, ExCallsBackOnceAfterTrashingAndWhatCannotBeTrashedStays) {
  const std::string notUtf8 = m_scratch / "caf\xe9";
  WriteFile(notUtf8, "latin-1 name");
  WriteFile(m_scratch / "b", "b");
  const CZuvFilePath b = PathOf(m_scratch / "b");
  for (const auto& list :
       {std::vector<CZuvFilePath>{}, {CZuvFilePath(), b}, {PathOf(notUtf8), b}}) {
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
  fs::create_directories(volume + "/shoot/raw");
  WriteFile(volume + "/shoot/raw/c.nef", "nef");
  WriteFile(memory + "/scan.png", "png");
  auto& trash = zuv::platform::Replaceable<zuv::platform::Trash>::Real();
  EXPECT_TRUE(trash.Recycle(volume, {"shoot"}));
  EXPECT_FALSE(trash.Recycle(memory, {"scan.png"}));
  const std::string trashed = volume + "/.Trash-" + std::to_string(geteuid());
  EXPECT_EQ(Tree(trashed + "/files"),
            (Items{{"shoot", "<folder>"}, {"shoot/raw", "<folder>"}, {"shoot/raw/c.nef", "nef"}}));
  EXPECT_TRUE(
      Contents(trashed + "/info/shoot.trashinfo").starts_with("[Trash Info]\nPath=shoot\n"));
  EXPECT_EQ(Tree(memory), (Items{{"scan.png", "png"}}));
  EXPECT_EQ(Trashed(), Items{});
}

}  // namespace
