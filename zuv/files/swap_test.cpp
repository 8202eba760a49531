#include "zuv/files/swap.h"

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::OSStatus;
using namespace zuv::platform::testing;
using namespace zuv::testing;
namespace fs = std::filesystem;

using Disk = std::map<std::string, std::string>;
using Dates = std::pair<uint32_t, uint32_t>;
const Dates kMarked = {3'100'000'000, 3'200'000'000};

// Two files to swap, "alpha" and "beta", beside a bystander, in one folder or in two.
struct Pair {
  std::string a;
  std::string b;
  std::string root;
};

Pair MakePair(const std::string& root, bool twoFolders) {
  fs::create_directories(root + "/one");
  fs::create_directories(root + "/two");
  const Pair pair{root + "/one/a.jpg", root + (twoFolders ? "/two" : "/one") + "/b.jpg", root};
  WriteFile(pair.a, "alpha");
  WriteFile(pair.b, "beta");
  WriteFile(root + "/one/bystander", "kept");
  return pair;
}

Disk Swapped(Disk disk, const Pair& pair) {
  std::swap(disk.at(fs::path(pair.a).lexically_relative(pair.root)),
            disk.at(fs::path(pair.b).lexically_relative(pair.root)));
  return disk;
}

// The low 32 bits of the access dates' seconds of both files. An exchange by renames keeps the
// catalog dates with the names.
Dates AccessDates(const Pair& pair) {
  return {CatalogOf(pair.a, kFSCatInfoAccessDate).accessDate.lowSeconds,
          CatalogOf(pair.b, kFSCatInfoAccessDate).accessDate.lowSeconds};
}

void MarkAccessDates(const Pair& pair) {
  for (const auto& [path, seconds] : {std::pair{pair.a, kMarked.first}, {pair.b, kMarked.second}}) {
    FSCatalogInfo info = {};
    info.accessDate = UTCDateTime{0, seconds, 0};
    ASSERT_EQ(zuv::platform::SetCatalogInfo(RefOf(path), kFSCatInfoAccessDate, info),
              zuv::platform::kNoErr);
  }
}

OSStatus Exchange(const std::string& a, const std::string& b) {
  const FSRef refA = RefOf(a);
  const FSRef refB = RefOf(b);
  FSRef newA;
  FSRef newB;
  return FSExchangeObjectsCompat(&refA, &refB, &newA, &newB);
}

// In place on a tmpfs where this may mount one (else in the scratch folder), or by renames.
TEST(SwapTest, ExchangesContentsInPlaceOrByRenames) {
  struct Case {
    const char* what;
    bool native;
    bool twoFolders;
    bool locked;
  };
  const Case cases[] = {
      {"by renames in one folder", false, false, false},
      {"by renames in two folders", false, true, false},
      {"in place", true, true, false},
      {"by renames, locked", false, false, true},
      {"in place, locked", true, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    if (c.locked && !IsRoot()) GTEST_SKIP() << "locking needs root";
    ScratchFolder scratch;
    const std::string root = IsRoot() ? scratch.MountTmpfs("volume") : scratch / "volume";
    ASSERT_FALSE(root.empty());
    const Pair pair = MakePair(root, c.twoFolders);
    if (c.native &&
        !zuv::platform::Replaceable<zuv::platform::FileSystem>::Real().CanExchange(RefOf(pair.a))) {
      GTEST_SKIP() << "this file system cannot exchange two files in place";
    }
    const Disk before = Tree(root);
    MarkAccessDates(pair);  // after reading the files, which may set the access dates
    if (c.locked && !(scratch.Lock(pair.a) && scratch.Lock(pair.b))) {
      GTEST_SKIP() << "chattr +i is not available here";
    }
    FaultyFileSystem fileSystem;
    if (!c.native) fileSystem.AnswerCanExchange(false);
    ScopedReplacement<zuv::platform::FileSystem> use(&fileSystem);
    EXPECT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
    if (!c.native) {
      EXPECT_EQ(AccessDates(pair), kMarked);
    }
    EXPECT_EQ(Tree(root), Swapped(before, pair));
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kExchange), c.native ? 1 : 0);
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kRename), c.native ? 0 : 4);
    EXPECT_EQ(fileSystem.Calls(FaultyFileSystem::kMove), !c.native && c.twoFolders ? 2 : 0);
    EXPECT_EQ(IsLocked(pair.a), c.locked);
    EXPECT_EQ(IsLocked(pair.b), c.locked);
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
      fileSystem.Fail(step.kind, step.call, zuv::platform::kErrIO, step.count);
      ScopedReplacement<zuv::platform::FileSystem> use(&fileSystem);
      EXPECT_EQ(Exchange(pair.a, pair.b), zuv::platform::kErrIO);
      EXPECT_EQ(AccessDates(pair), kMarked);
      EXPECT_EQ(Tree(pair.root), before);
    }
  }
}

TEST(SwapTest, TemporaryNamesAreFreeInBothFolders) {
  ScratchFolder scratch;
  const Pair pair = MakePair(scratch.Path(), true);
  FaultyFileSystem fileSystem;
  fileSystem.AnswerCanExchange(false);
  ScopedReplacement<zuv::platform::FileSystem> use(&fileSystem);
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
  WriteFile(scratch / ("one/" + source), "blocker");
  WriteFile(scratch / ("two/" + dest), "blocker");
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

// Files on two volumes are refused too, where this may mount a second one.
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
    std::vector<Case> cases = {
        {"no first path", "", pair.b, kZuvErrFileSystem},
        {"no second path", pair.a, "", kZuvErrAccessDenied},
        {"a folder", scratch / "two", pair.b, kZuvErrFailed},
        {"the other way", pair.a, scratch / "two", kZuvErrFailed},
    };
    const std::string other = IsRoot() ? scratch.MountTmpfs("other") : "";
    if (!other.empty()) {
      WriteFile(other + "/c.jpg", "gamma");
      cases.push_back({"two volumes", pair.a, other + "/c.jpg", kZuvErrFailed});
    }
    const Disk before = Tree(scratch.Path());
    FaultyFileSystem fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    ScopedReplacement<zuv::platform::FileSystem> use(&fileSystem);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.what) + (native ? " in place" : " by renames"));
      EXPECT_EQ(ZuvSwapFile(PathOf(c.a), PathOf(c.b)), c.result);
      EXPECT_EQ(Tree(scratch.Path()), before);
    }
    if (!other.empty()) {
      EXPECT_EQ(Exchange(pair.a, other + "/c.jpg"), zuv::platform::kErrDifferentVolume);
      EXPECT_EQ(Tree(scratch.Path()), before);
    }
  }
}

}  // namespace
