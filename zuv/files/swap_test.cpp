#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/files/file_ops.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::OSStatus;
using zuv::platform::testing::FaultyFileSystem;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::ScopedFileSystem;
using zuv::platform::testing::ScratchFolder;
using zuv::testing::Contents;
using zuv::testing::Names;
using zuv::testing::PathOf;
using zuv::testing::Put;
using zuv::testing::Tree;
namespace fs = std::filesystem;

using Disk = std::map<std::string, std::string>;

// Two files to swap, "alpha" and "beta", in one folder or in two.
struct Pair {
  std::string a;
  std::string b;
  std::string root;
};

Pair MakePair(const std::string& root, bool twoFolders) {
  fs::create_directories(root + "/one");
  fs::create_directories(root + "/two");
  Pair pair{root + "/one/a.jpg", root + (twoFolders ? "/two" : "/one") + "/b.jpg", root};
  Put(pair.a, "alpha");
  Put(pair.b, "beta");
  Put(root + "/one/bystander", "kept");
  return pair;
}

Disk Swapped(Disk disk, const Pair& pair) {
  const std::string a = fs::path(pair.a).lexically_relative(pair.root);
  const std::string b = fs::path(pair.b).lexically_relative(pair.root);
  std::swap(disk.at(a), disk.at(b));
  return disk;
}

FSRef RefOf(const std::string& path) {
  FSRef ref;
  EXPECT_EQ(zuv::platform::MakeRef(path, &ref), zuv::platform::kNoErr) << path;
  return ref;
}

// The low 32 bits of the access date's seconds.
uint32_t AccessSeconds(const std::string& path) {
  FSCatalogInfo info = {};
  zuv::platform::GetCatalogInfo(RefOf(path), kFSCatInfoAccessDate, &info, nullptr);
  return info.accessDate.lowSeconds;
}

void SetAccessDate(const std::string& path, uint32_t seconds) {
  FSCatalogInfo info = {};
  info.accessDate = UTCDateTime{0, seconds, 0};
  ASSERT_EQ(zuv::platform::SetCatalogInfo(RefOf(path), kFSCatInfoAccessDate, info),
            zuv::platform::kNoErr);
}

// Marks both files by their access dates, which an exchange by renames keeps with the names.
void MarkAccessDates(const Pair& pair) {
  SetAccessDate(pair.a, 3'100'000'000);
  SetAccessDate(pair.b, 3'200'000'000);
}

void ExpectAccessDatesMarked(const Pair& pair) {
  EXPECT_EQ(AccessSeconds(pair.a), 3'100'000'000u);
  EXPECT_EQ(AccessSeconds(pair.b), 3'200'000'000u);
}

bool IsLocked(const std::string& path) {
  return (CZuvFileHandle(PathOf(path)).GetAttribute() & kZuvAttributeLocked) != 0;
}

TEST(SwapTest, ExchangesInPlaceWhereTheVolumeCan) {
  ScratchFolder scratch;
  const std::string root = IsRoot() ? scratch.MountTmpfs("volume") : scratch / "volume";
  ASSERT_FALSE(root.empty());
  const Pair pair = MakePair(root, true);
  if (!zuv::platform::RealFileSystem().CanExchange(RefOf(pair.a))) {
    GTEST_SKIP() << "this file system cannot exchange two files in place";
  }
  const Disk before = Tree(root);
  FaultyFileSystem fileSystem;
  ScopedFileSystem use(&fileSystem);
  EXPECT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
  EXPECT_EQ(Tree(root), Swapped(before, pair));
  EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kExchange), 1);
  EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kRename), 0);
}

TEST(SwapTest, ExchangesByRenamesWhereTheVolumeCannot) {
  for (const bool twoFolders : {false, true}) {
    SCOPED_TRACE(twoFolders ? "two folders" : "one folder");
    ScratchFolder scratch;
    const Pair pair = MakePair(scratch.Path(), twoFolders);
    const Disk before = Tree(pair.root);
    MarkAccessDates(pair);
    FaultyFileSystem fileSystem;
    fileSystem.AnswerCanExchange(false);
    ScopedFileSystem use(&fileSystem);
    EXPECT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
    ExpectAccessDatesMarked(pair);
    EXPECT_EQ(Tree(pair.root), Swapped(before, pair));
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kExchange), 0);
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kMove), twoFolders ? 2 : 0);
  }
}

// Each step of the exchange by renames fails in turn; both files must be back where they were,
// under their own names, with their own contents and catalog dates.
TEST(SwapTest, EveryFailedStepOfTheExchangeByRenamesIsUndone) {
  struct Step {
    const char* what;
    FaultyFileSystem::Kind kind;
    int call;
    int count;
    bool twoFoldersOnly;
  };
  const Step steps[] = {
      {"first temporary name", FaultyFileSystem::kRename, 1, 1, false},
      {"second temporary name", FaultyFileSystem::kRename, 2, 1, false},
      {"first move", FaultyFileSystem::kMove, 1, 1, true},
      {"second move", FaultyFileSystem::kMove, 2, 1, true},
      {"first catalog write", FaultyFileSystem::kCatalogWrite, 1, 1, false},
      {"second catalog write", FaultyFileSystem::kCatalogWrite, 2, 1, false},
      {"first final name", FaultyFileSystem::kRename, 3, 1, false},
      {"second final name", FaultyFileSystem::kRename, 4, 1, false},
      {"second final name, and back", FaultyFileSystem::kRename, 4, 2, false},
  };
  const OSStatus kInjected = zuv::platform::kErrIO;
  for (const bool twoFolders : {false, true}) {
    for (const Step& step : steps) {
      if (step.twoFoldersOnly && !twoFolders) continue;
      SCOPED_TRACE(std::string(step.what) + (twoFolders ? " in two folders" : " in one folder"));
      ScratchFolder scratch;
      const Pair pair = MakePair(scratch.Path(), twoFolders);
      const Disk before = Tree(pair.root);
      MarkAccessDates(pair);
      FaultyFileSystem fileSystem;
      fileSystem.AnswerCanExchange(false);
      fileSystem.Fail(step.kind, step.call, kInjected, step.count);
      ScopedFileSystem use(&fileSystem);
      const FSRef a = RefOf(pair.a);
      const FSRef b = RefOf(pair.b);
      FSRef newA;
      FSRef newB;
      EXPECT_EQ(FSExchangeObjectsCompat(&a, &b, &newA, &newB), kInjected);
      ExpectAccessDatesMarked(pair);
      EXPECT_EQ(Tree(pair.root), before);
    }
  }
}

TEST(SwapTest, TemporaryNamesAreFreeInBothFolders) {
  ScratchFolder scratch;
  const Pair pair = MakePair(scratch.Path(), true);
  FaultyFileSystem fileSystem;
  fileSystem.AnswerCanExchange(false);
  ScopedFileSystem use(&fileSystem);
  ASSERT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
  const std::vector<std::u16string> first = fileSystem.RenamedTo();
  ASSERT_EQ(first.size(), 4u);
  const std::string source(first[0].begin(), first[0].end());
  const std::string dest(first[1].begin(), first[1].end());
  for (const std::string& name : {source, dest}) {
    EXPECT_EQ(name.size(), 8u);
    EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF"), std::string::npos) << name;
  }

  // The same names, now each taken in one of the folders, must not be used again.
  Put(scratch / ("one/" + source), "blocker");
  Put(scratch / ("two/" + dest), "blocker");
  const Disk blocked = Tree(scratch.Path());
  ASSERT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
  EXPECT_EQ(Tree(scratch.Path()), Swapped(blocked, pair));
  const std::vector<std::u16string> second = fileSystem.RenamedTo();
  ASSERT_EQ(second.size(), 8u);
  for (const std::u16string& name : {second[4], second[5]}) {
    EXPECT_NE(name, first[0]);
    EXPECT_NE(name, first[1]);
  }
}

TEST(SwapTest, LockedFilesAreSwappedAndStayLocked) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  for (const bool native : {true, false}) {
    SCOPED_TRACE(native ? "in place" : "by renames");
    ScratchFolder scratch;
    const std::string root = scratch.MountTmpfs("volume");
    ASSERT_FALSE(root.empty());
    const Pair pair = MakePair(root, false);
    const Disk before = Tree(root);
    if (!scratch.Lock(pair.a) || !scratch.Lock(pair.b)) GTEST_SKIP() << "chattr +i is missing";
    FaultyFileSystem fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    ScopedFileSystem use(&fileSystem);
    EXPECT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
    EXPECT_EQ(Tree(root), Swapped(before, pair));
    EXPECT_TRUE(IsLocked(pair.a));
    EXPECT_TRUE(IsLocked(pair.b));
  }
}

TEST(SwapTest, RefusedSwapsChangeNothing) {
  struct Case {
    const char* what;
    std::string a;
    std::string b;
    ZuvResult result;
  };
  for (const bool native : {true, false}) {
    ScratchFolder scratch;
    const Pair pair = MakePair(scratch.Path(), false);
    const std::string folder = scratch / "two";
    const Case cases[] = {
        {"no first path", "", pair.b, kZuvErrFileSystem},
        {"no second path", pair.a, "", kZuvErrAccessDenied},
        {"no second file", pair.a, scratch / "missing", kZuvErrAccessDenied},
        {"a folder", folder, pair.b, kZuvErrFailed},
        {"the other way", pair.a, folder, kZuvErrFailed},
    };
    const Disk before = Tree(scratch.Path());
    FaultyFileSystem fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    ScopedFileSystem use(&fileSystem);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.what) + (native ? " in place" : " by renames"));
      EXPECT_EQ(ZuvSwapFile(PathOf(c.a), PathOf(c.b)), c.result);
      EXPECT_EQ(Tree(scratch.Path()), before);
    }
  }
}

TEST(SwapTest, FilesOnTwoVolumesAreNotSwapped) {
  if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  for (const bool native : {true, false}) {
    SCOPED_TRACE(native ? "in place" : "by renames");
    ScratchFolder scratch;
    const std::string first = scratch.MountTmpfs("first");
    const std::string second = scratch.MountTmpfs("second");
    ASSERT_FALSE(first.empty() || second.empty());
    Put(first + "/a", "alpha");
    Put(second + "/b", "beta");
    FaultyFileSystem fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    ScopedFileSystem use(&fileSystem);
    const FSRef a = RefOf(first + "/a");
    const FSRef b = RefOf(second + "/b");
    FSRef newA;
    FSRef newB;
    EXPECT_EQ(FSExchangeObjectsCompat(&a, &b, &newA, &newB), zuv::platform::kErrDifferentVolume);
    EXPECT_EQ(ZuvSwapFile(PathOf(first + "/a"), PathOf(second + "/b")), kZuvErrFailed);
    EXPECT_EQ(Names(first), std::vector<std::string>{"a"});
    EXPECT_EQ(Names(second), std::vector<std::string>{"b"});
    EXPECT_EQ(Contents(first + "/a"), "alpha");
    EXPECT_EQ(Contents(second + "/b"), "beta");
  }
}

}  // namespace
