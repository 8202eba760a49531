#include "zuv/paths/file_path.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "zuv/platform/catalog.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::testing::ScratchFolder;
using zuv::testing::PathOf;
using zuv::testing::PathText;

TEST(FilePathTest, GetParentClimbsOneFolderAndReportsWhetherItExists) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "sub");
  const struct {
    std::string path;
    ZuvResult result;
    std::string parent;  // what *parent holds afterwards; "-" when untouched
  } cases[] = {{"", kZuvErrEmptyPath, "-"},
               {"/", kZuvErrFileSystem, "-"},
               {"name", kZuvErrFileSystem, "-"},
               {"/a", kZuvSuccess, "/"},
               {scratch / "sub/", kZuvSuccess, scratch.Path()},
               {scratch / "missing/file", kZuvErrFileSystem, scratch / "missing"}};
  for (const auto& c : cases) {
    CZuvFilePath parent = PathOf("-");
    EXPECT_EQ(PathOf(c.path).GetParent(&parent), c.result) << c.path;
    EXPECT_EQ(PathText(parent), c.parent) << c.path;
  }
}

// A path naming nothing is empty, yet keeps its text for an item yet to be made.
TEST(FilePathTest, IsEmptyAlsoForAPathThatNamesNothing) {
  CZuvFilePath path;
  EXPECT_TRUE(path.IsEmpty());
  const CZuvStringData missing = zuv::testing::Text("/no/such/item");
  EXPECT_EQ(kZuvErrFileSystem, path.Initialize(&missing));
  EXPECT_TRUE(path.IsEmpty());
  EXPECT_EQ("/no/such/item", PathText(path));
  FSRef ref;
  EXPECT_EQ(kZuvErrNotFound, path.GetFSRef(&ref));
}

TEST(FilePathTest, AssignmentGoesThroughTheVirtualInitialize) {
  struct CountingPath : CZuvFilePath {
    using CZuvFilePath::operator=;
    ZuvResult Initialize(const CZuvStringData* text) override {
      ++calls;
      return CZuvFilePath::Initialize(text);
    }
    int calls = 0;
  } path;
  path = PathOf("/tmp");
  CZuvFilePath& self = path;
  path = self;  // does nothing
  EXPECT_EQ(1, path.calls);
  EXPECT_EQ("/tmp", PathText(path));
}

TEST(FilePathTest, ReferenceToPathFitsIn2048BytesWithTheTerminator) {
  for (const size_t length : {size_t{2047}, size_t{2048}}) {
    SCOPED_TRACE(length);
    ScratchFolder scratch;
    std::string deep = scratch.Path();
    while (deep.size() + 201 < length) deep += "/" + std::string(150, 'd');
    deep += "/" + std::string(length - deep.size() - 1, 'd');
    std::filesystem::create_directories(deep);
    FSRef ref;
    ASSERT_EQ(PathOf(deep).GetFSRef(&ref), kZuvSuccess);
    const bool fits = length < 2048;
    CZuvStringData text{ZuvCharUtf8("untouched")};
    EXPECT_EQ(fits ? kZuvSuccess : kZuvErrFileSystem, ZuvFSRefToFullPath(ref, &text));
    EXPECT_EQ(fits ? deep : "untouched", text.GetPtrUtf8());
    CZuvFilePath path = PathOf("/tmp");
    EXPECT_EQ(fits ? kZuvSuccess : kZuvErrFileSystem, path.Initialize(&ref));
    EXPECT_EQ(fits ? deep : "", PathText(path));
  }
}

TEST(FilePathTest, ReferenceKeepsTheLastComponentAndResolvesTheFolders) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "real");
  zuv::platform::testing::WriteFile(scratch / "real/file");
  std::filesystem::create_directory_symlink("real", scratch / "linked");
  std::filesystem::create_symlink("file", scratch / "real/alias");
  FSRef ref;
  ASSERT_EQ(PathOf(scratch / "linked/./alias").GetFSRef(&ref), kZuvSuccess);
  EXPECT_EQ(ref.path, scratch / "real/alias");
  ASSERT_EQ(PathOf(scratch / "linked/..").GetFSRef(&ref), kZuvSuccess);
  EXPECT_EQ(ref.path, scratch.Path());
}

}  // namespace
