#include "zuv/files/file_ops.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::OSStatus;
using namespace zuv::platform::testing;
using namespace zuv::testing;
using Strings = std::vector<std::string>;
using UseFileSystem = ScopedReplacement<zuv::platform::FileSystem>;
namespace fs = std::filesystem;
namespace platform = zuv::platform;

// A short read is not told; nothing is read or written through a link, a folder or nothing.
TEST(FileOpsTest, ReadAndWriteTakeTheWholeFileAndFailOnlyWhenItCannotBeOpened) {
  ScratchFolder scratch;
  const CZuvFilePath photo = PathOf(scratch / "photo.jpg");
  WriteFile(scratch / "photo.jpg", "an older and longer content");
  EXPECT_EQ(ZuvWriteFile(photo, "fresh", 5), kZuvSuccess);
  char buffer[16] = {};
  EXPECT_EQ(ZuvReadFile(photo, buffer, sizeof buffer), kZuvSuccess);
  EXPECT_EQ(std::string(buffer), "fresh");
  EXPECT_EQ(ZuvDeleteResourceFork(photo), kZuvErrFailed) << "there is no resource fork";
  fs::create_directory(scratch / "folder");
  fs::create_symlink(scratch / "photo.jpg", scratch / "link");
  for (const std::string name : {"missing", "folder", "link"}) {
    EXPECT_EQ(ZuvReadFile(PathOf(scratch / name), buffer, sizeof buffer), kZuvErrFailed) << name;
    EXPECT_EQ(ZuvWriteFile(PathOf(scratch / name), "new", 3), kZuvErrFailed) << name;
  }
  EXPECT_EQ(Names(scratch.Path()), (Strings{"folder", "link", "photo.jpg"}));
  EXPECT_EQ(Contents(scratch / "photo.jpg"), "fresh");
}

// The size is set all the same, but the volume cannot have held the data.
TEST(FileOpsTest, WriteOnAFullVolumeIsDecidedByTheClose) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  ScratchFolder scratch;
  const std::string volume = scratch.MountTmpfs("full", "1m");
  ASSERT_FALSE(volume.empty());
  WriteFile(volume + "/big");
  const std::string data(2 << 20, 'd');
  EXPECT_EQ(ZuvWriteFile(PathOf(volume + "/big"), data.data(), data.size()), kZuvSuccess);
  const std::string written = Contents(volume + "/big");
  EXPECT_EQ(written.size(), data.size());
  EXPECT_NE(written, data);
}

// One folder for all rows; what each made, and only that, must be there at the end.
TEST(FileOpsTest, CreateTellsWhatItMadeOrWhyNot) {
  enum Op { kFile, kFolder, kUnique };
  const std::tuple<Op, std::string, ZuvResult, std::string> cases[] = {
      // operation, name, result, what it made ("": nothing)
      {kFile, "new.jpg", kZuvSuccess, "new.jpg"},
      {kFile, "taken.jpg", kZuvSuccess, ""},  // always a success
      {kFile, "a/b", kZuvSuccess, ""},
      {kFolder, "new", kZuvSuccess, "new"},
      {kFolder, "taken", kZuvErrFolderExists, ""},
      {kFolder, "..", kZuvErrInvalidName, ""},
      {kFolder, std::string(300, 'n'), kZuvErrInvalidName, ""},  // too long for the file system
      {kFolder, std::string(1100, 'n'), kZuvErrNameTooLong, ""},
      {kUnique, "a.txt", kZuvSuccess, "a_2.txt"},
      {kUnique, "name", kZuvSuccess, "name_1"},
      {kUnique, "x.tar.gz", kZuvSuccess, "x.tar_1.gz"},
      {kUnique, "dangling.jpg", kZuvSuccess, ""},  // a dangling link is a free name
  };
  ScratchFolder scratch;
  const Strings old = {"a.txt", "a_1.txt", "name", "taken.jpg", "x.tar.gz"};
  for (const std::string& name : old) WriteFile(scratch / name, "old");
  fs::create_directory(scratch / "taken");
  fs::create_symlink(scratch / "nowhere", scratch / "dangling.jpg");
  Strings names = old;
  names.insert(names.end(), {"dangling.jpg", "taken"});
  const CZuvFilePath parent = PathOf(scratch.Path());
  for (const auto& [op, name, result, made] : cases) {
    SCOPED_TRACE(name.substr(0, 20));
    CZuvFilePath out;
    EXPECT_EQ(op == kFile     ? ZuvCreateFile(parent, Text(name), &out)
              : op == kFolder ? ZuvCreateFolder(parent, Text(name), &out)
                              : ZuvCreateUniqueFile(parent, Text(name), &out),
              result);
    EXPECT_EQ(PathText(out), made.empty() ? "" : scratch / made);
    if (!made.empty()) names.push_back(made);
  }
  CZuvFilePath out;
  EXPECT_EQ(ZuvCreateFolder(PathOf(scratch / "missing"), Text("x"), &out), kZuvErrAccessDenied);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(Names(scratch.Path()), names);
  for (const std::string& name : names) {
    EXPECT_EQ(Contents(scratch / name), std::count(old.begin(), old.end(), name) ? "old" : "");
  }
}

// A file and an empty folder go, a full folder is refused; a list stops at its first failure.
// Deleting a folder removes the symbolic links in it, never what they point to.
TEST(FileOpsTest, DeleteChecksTheItemFirstAndStopsAtTheFirstFailure) {
  ScratchFolder scratch;
  fs::create_directories(scratch / "outside");
  for (const char* name : {"file", "last", "outside/keep"}) WriteFile(scratch / name, "x");
  fs::create_directory(scratch / "empty");
  for (const char* name : {"full", "tree/deep", "kept"}) {
    fs::create_directories(scratch / name + "/in");
  }
  fs::create_directory_symlink(scratch / "outside", scratch / "tree/deep/to-folder");
  fs::create_symlink(scratch / "outside/keep", scratch / "tree/to-file");
  fs::create_directory_symlink(scratch / "outside", scratch / "link");
  const auto paths = [&](const Strings& names) {
    std::vector<CZuvFilePath> list;
    for (const std::string& name : names) list.push_back(PathOf(scratch / name));
    return list;
  };
  EXPECT_EQ(ZuvDeleteFile(paths({"file", "empty", "full", "last"})), kZuvErrFailed);
  EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "missing")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(paths({"tree", "missing", "kept"})), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "link/")), kZuvSuccess);
  EXPECT_EQ(Names(scratch.Path()), (Strings{"full", "kept", "last", "outside"}));
  EXPECT_EQ(Names(scratch / "full"), Strings{"in"});
  EXPECT_EQ(Contents(scratch / "outside/keep"), "x");
}

// The album of the report: a folder with an empty import folder, and a link to another folder.
void MakeAlbum(const std::string& root) {
  fs::create_directories(root + "/album/import");
  fs::create_directories(root + "/elsewhere/photos");
  WriteFile(root + "/album/a.jpg", "a");
  WriteFile(root + "/elsewhere/photos/p1.jpg", "p1");
  fs::create_directory_symlink("elsewhere", root + "/shortcut");
}

// Every operation that removes, renames or swaps an item on a path that names no item of its own
// in a folder; the number of refusals that failed, each reported on stderr.
int RefuseEach(const std::string& base, const Strings& paths, const std::string& file) {
  int wrong = 0;
  for (const std::string& spelling : paths) {
    const CZuvFilePath path = PathOf(base + spelling);
    const ZuvResult results[] = {
        ZuvDeleteFolder(path),
        ZuvDeleteFile(path),
        ZuvRenameFile(path, Text("renamed"), nullptr),
        ZuvSwapFile(path, PathOf(file)),
        ZuvSwapFile(PathOf(file), path),
    };
    for (size_t op = 0; op < std::size(results); ++op) {
      if (results[op] == kZuvErrInvalidName) continue;
      std::fprintf(stderr, "'%s', operation %zu: %u\n", (base + spelling).c_str(), op, results[op]);
      ++wrong;
    }
  }
  return wrong;
}

// A last component "." or ".." is refused before anything is touched, however it is spelt; a link
// in a middle component is followed.
TEST(FileOpsTest, PathsEndingInDotOrDotDotAreRefused) {
  ScratchFolder scratch;
  const std::string t = scratch / "t";
  MakeAlbum(t);
  const auto before = Tree(t);
  EXPECT_EQ(RefuseEach(t,
                       {"/shortcut/.", "/album/import/..", "/album/import/../",
                        "/album/import/..//", "/album/import/./..", "/album/.", "/album/./",
                        "/album//.", "/album/.//", "/album/import/.", "/album/../album/.",
                        "/shortcut/photos/..", "/shortcut/../album/import/..", "/missing/.."},
                       t + "/album/a.jpg"),
            0);
  EXPECT_EQ(Tree(t), before);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(t + "/shortcut/photos")), kZuvSuccess);
  EXPECT_EQ(Names(t + "/elsewhere"), Strings{});
  EXPECT_TRUE(fs::is_symlink(t + "/shortcut"));
}

// The root and the working folder, spelt every way, inside a root of the test's own.
TEST(FileOpsTest, TheRootAndTheWorkingFolderAreRefused) {
  if (!IsRoot()) GTEST_SKIP() << "a root of the test's own (chroot) needs root";
  ScratchFolder scratch;
  const std::string jail = scratch / "jail";
  MakeAlbum(jail);
  const auto before = Tree(jail);
  EXPECT_EQ(RunInChild([&] {
              if (chroot(jail.c_str()) != 0 || chdir("/album/import") != 0) return 126;
              return RefuseEach("",
                                {"/", "//", "///", "/.", "/..", "/./", "//..//", ".", "..", "./",
                                 "../", ".//", "./.", "../..", "./../."},
                                "/album/a.jpg");
            }),
            0);
  EXPECT_EQ(Tree(jail), before);
}

// A tree far deeper than the number of files the process may open goes all the same, and the
// folder that a link at its bottom leads to stays whole. A tmpfs, where there is one, spares the
// disk six thousand items.
TEST(FileOpsTest, DeleteFolderRemovesTreesDeeperThanTheOpenFileLimit) {
  ScratchFolder scratch;
  const std::string volume = IsRoot() ? scratch.MountTmpfs("volume", "64m") : scratch.Path();
  ASSERT_FALSE(volume.empty());
  fs::create_directories(volume + "/outside/inner");
  WriteFile(volume + "/outside/inner/keep", "kept");
  fs::create_directory(volume + "/tree");
  ASSERT_TRUE(MakeDeepTree(volume + "/tree", 3000, volume + "/outside"));
  EXPECT_EQ(
      RunWithOpenFileLimit(
          64, [&] { return ZuvDeleteFolder(PathOf(volume + "/tree")) == kZuvSuccess ? 0 : 1; }),
      0);
  EXPECT_EQ(Names(volume), Strings{"outside"});
  EXPECT_EQ(Contents(volume + "/outside/inner/keep"), "kept");
}

// A folder loses all it can around a locked file.
TEST(FileOpsTest, LockedFilesAreNotDeleted) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  ScratchFolder scratch;
  fs::create_directories(scratch / "tree/sub");
  WriteFile(scratch / "tree/sub/locked", "kept");
  WriteFile(scratch / "tree/other", "x");
  if (!scratch.Lock(scratch / "tree/sub/locked")) GTEST_SKIP() << "chattr +i is not available";
  EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "tree/sub/locked")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "tree")), kZuvErrAccessDenied);
  EXPECT_EQ(Names(scratch / "tree"), Strings{"sub"});
  EXPECT_EQ(Contents(scratch / "tree/sub/locked"), "kept");
}

TEST(FileOpsTest, DeleteFileWaitsWhileBusyOnlyOnOldSystems) {
  const std::tuple<uint32_t, std::vector<OSStatus>, OSStatus, ZuvResult, int> cases[] = {
      // system version, answers of the delete calls that fail, of the unlink (0: the real one),
      // result, pauses
      {0x1039, {-47, -47, -47, -47}, 0, kZuvSuccess, 4},
      {0x1039, std::vector<OSStatus>(101, -47), 0, kZuvErrFailed, 100},
      {0x1039, {-47, -5000}, 0, kZuvErrFailed, 1},
      {0x1039, {-5000}, 0, kZuvSuccess, 1},  // any first refusal is retried
      {0x1040, {-47}, 0, kZuvSuccess, 0},
      {0x1040, {-47}, -47, kZuvErrFailed, 0},
  };
  for (const auto& [version, answers, unlink, result, pauses] : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << version << " " << answers.size() << unlink);
    ScratchFolder scratch;
    WriteFile(scratch / "file", "x");
    FakeMachineFacts facts;
    facts.systemVersion = version;
    ScopedReplacement<zuv::platform::MachineFacts> useFacts(&facts);
    FaultyFileSystem fileSystem;
    UseFileSystem use(&fileSystem);
    for (size_t i = 0; i < answers.size(); ++i) {
      fileSystem.Fail(FaultyFileSystem::kDelete, static_cast<int>(i) + 1, answers[i]);
    }
    if (unlink != 0) fileSystem.Fail(FaultyFileSystem::kUnlink, 1, unlink);
    EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "file")), result);
    EXPECT_EQ(fileSystem.Pauses(), pauses);
    EXPECT_EQ(fs::exists(scratch / "file"), result != kZuvSuccess);
  }
}

// A locked file (when this may lock) is renamed or refused for real or by an injected answer; it
// stays locked wherever it ends up.
TEST(FileOpsTest, RenameKeepsALockedFileLockedAndReportsWhyItCouldNot) {
  const bool lock = IsRoot();
  const std::tuple<std::string, OSStatus, ZuvResult> cases[] = {
      // new name, the rename's answer (0: the real one), result
      {"new", 0, kZuvSuccess},
      {"taken", 0, kZuvErrFailed},
      {std::string(300, 'n'), 0, kZuvErrNameTooLong},
      {"new", platform::kErrFileLocked, kZuvErrAccessDenied},
      {"new", platform::kErrFileOpen, kZuvErrInUse},
      {"new", platform::kErrNameTooLong, kZuvErrNameTooLong},
  };
  for (const auto& [name, injected, result] : cases) {
    SCOPED_TRACE(name.substr(0, 20) + " " + std::to_string(injected));
    ScratchFolder scratch;
    WriteFile(scratch / "old", "content");
    WriteFile(scratch / "taken", "other");
    if (lock && !scratch.Lock(scratch / "old")) GTEST_SKIP() << "chattr +i is not available here";
    FaultyFileSystem fileSystem;
    UseFileSystem use(&fileSystem);
    if (injected != 0) fileSystem.Fail(FaultyFileSystem::kRename, 1, injected);
    CZuvFilePath out = PathOf("/unchanged");
    EXPECT_EQ(ZuvRenameFile(PathOf(scratch / "old"), Text(name), &out), result);
    const std::string now = result == kZuvSuccess ? "new" : "old";
    EXPECT_EQ(PathText(out), result == kZuvSuccess ? scratch / "new" : "/unchanged");
    EXPECT_EQ(IsLocked(scratch / now), lock);
    if (lock) scratch.Lock(scratch / now);  // to be unlocked at the end
    EXPECT_EQ(Tree(scratch.Path()),
              (std::map<std::string, std::string>{{now, "content"}, {"taken", "other"}}));
  }
  EXPECT_EQ(ZuvRenameFile(PathOf("/no/such/item"), Text("x"), nullptr), kZuvErrAccessDenied);
}

// Run as nobody on items that root owns: every operation is refused and nothing changes.
TEST(FileOpsTest, ItemsOfAnotherUserAreRefused) {
  if (!IsRoot()) GTEST_SKIP() << "dropping to another user needs root";
  ScratchFolder scratch;
  WriteFile(scratch / "a", "alpha");
  WriteFile(scratch / "b", "beta");
  fs::create_directories(scratch / "folder/inside");
  const auto before = Tree(scratch.Path());
  const int failed = RunAsNobody([&] {
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
  EXPECT_EQ(Tree(scratch.Path()), before);
}

TEST(FileOpsTest, PathTextIsSplitAndComparedByWholeComponents) {
  const std::tuple<const char*, const char*, bool> inside[] = {
      {"/a", "/ab", false},   {"/a", "/a/b", true}, {"/", "/x", true},
      {"/a/", "/a/b", false}, {"/a", "/a", true},   {"/A", "/a/b", false},
  };
  for (const auto& [parent, child, expected] : inside) {
    EXPECT_EQ(ZuvIsSubFolder(Text(parent), Text(child)), expected) << parent << " " << child;
    EXPECT_EQ(ZuvIsSubFolder(PathOf(parent), PathOf(child)), expected) << parent << " " << child;
  }
  const std::tuple<const char*, const char*, ZuvResult, const char*> split[] = {
      {"/a/b.jpg", "b.jpg", kZuvSuccess, "/a"},
      {"/a/b/", "", kZuvSuccess, "/a/b"},
      {"/a", "a", kZuvErrNotFound, "unchanged"},
  };
  for (const auto& [path, name, result, parent] : split) {
    CZuvStringData nameOut;
    CZuvStringData parentOut = Text("unchanged");
    EXPECT_EQ(ZuvGetFileNameFromPath(Text(path), &nameOut), kZuvSuccess);
    EXPECT_STREQ(nameOut.GetPtrUtf8(), name);
    EXPECT_EQ(ZuvGetParentFolder(Text(path), &parentOut), result);
    EXPECT_STREQ(parentOut.GetPtrUtf8(), parent);
  }
}

}  // namespace
