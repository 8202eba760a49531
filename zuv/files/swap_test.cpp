#include "zuv/files/swap.h"

#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
namespace fs = std::filesystem;

using Disk = std::map<std::string, std::string>;
using Dates = std::pair<uint32_t, uint32_t>;
using F = FaultyFileSystem;
using UseFileSystem = ScopedReplacement<zuv::platform::FileSystem>;
const Dates kMarked = {3'100'000'000, 3'200'000'000};

// Two files to swap, one/a.jpg and b.jpg in one/ or two/, beside a bystander, with marked access
// dates (an exchange by renames keeps the catalog dates with the names).
struct Pair {
  Pair(const std::string& top, bool twoFolders)
      : a(top + "/one/a.jpg"), b(top + (twoFolders ? "/two" : "/one") + "/b.jpg"), root(top) {
    fs::create_directories(root + "/one");
    fs::create_directories(root + "/two");
    WriteFile(a, "alpha");
    WriteFile(b, "beta");
    WriteFile(root + "/one/bystander", "kept");
    before = Tree(root);
    for (const auto& [path, seconds] : {std::pair{a, kMarked.first}, {b, kMarked.second}}) {
      FSCatalogInfo info = {};
      info.accessDate = UTCDateTime{0, seconds, 0};
      zuv::platform::SetCatalogInfo(RefOf(path), kFSCatInfoAccessDate, info);
    }
  }
  Dates AccessDates() const {
    return {CatalogOf(a, kFSCatInfoAccessDate).accessDate.lowSeconds,
            CatalogOf(b, kFSCatInfoAccessDate).accessDate.lowSeconds};
  }
  std::string a, b, root;
  Disk before;
};

// In place on a tmpfs where this may mount one (else in the scratch folder), or by renames;
// locked files stay locked.
TEST(SwapTest, ExchangesContentsInPlaceOrByRenames) {
  for (const auto& [native, twoFolders, locked] : {std::tuple{false, true, false},
                                                   {true, true, false},
                                                   {false, false, true},
                                                   {true, false, true}}) {
    SCOPED_TRACE(testing::Message() << native << twoFolders << locked);
    if (locked && !IsRoot()) GTEST_SKIP() << "locking needs root";
    ScratchFolder scratch;
    const std::string root = IsRoot() ? scratch.MountTmpfs("volume") : scratch / "volume";
    ASSERT_FALSE(root.empty());
    const Pair pair(root, twoFolders);
    if (native &&
        !zuv::platform::Replaceable<zuv::platform::FileSystem>::Real().CanExchange(RefOf(pair.a))) {
      GTEST_SKIP() << "this file system cannot exchange two files in place";
    }
    if (locked && !(scratch.Lock(pair.a) && scratch.Lock(pair.b))) {
      GTEST_SKIP() << "chattr +i is not available here";
    }
    F fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    UseFileSystem use(&fileSystem);
    EXPECT_EQ(ZuvSwapFile(PathOf(pair.a), PathOf(pair.b)), kZuvSuccess);
    EXPECT_TRUE(native || pair.AccessDates() == kMarked);
    Disk swapped = pair.before;
    std::swap(swapped.at("one/a.jpg"), swapped.at(fs::path(pair.b).lexically_relative(root)));
    EXPECT_EQ(Tree(root), swapped);
    EXPECT_EQ(fileSystem.Calls(F::kExchange), native ? 1 : 0);
    EXPECT_EQ(fileSystem.Calls(F::kMove), !native && twoFolders ? 2 : 0);
    EXPECT_EQ(IsLocked(pair.a) + IsLocked(pair.b), locked ? 2 : 0);
  }
}

// Each step of the exchange by renames fails in turn; both files must be back where they were,
// under their own names, with their own contents and catalog dates.
TEST(SwapTest, EveryFailedStepOfTheExchangeByRenamesIsUndone) {
  // kind, call, calls that fail, only with two folders
  const std::tuple<F::Kind, int, int, bool> steps[] = {
      {F::kRename, 1, 1, false}, {F::kRename, 2, 1, false},       {F::kMove, 1, 1, true},
      {F::kMove, 2, 1, true},    {F::kCatalogWrite, 1, 1, false}, {F::kCatalogWrite, 2, 1, false},
      {F::kRename, 3, 1, false}, {F::kRename, 4, 1, false},       {F::kRename, 4, 2, false}};
  for (const bool twoFolders : {false, true}) {
    for (const auto& [kind, call, count, twoFoldersOnly] : steps) {
      if (twoFoldersOnly && !twoFolders) continue;
      SCOPED_TRACE(testing::Message() << kind << " " << call << "+" << count << " " << twoFolders);
      ScratchFolder scratch;
      const Pair pair(scratch.Path(), twoFolders);
      F fileSystem;
      fileSystem.AnswerCanExchange(false);
      fileSystem.Fail(kind, call, zuv::platform::kErrIO, count);
      UseFileSystem use(&fileSystem);
      FSRef newA, newB;
      const FSRef a = RefOf(pair.a), b = RefOf(pair.b);
      EXPECT_EQ(FSExchangeObjectsCompat(&a, &b, &newA, &newB), zuv::platform::kErrIO);
      EXPECT_EQ(pair.AccessDates(), kMarked);
      EXPECT_EQ(Tree(pair.root), pair.before);
    }
  }
}

// Files on two volumes are refused too, where this may mount a second one.
TEST(SwapTest, RefusedSwapsChangeNothing) {
  for (const bool native : {true, false}) {
    ScratchFolder scratch;
    const Pair pair(scratch.Path(), false);
    std::vector<std::tuple<std::string, std::string, ZuvResult>> cases = {
        {"", pair.b, kZuvErrFileSystem},
        {pair.a, "", kZuvErrAccessDenied},
        {scratch / "two", pair.b, kZuvErrFailed},
        {pair.a, scratch / "two", kZuvErrFailed}};
    if (const std::string other = IsRoot() ? scratch.MountTmpfs("other") : ""; !other.empty()) {
      WriteFile(other + "/c.jpg", "gamma");
      cases.emplace_back(pair.a, other + "/c.jpg", kZuvErrFailed);
    }
    const Disk before = Tree(scratch.Path());
    F fileSystem;
    if (!native) fileSystem.AnswerCanExchange(false);
    UseFileSystem use(&fileSystem);
    for (const auto& [a, b, result] : cases) {
      SCOPED_TRACE(a + " " + b + (native ? " in place" : " by renames"));
      EXPECT_EQ(ZuvSwapFile(PathOf(a), PathOf(b)), result);
      EXPECT_EQ(Tree(scratch.Path()), before);
    }
  }
}

}  // namespace
