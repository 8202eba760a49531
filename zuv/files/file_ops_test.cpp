#include "zuv/files/file_ops.h"

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
using Disk = std::map<std::string, std::string>;
using UseFileSystem = ScopedReplacement<zuv::platform::FileSystem>;
namespace fs = std::filesystem;
namespace platform = zuv::platform;

// A short read is not told; nothing is read or written through a link, a folder or nothing. On a
// full volume the size is set all the same, though the volume cannot have held the data.
TEST(FileOpsTest, ReadAndWriteTakeTheWholeFileAndFailOnlyWhenItCannotBeOpened) {
  ScratchFolder scratch;
  const CZuvFilePath photo = PathOf(scratch / "photo.jpg");
  WriteFile(scratch / "photo.jpg", "an older and longer content");
  fs::create_directory(scratch / "folder");
  fs::create_symlink(scratch / "photo.jpg", scratch / "link");
  EXPECT_EQ(ZuvWriteFile(photo, "fresh", 5), kZuvSuccess);
  char buffer[16] = {};
  EXPECT_EQ(ZuvReadFile(photo, buffer, sizeof buffer), kZuvSuccess);
  EXPECT_EQ(std::string(buffer), "fresh");
  for (const std::string name : {"missing", "folder", "link"}) {
    EXPECT_EQ(ZuvReadFile(PathOf(scratch / name), buffer, sizeof buffer), kZuvErrFailed) << name;
    EXPECT_EQ(ZuvWriteFile(PathOf(scratch / name), "new", 3), kZuvErrFailed) << name;
  }
  EXPECT_EQ(Tree(scratch.Path()),
            (Disk{{"folder", "<folder>"}, {"link", "fresh"}, {"photo.jpg", "fresh"}}));
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const std::string full = scratch.MountTmpfs("full", "1m") + "/big";
  WriteFile(full);
  const std::string data(2 << 20, 'd');
  EXPECT_EQ(ZuvWriteFile(PathOf(full), data.data(), data.size()), kZuvSuccess);
  EXPECT_EQ(Contents(full).size(), data.size());
  EXPECT_NE(Contents(full), data);
}

// One folder for all rows; what each made, and only that, must be there at the end.
TEST(FileOpsTest, CreateTellsWhatItMadeOrWhyNot) {
  enum Op { kFile, kFolder, kUnique };
  // operation, name, result, what it made ("": nothing)
  const std::tuple<Op, std::string, ZuvResult, std::string> cases[] = {
      {kFile, "new.jpg", kZuvSuccess, "new.jpg"},
      {kFile, "a.txt", kZuvSuccess, ""},  // always a success, and the file is kept
      {kFolder, "new", kZuvSuccess, "new"},
      {kFolder, "taken", kZuvErrFolderExists, ""},
      {kFolder, "..", kZuvErrInvalidName, ""},
      {kFolder, std::string(300, 'n'), kZuvErrInvalidName, ""},  // too long for the file system
      {kFolder, std::string(1100, 'n'), kZuvErrNameTooLong, ""},
      {kUnique, "a.txt", kZuvSuccess, "a_2.txt"},
      {kUnique, "name", kZuvSuccess, "name_1"},
      {kUnique, "x.tar.gz", kZuvSuccess, "x.tar_1.gz"},
      {kUnique, "dangling", kZuvSuccess, ""},  // a dangling link is a free name
  };
  ScratchFolder scratch;
  Disk disk = {{"taken", "<folder>"}, {"dangling", ""}};
  for (const char* name : {"a.txt", "a_1.txt", "name", "x.tar.gz"}) {
    WriteFile(scratch / name, disk[name] = "old");
  }
  fs::create_directory(scratch / "taken");
  fs::create_symlink(scratch / "nowhere", scratch / "dangling");
  const CZuvFilePath parent = PathOf(scratch.Path());
  for (const auto& [op, name, result, made] : cases) {
    CZuvFilePath out;
    EXPECT_EQ(op == kFile     ? ZuvCreateFile(parent, Text(name), &out)
              : op == kFolder ? ZuvCreateFolder(parent, Text(name), &out)
                              : ZuvCreateUniqueFile(parent, Text(name), &out),
              result)
        << name.substr(0, 20);
    EXPECT_EQ(PathText(out), made.empty() ? "" : scratch / made) << name.substr(0, 20);
    if (!made.empty()) disk[made] = op == kFolder ? "<folder>" : "";
  }
  EXPECT_EQ(Tree(scratch.Path()), disk);
}

// A file and an empty folder go, a full folder is refused; a list stops at its first failure.
// Deleting a link to a folder removes the link alone.
TEST(FileOpsTest, DeleteChecksTheItemFirstAndStopsAtTheFirstFailure) {
  ScratchFolder scratch;
  for (const char* name : {"empty", "full/in", "tree/in", "kept/in", "outside"}) {
    fs::create_directories(scratch / name);
  }
  for (const char* name : {"file", "last", "outside/keep"}) WriteFile(scratch / name, "x");
  fs::create_directory_symlink(scratch / "outside", scratch / "link");
  const auto at = [&](const char* name) { return PathOf(scratch / name); };
  EXPECT_EQ(ZuvDeleteFile({at("file"), at("empty"), at("full"), at("last")}), kZuvErrFailed);
  EXPECT_EQ(ZuvDeleteFile(at("missing")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder({at("tree"), at("missing"), at("kept")}), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(at("link/")), kZuvSuccess);
  EXPECT_EQ(Names(scratch.Path()), (Strings{"full", "kept", "last", "outside"}));
  EXPECT_EQ(Names(scratch / "full"), Strings{"in"});
  EXPECT_EQ(Contents(scratch / "outside/keep"), "x");
}

// Every operation that removes, renames or swaps an item, on paths that name no item of their own
// in a folder; the number of refusals that failed, each reported on stderr.
int RefuseEach(const std::string& base, const Strings& paths, const std::string& file) {
  int wrong = 0;
  for (const std::string& spelling : paths) {
    const CZuvFilePath path = PathOf(base + spelling);
    const ZuvResult results[] = {ZuvDeleteFolder(path), ZuvDeleteFile(path),
                                 ZuvRenameFile(path, Text("renamed"), nullptr),
                                 ZuvSwapFile(path, PathOf(file)), ZuvSwapFile(PathOf(file), path)};
    for (size_t op = 0; op < std::size(results); ++op) {
      if (results[op] == kZuvErrInvalidName) continue;
      std::fprintf(stderr, "'%s', operation %zu: %u\n", (base + spelling).c_str(), op, results[op]);
      ++wrong;
    }
  }
  return wrong;
}

// A last component "." or ".." is refused before anything is touched, however it is spelt; a link
// in a middle component is followed. The root and the working folder, spelt every way, are tried
// inside a root of the test's own (chroot, as root). The album is the one of the report.
TEST(FileOpsTest, PathsThatNameNoItemOfTheirOwnAreRefused) {
  ScratchFolder scratch;
  const std::string t = scratch / "t";
  fs::create_directories(t + "/album/import");
  fs::create_directories(t + "/elsewhere/photos");
  WriteFile(t + "/album/a.jpg", "a");
  WriteFile(t + "/elsewhere/photos/p1.jpg", "p1");
  fs::create_directory_symlink("elsewhere", t + "/shortcut");
  const auto before = Tree(t);
  EXPECT_EQ(RefuseEach(t,
                       {"/shortcut/.", "/album/import/..", "/album/import/../",
                        "/album/import/..//", "/album/import/./..", "/album/.", "/album/./",
                        "/album//.", "/album/.//", "/album/import/.", "/album/../album/.",
                        "/shortcut/photos/..", "/shortcut/../album/import/..", "/missing/.."},
                       t + "/album/a.jpg"),
            0);
  EXPECT_EQ(!IsRoot() ? 0 : RunInChild([&] {
    if (chroot(t.c_str()) != 0 || chdir("/album/import") != 0) return 126;
    return RefuseEach("",
                      {"/", "//", "///", "/.", "/..", "/./", "//..//", ".", "..", "./", "../",
                       ".//", "./.", "../..", "./../."},
                      "/album/a.jpg");
  }),
            0);
  EXPECT_EQ(Tree(t), before);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(t + "/shortcut/photos")), kZuvSuccess);
  EXPECT_EQ(Names(t + "/elsewhere"), Strings{});
  EXPECT_TRUE(fs::is_symlink(t + "/shortcut"));
}

// A tree far deeper than the number of files the process may open goes all the same, and the
// folder that a link at its bottom leads to stays whole. A tmpfs, where there is one, spares the
// disk six thousand items.
TEST(FileOpsTest, DeleteFolderRemovesTreesDeeperThanTheOpenFileLimit) {
  ScratchFolder scratch;
  const std::string volume = IsRoot() ? scratch.MountTmpfs("volume", "64m") : scratch.Path();
  ASSERT_FALSE(volume.empty());
  fs::create_directories(volume + "/tree");
  fs::create_directories(volume + "/outside");
  WriteFile(volume + "/outside/keep", "kept");
  ASSERT_TRUE(MakeDeepTree(volume + "/tree", 3000, volume + "/outside"));
  EXPECT_EQ(
      RunWithOpenFileLimit(
          64, [&] { return ZuvDeleteFolder(PathOf(volume + "/tree")) == kZuvSuccess ? 0 : 1; }),
      0);
  EXPECT_EQ(Tree(volume), (Disk{{"outside", "<folder>"}, {"outside/keep", "kept"}}));
}

TEST(FileOpsTest, DeleteFileWaitsWhileBusyOnlyOnOldSystems) {
  // system version, answers of the failing delete calls, of the unlink (0: the real one), result,
  // pauses
  const std::tuple<uint32_t, std::vector<OSStatus>, OSStatus, ZuvResult, int> cases[] = {
      {0x1039, std::vector<OSStatus>(101, -47), 0, kZuvErrFailed, 100},
      {0x1039, {-47, -5000}, 0, kZuvErrFailed, 1},
      {0x1039, {-5000}, 0, kZuvSuccess, 1},  // any first refusal is retried
      {0x1040, {-47}, 0, kZuvSuccess, 0},
      {0x1040, {-47}, -47, kZuvErrFailed, 0}};
  for (const auto& [version, answers, unlink, result, pauses] : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << version << " " << answers.size() << unlink);
    ScratchFolder scratch;
    WriteFile(scratch / "file");
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
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kPause), pauses);
    EXPECT_EQ(fs::exists(scratch / "file"), result != kZuvSuccess);
  }
}

// A locked file (when this may lock) is renamed or refused for real or by an injected answer; it
// stays locked wherever it ends up.
TEST(FileOpsTest, RenameKeepsALockedFileLockedAndReportsWhyItCouldNot) {
  const bool lock = IsRoot();
  // new name, the rename's answer (0: the real one), result
  const std::tuple<std::string, OSStatus, ZuvResult> cases[] = {
      {"new", 0, kZuvSuccess},
      {"taken", 0, kZuvErrFailed},
      {std::string(300, 'n'), 0, kZuvErrNameTooLong},
      {"new", platform::kErrFileLocked, kZuvErrAccessDenied},
      {"new", platform::kErrFileOpen, kZuvErrInUse}};
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
    EXPECT_EQ(Tree(scratch.Path()), (Disk{{now, "content"}, {"taken", "other"}}));
  }
  EXPECT_EQ(ZuvRenameFile(PathOf("/no/such/item"), Text("x"), nullptr), kZuvErrAccessDenied);
}

// Items that root owns, run as nobody, and a locked file are refused, and nothing changes but
// what a folder could lose around its locked file.
TEST(FileOpsTest, LockedItemsAndItemsOfAnotherUserAreRefused) {
  if (!IsRoot()) GTEST_SKIP() << "dropping to another user and locking need root";
  ScratchFolder scratch;
  WriteFile(scratch / "a", "alpha");
  WriteFile(scratch / "b", "beta");
  fs::create_directories(scratch / "folder/sub");
  WriteFile(scratch / "folder/other", "x");
  WriteFile(scratch / "folder/sub/locked", "kept");
  if (!scratch.Lock(scratch / "folder/sub/locked")) GTEST_SKIP() << "chattr +i is not available";
  Disk disk = Tree(scratch.Path());
  const int failed = RunAsNobody([&] {
    const CZuvFilePath a = PathOf(scratch / "a");
    const ZuvResult results[] = {ZuvDeleteFile(a), ZuvRenameFile(a, Text("c"), nullptr),
                                 ZuvCreateFolder(PathOf(scratch.Path()), Text("new"), nullptr),
                                 ZuvDeleteFolder(PathOf(scratch / "folder")),
                                 ZuvSwapFile(a, PathOf(scratch / "b"))};
    for (size_t i = 0; i < std::size(results); ++i) {
      if (results[i] != kZuvErrAccessDenied) return static_cast<int>(i) + 1;
    }
    return ZuvWriteFile(a, "x", 1) == kZuvErrFailed ? 0 : 99;
  });
  EXPECT_EQ(failed, 0) << "the number of the first case that was not refused";
  EXPECT_EQ(Tree(scratch.Path()), disk);
  EXPECT_EQ(ZuvDeleteFile(PathOf(scratch / "folder/sub/locked")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvDeleteFolder(PathOf(scratch / "folder")), kZuvErrAccessDenied);
  disk.erase("folder/other");
  EXPECT_EQ(Tree(scratch.Path()), disk);
}

}  // namespace
