#include "zuv/transfer/trash.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/scratch_home.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Strings = std::vector<std::string>;
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

  ScratchFolder m_scratch;
};

bool CountCall(void* data) {
  ++*static_cast<int*>(data);
  return false;
}

TEST_F(TrashTest, ListTrashesFilesAndTreesAndSkipsEmptyPaths) {
  WriteFile(m_scratch / "a.jpg", "photo");
  fs::create_directories(m_scratch / "album/day");
  WriteFile(m_scratch / "album/day/b.raw", "raw");
  WriteFile(m_scratch / "keep.txt", "kept");

  const std::vector<CZuvFilePath> paths = {PathOf(m_scratch / "a.jpg"), CZuvFilePath(),
                                           PathOf(m_scratch / "missing"),
                                           PathOf(m_scratch / "album/"), PathOf("")};
  EXPECT_EQ(ZuvMoveToTrash(paths), kZuvSuccess) << "a name that was not trashed is not told";

  EXPECT_EQ(Trashed(), (Items{{"a.jpg", "photo"},
                              {"album", "<folder>"},
                              {"album/day", "<folder>"},
                              {"album/day/b.raw", "raw"}}));
  EXPECT_EQ(Names(m_scratch.Path()), Strings{"keep.txt"});
}

// The list is one folder's: a later path is taken by its name in the first path's folder.
TEST_F(TrashTest, ListTakesEveryNameInTheFirstPathsFolder) {
  fs::create_directories(m_scratch / "one");
  fs::create_directories(m_scratch / "two");
  WriteFile(m_scratch / "one/first", "1");
  WriteFile(m_scratch / "one/same", "one's");
  WriteFile(m_scratch / "two/same", "two's");
  WriteFile(m_scratch / "two/only", "2");

  EXPECT_EQ(ZuvMoveToTrash({PathOf(m_scratch / "one/first"), PathOf(m_scratch / "two/same"),
                            PathOf(m_scratch / "two/only")}),
            kZuvSuccess);

  EXPECT_EQ(Trashed(), (Items{{"first", "1"}, {"same", "one's"}}));
  EXPECT_EQ(Names(m_scratch / "one"), Strings{});
  EXPECT_EQ(Tree(m_scratch / "two"), (Items{{"only", "2"}, {"same", "two's"}}));
}

// A list without a usable first path, and an item that cannot be trashed, are refused; nothing
// moves and the callback is not called.
TEST_F(TrashTest, WhatCannotBeTrashedIsRefusedAndStays) {
  const std::string notUtf8 = m_scratch / "caf\xe9";
  WriteFile(notUtf8, "latin-1 name");
  WriteFile(m_scratch / "b", "b");
  const std::vector<std::vector<CZuvFilePath>> lists = {
      {}, {CZuvFilePath(), PathOf(m_scratch / "b")}, {PathOf(notUtf8), PathOf(m_scratch / "b")}};
  for (const std::vector<CZuvFilePath>& list : lists) {
    EXPECT_EQ(ZuvMoveToTrash(list), kZuvErrAccessDenied) << list.size();
  }
  for (const std::string& path :
       {m_scratch / "missing", std::string(), notUtf8, std::string("/")}) {
    int calls = 0;
    EXPECT_EQ(ZuvMoveToTrashEx(PathOf(path), CountCall, &calls), kZuvErrAccessDenied) << path;
    EXPECT_EQ(calls, 0);
  }
  EXPECT_EQ(Tree(m_scratch.Path()), (Items{{"b", "b"}, {"caf\xe9", "latin-1 name"}}));
  EXPECT_EQ(Trashed(), Items{});
}

TEST_F(TrashTest, ExTrashesTheItemThenCallsBackOnceWhateverTheAnswer) {
  WriteFile(m_scratch / "file", "data");
  fs::create_directories(m_scratch / "folder/inner");
  int calls = 0;
  EXPECT_EQ(ZuvMoveToTrashEx(PathOf(m_scratch / "file"), CountCall, &calls), kZuvSuccess);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(ZuvMoveToTrashEx(PathOf(m_scratch / "folder/"), nullptr, nullptr), kZuvSuccess);
  EXPECT_EQ(Trashed(),
            (Items{{"file", "data"}, {"folder", "<folder>"}, {"folder/inner", "<folder>"}}))
      << "a false answer does not undo the trashing";
  EXPECT_EQ(Names(m_scratch.Path()), Strings{});
}

}  // namespace
