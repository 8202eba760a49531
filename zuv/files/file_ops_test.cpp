#include "zuv/files/file_ops.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::testing::FaultyFileSystem;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::ScopedFileSystem;
using zuv::platform::testing::ScratchFolder;
using zuv::testing::Contents;
using zuv::testing::Names;
using zuv::testing::PathOf;
using zuv::testing::PathText;
using zuv::testing::Put;
namespace fs = std::filesystem;

CZuvStringData Text(const std::string& text) { return CZuvStringData(ZuvCharUtf8(text.c_str())); }

bool IsLocked(const std::string& path) {
  return (CZuvFileHandle(PathOf(path)).GetAttribute() & kZuvAttributeLocked) != 0;
}

// The real machine facts, but for the system version.
class FactsOfSystem : public zuv::platform::testing::CountingMachineFacts {
 public:
  explicit FactsOfSystem(uint32_t version) : m_version(version) {}
  uint32_t SystemVersion() override { return m_version; }

 private:
  uint32_t m_version;
};

TEST(FileOpsTest, WriteReplacesTheWholeFileAndReadReturnsIt) {
  ScratchFolder scratch;
  Put(scratch / "photo.jpg", "an older and longer content");
  EXPECT_EQ(ZuvWriteFile(PathOf(scratch / "photo.jpg"), "fresh", 5), kZuvSuccess);
  EXPECT_EQ(Contents(scratch / "photo.jpg"), "fresh");

  char buffer[16] = {};
  EXPECT_EQ(ZuvReadFile(PathOf(scratch / "photo.jpg"), buffer, 3), kZuvSuccess);
  EXPECT_EQ(std::string(buffer), "fre");
  EXPECT_EQ(ZuvReadFile(PathOf(scratch / "photo.jpg"), buffer, sizeof buffer), kZuvSuccess)
      << "a short read is not reported";
  EXPECT_EQ(std::string(buffer), "fresh");
}

TEST(FileOpsTest, ReadAndWriteFailOnlyWhenNothingCouldBeOpened) {
  ScratchFolder scratch;
  fs::create_directory(scratch / "folder");
  Put(scratch / "target", "kept");
  fs::create_symlink(scratch / "target", scratch / "link");
  for (const std::string name : {"missing", "folder", "link"}) {
    SCOPED_TRACE(name);
    char buffer[4];
    EXPECT_EQ(ZuvReadFile(PathOf(scratch / name), buffer, sizeof buffer), kZuvErrFailed);
    EXPECT_EQ(ZuvWriteFile(PathOf(scratch / name), "new", 3), kZuvErrFailed);
  }
  EXPECT_FALSE(fs::exists(scratch / "missing")) << "writing creates nothing";
  EXPECT_EQ(Contents(scratch / "target"), "kept") << "nothing is written through a link";
}

TEST(FileOpsTest, WriteOnAFullVolumeIsDecidedByTheClose) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  ScratchFolder scratch;
  const std::string volume = scratch.MountTmpfs("full", "1m");
  ASSERT_FALSE(volume.empty());
  Put(volume + "/big", "");
  const std::string data(2 << 20, 'd');
  EXPECT_EQ(ZuvWriteFile(PathOf(volume + "/big"), data.data(), data.size()), kZuvSuccess);
  const std::string written = Contents(volume + "/big");
  EXPECT_EQ(written.size(), data.size()) << "the size is set all the same";
  EXPECT_NE(written, data) << "the volume cannot have held it";
}

TEST(FileOpsTest, CreateFileAlwaysSucceedsAndSaysWhatItMadeThroughOut) {
  ScratchFolder scratch;
  Put(scratch / "taken.jpg", "old");
  struct Case {
    std::string name;
    bool made;
  };
  for (const Case& c :
       {Case{"new.jpg", true}, Case{"taken.jpg", false}, Case{"a/b", false}, Case{"..", false}}) {
    SCOPED_TRACE(c.name);
    CZuvFilePath out;
    EXPECT_EQ(ZuvCreateFile(PathOf(scratch.Path()), Text(c.name), &out), kZuvSuccess);
    EXPECT_EQ(PathText(out), c.made ? scratch / c.name : "");
  }
  EXPECT_EQ(Names(scratch.Path()), (std::vector<std::string>{"new.jpg", "taken.jpg"}));
  EXPECT_EQ(Contents(scratch / "taken.jpg"), "old");
  EXPECT_EQ(ZuvCreateFile(PathOf(scratch / "missing"), Text("x"), nullptr), kZuvSuccess);
}

TEST(FileOpsTest, CreateFolderTellsTakenInvalidAndTooLongNamesApart) {
  ScratchFolder scratch;
  fs::create_directory(scratch / "taken");
  const std::string parent = scratch.Path();
  struct Case {
    std::string parent;
    std::string name;
    ZuvResult result;
  };
  const Case cases[] = {
      {parent, "new", kZuvSuccess},
      {parent, "taken", kZuvErrFolderExists},
      {parent, "", kZuvErrInvalidName},
      {parent, "a/b", kZuvErrInvalidName},
      {parent, "..", kZuvErrInvalidName},
      {parent, std::string(300, 'n'), kZuvErrInvalidName},  // too long for the file system alone
      {parent, std::string(1100, 'n'), kZuvErrNameTooLong},
      {parent + "/missing", "new", kZuvErrAccessDenied},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name.substr(0, 20));
    CZuvFilePath out;
    EXPECT_EQ(ZuvCreateFolder(PathOf(c.parent), Text(c.name), &out), c.result);
    EXPECT_EQ(PathText(out), c.result == kZuvSuccess ? c.parent + "/" + c.name : "");
  }
  EXPECT_EQ(Names(parent), (std::vector<std::string>{"new", "taken"}));
}

TEST(FileOpsTest, CreateUniqueFileNumbersTheNameBeforeItsExtension) {
  struct Case {
    std::vector<std::string> existing;
    std::string wanted;
    std::string made;
  };
  const Case cases[] = {
      {{}, "a.txt", "a.txt"},
      {{"a.txt", "a_1.txt"}, "a.txt", "a_2.txt"},
      {{"name"}, "name", "name_1"},
      {{"x.tar.gz"}, "x.tar.gz", "x.tar_1.gz"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.made);
    ScratchFolder scratch;
    for (const std::string& name : c.existing) Put(scratch / name, "old");
    CZuvFilePath out;
    EXPECT_EQ(ZuvCreateUniqueFile(PathOf(scratch.Path()), Text(c.wanted), &out), kZuvSuccess);
    EXPECT_EQ(PathText(out), scratch / c.made);
    EXPECT_EQ(Contents(scratch / c.made), "");
    for (const std::string& name : c.existing) EXPECT_EQ(Contents(scratch / name), "old");
  }
}

TEST(FileOpsTest, CreateUniqueFileTakesADanglingLinkForAFreeName) {
  ScratchFolder scratch;
  fs::create_symlink(scratch / "nowhere", scratch / "d.jpg");
  CZuvFilePath out;
  EXPECT_EQ(ZuvCreateUniqueFile(PathOf(scratch.Path()), Text("d.jpg"), &out), kZuvSuccess);
  EXPECT_EQ(PathText(out), "") << "the creation failed, unreported";
  EXPECT_EQ(Names(scratch.Path()), std::vector<std::string>{"d.jpg"});
}

TEST(FileOpsTest, DeleteFileChecksTheItemFirst) {
  ScratchFolder scratch;
  Put(scratch / "file", "x");
  fs::create_directory(scratch / "empty");
  fs::create_directories(scratch / "full/inside");
  struct Case {
    std::string path;
    ZuvResult result;
    bool remains;
  };
  const Case cases[] = {
      {scratch / "file", kZuvSuccess, false},  {scratch / "empty", kZuvSuccess, false},
      {scratch / "full", kZuvErrFailed, true}, {scratch / "missing", kZuvErrAccessDenied, false},
      {"", kZuvErrFileSystem, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(ZuvDeleteFile(PathOf(c.path)), c.result);
    EXPECT_EQ(!c.path.empty() && fs::exists(c.path), c.remains);
  }
  EXPECT_TRUE(fs::exists(scratch / "full/inside"));
}

TEST(FileOpsTest, DeleteFileRefusesALockedFile) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  ScratchFolder scratch;
  Put(scratch / "locked", "kept");
  if (!scratch.Lock(scratch / "locked")) GTEST_SKIP() << "chattr +i is not available here";
  EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "locked")), kZuvErrAccessDenied);
  EXPECT_EQ(Contents(scratch / "locked"), "kept");
}

TEST(FileOpsTest, DeleteFileWaitsWhileBusyOnlyOnOldSystems) {
  struct Case {
    const char* what;
    uint32_t systemVersion;
    std::vector<zuv::platform::OSStatus> answers;  // of the delete calls that fail, in order
    ZuvResult result;
    int pauses;
  };
  const std::vector<zuv::platform::OSStatus> busy(101, zuv::platform::kErrFileBusy);
  const Case cases[] = {
      {"busy a while", 0x1039, {-47, -47, -47, -47}, kZuvSuccess, 4},
      {"busy for good", 0x1039, busy, kZuvErrFailed, 100},
      {"busy then refused", 0x1039, {-47, -5000}, kZuvErrFailed, 1},
      {"any first refusal is retried", 0x1039, {-5000}, kZuvSuccess, 1},
      {"newer system unlinks", 0x1040, {-47}, kZuvSuccess, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ScratchFolder scratch;
    Put(scratch / "file", "x");
    FactsOfSystem facts(c.systemVersion);
    zuv::platform::testing::ScopedMachineFacts useFacts(&facts);
    FaultyFileSystem fileSystem;
    ScopedFileSystem use(&fileSystem);
    for (size_t i = 0; i < c.answers.size(); ++i) {
      fileSystem.Fail(FaultyFileSystem::kDelete, static_cast<int>(i) + 1, c.answers[i]);
    }
    EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "file")), c.result);
    EXPECT_EQ(fileSystem.Pauses(), c.pauses);
    EXPECT_EQ(fs::exists(scratch / "file"), c.result != kZuvSuccess);
  }
}

TEST(FileOpsTest, DeleteOfSeveralStopsAtTheFirstFailure) {
  ScratchFolder scratch;
  for (const char* name : {"a", "c"}) fs::create_directories(scratch / name + "/inside");
  Put(scratch / "one", "1");
  Put(scratch / "three", "3");
  EXPECT_EQ(ZuvDeleteFile(std::vector<CZuvFilePath>{
                PathOf(scratch / "one"), PathOf(scratch / "two"), PathOf(scratch / "three")}),
            kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(std::vector<CZuvFilePath>{PathOf(scratch / "a"), PathOf(scratch / "b"),
                                                      PathOf(scratch / "c")}),
            kZuvErrAccessDenied);
  EXPECT_EQ(Names(scratch.Path()), (std::vector<std::string>{"c", "three"}));
  EXPECT_EQ(ZuvDeleteFile(std::vector<CZuvFilePath>{}), kZuvSuccess);
  EXPECT_EQ(ZuvDeleteFolder(std::vector<CZuvFilePath>{PathOf(scratch / "c")}), kZuvSuccess);
}

TEST(FileOpsTest, DeleteFolderRemovesLinksButNotWhatTheyPointTo) {
  ScratchFolder scratch;
  fs::create_directories(scratch / "tree/deep/deeper");
  Put(scratch / "tree/deep/deeper/file", "x");
  fs::create_directory(scratch / "outside");
  Put(scratch / "outside/keep", "kept");
  fs::create_directory_symlink(scratch / "outside", scratch / "tree/deep/to-folder");
  fs::create_symlink(scratch / "outside/keep", scratch / "tree/to-file");
  fs::create_directory_symlink(scratch / "outside", scratch / "link");
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "tree")), kZuvSuccess);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "link/")), kZuvSuccess);
  EXPECT_EQ(Names(scratch.Path()), std::vector<std::string>{"outside"});
  EXPECT_EQ(Contents(scratch / "outside/keep"), "kept");
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "tree")), kZuvErrAccessDenied);
}

TEST(FileOpsTest, DeleteFolderRemovesAllItCanAroundALockedFile) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  ScratchFolder scratch;
  fs::create_directories(scratch / "tree/sub");
  Put(scratch / "tree/sub/locked", "kept");
  Put(scratch / "tree/other", "x");
  if (!scratch.Lock(scratch / "tree/sub/locked")) GTEST_SKIP() << "chattr +i is not available";
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "tree")), kZuvErrAccessDenied);
  EXPECT_EQ(Names(scratch / "tree"), std::vector<std::string>{"sub"});
  EXPECT_EQ(Contents(scratch / "tree/sub/locked"), "kept");
}

TEST(FileOpsTest, RenameKeepsTheItemAndReportsWhyItCouldNot) {
  ScratchFolder scratch;
  Put(scratch / "photo.jpg", "photo");
  Put(scratch / "taken.jpg", "other");
  struct Case {
    std::string name;
    ZuvResult result;
  };
  const Case cases[] = {
      {"taken.jpg", kZuvErrFailed},
      {"a/b", kZuvErrFailed},
      {std::string(300, 'n'), kZuvErrNameTooLong},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name.substr(0, 20));
    CZuvFilePath out = PathOf("/unchanged");
    EXPECT_EQ(ZuvRenameFile(PathOf(scratch / "photo.jpg"), Text(c.name), &out), c.result);
    EXPECT_EQ(PathText(out), "/unchanged");
  }
  EXPECT_EQ(ZuvRenameFile(PathOf(""), Text("x"), nullptr), kZuvErrFileSystem);
  EXPECT_EQ(ZuvRenameFile(PathOf(scratch / "missing"), Text("x"), nullptr), kZuvErrAccessDenied);
  EXPECT_EQ(Names(scratch.Path()), (std::vector<std::string>{"photo.jpg", "taken.jpg"}));

  CZuvFilePath out;
  EXPECT_EQ(ZuvRenameFile(PathOf(scratch / "photo.jpg"), Text("renamed.jpg"), &out), kZuvSuccess);
  EXPECT_EQ(PathText(out), scratch / "renamed.jpg");
  EXPECT_EQ(Contents(scratch / "renamed.jpg"), "photo");
  EXPECT_EQ(Names(scratch.Path()), (std::vector<std::string>{"renamed.jpg", "taken.jpg"}));
}

TEST(FileOpsTest, RenameUnlocksALockedFileAndLocksItAgainWhereverItIs) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  struct Case {
    zuv::platform::OSStatus error;  // the rename's answer
    ZuvResult result;
  };
  const Case cases[] = {
      {zuv::platform::kNoErr, kZuvSuccess},
      {zuv::platform::kErrWritePermission, kZuvErrAccessDenied},
      {zuv::platform::kErrFileLocked, kZuvErrAccessDenied},
      {zuv::platform::kErrAccessDenied, kZuvErrAccessDenied},
      {zuv::platform::kErrFileOpen, kZuvErrInUse},
      {zuv::platform::kErrNameTooLong, kZuvErrNameTooLong},
      {zuv::platform::kErrDuplicateName, kZuvErrFailed},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    ScratchFolder scratch;
    Put(scratch / "old", "content");
    if (!scratch.Lock(scratch / "old")) GTEST_SKIP() << "chattr +i is not available here";
    FaultyFileSystem fileSystem;
    ScopedFileSystem use(&fileSystem);
    if (c.error != zuv::platform::kNoErr) fileSystem.Fail(FaultyFileSystem::kRename, 1, c.error);
    EXPECT_EQ(ZuvRenameFile(PathOf(scratch / "old"), Text("new"), nullptr), c.result);
    const std::string now = scratch / (c.result == kZuvSuccess ? "new" : "old");
    scratch.Lock(now);  // to be unlocked at the end
    EXPECT_EQ(Names(scratch.Path()), std::vector<std::string>{fs::path(now).filename()});
    EXPECT_EQ(Contents(now), "content");
    EXPECT_TRUE(IsLocked(now));
  }
}

// Run as nobody on items that root owns: every operation is refused and nothing changes.
TEST(FileOpsTest, ItemsOfAnotherUserAreRefused) {
  if (!IsRoot()) GTEST_SKIP() << "dropping to another user needs root";
  ScratchFolder scratch;
  Put(scratch / "a", "alpha");
  Put(scratch / "b", "beta");
  fs::create_directories(scratch / "folder/inside");
  const std::vector<std::string> before = Names(scratch.Path());
  const int failed = zuv::platform::testing::RunAsNobody([&] {
    const CZuvFilePath a = PathOf(scratch / "a");
    const ZuvResult results[] = {
        ZuvDeleteFile(a),
        ZuvRenameFile(a, Text("c"), nullptr),
        ZuvCreateFolder(PathOf(scratch.Path()), Text("new"), nullptr),
        ZuvDeleteFolder(PathOf(scratch / "folder")),
        ZuvSwapFile(a, PathOf(scratch / "b")),
    };
    for (size_t i = 0; i < std::size(results); ++i) {
      if (results[i] != kZuvErrAccessDenied) return static_cast<int>(i) + 1;
    }
    return ZuvWriteFile(a, "x", 1) == kZuvErrFailed ? 0 : 99;
  });
  EXPECT_EQ(failed, 0) << "the number of the first case that was not refused";
  EXPECT_EQ(Names(scratch.Path()), before);
  EXPECT_EQ(Contents(scratch / "a"), "alpha");
  EXPECT_EQ(Contents(scratch / "b"), "beta");
  EXPECT_TRUE(fs::exists(scratch / "folder/inside"));
}

TEST(FileOpsTest, ThereIsNoResourceForkToDelete) {
  ScratchFolder scratch;
  Put(scratch / "file", "x");
  EXPECT_EQ(ZuvDeleteResourceFork(PathOf(scratch / "file")), kZuvErrFailed);
  EXPECT_EQ(ZuvDeleteResourceFork(PathOf(scratch / "missing")), kZuvErrFailed);
  EXPECT_EQ(Contents(scratch / "file"), "x");
}

TEST(FileOpsTest, IsSubFolderComparesWholeComponents) {
  struct Case {
    const char* parent;
    const char* child;
    bool inside;
  };
  const Case cases[] = {
      {"/a", "/ab", false}, {"/a", "/a/b", true},  {"/", "/x", true},     {"/a/", "/a/b", false},
      {"/a", "/a", true},   {"/a/b", "/a", false}, {"/A", "/a/b", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.parent) + " " + c.child);
    EXPECT_EQ(ZuvIsSubFolder(Text(c.parent), Text(c.child)), c.inside);
    EXPECT_EQ(ZuvIsSubFolder(PathOf(c.parent), PathOf(c.child)), c.inside);
  }
}

TEST(FileOpsTest, NameAndParentAreSplitAtTheLastSlash) {
  struct Case {
    const char* path;
    const char* name;
    ZuvResult parentResult;
    const char* parent;
  };
  const Case cases[] = {
      {"/a/b.jpg", "b.jpg", kZuvSuccess, "/a"},
      {"/a/b/", "", kZuvSuccess, "/a/b"},
      {"a/b", "b", kZuvSuccess, "a"},
      {"/a", "a", kZuvErrNotFound, "unchanged"},
      {"name", "name", kZuvErrNotFound, "unchanged"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    CZuvStringData name;
    CZuvStringData parent = Text("unchanged");
    EXPECT_EQ(ZuvGetFileNameFromPath(Text(c.path), &name), kZuvSuccess);
    EXPECT_STREQ(name.GetPtrUtf8(), c.name);
    EXPECT_EQ(ZuvGetParentFolder(Text(c.path), &parent), c.parentResult);
    EXPECT_STREQ(parent.GetPtrUtf8(), c.parent);
  }
  CZuvFilePath parent;
  EXPECT_EQ(ZuvGetParentFolder(PathOf("/tmp/x"), &parent), kZuvSuccess);
  EXPECT_EQ(PathText(parent), "/tmp");
}

}  // namespace
