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
               {scratch / "sub/file", kZuvSuccess, scratch / "sub"},
               {scratch / "missing/file", kZuvErrFileSystem, scratch / "missing"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    CZuvFilePath parent = PathOf("-");
    EXPECT_EQ(PathOf(c.path).GetParent(&parent), c.result);
    EXPECT_EQ(PathText(parent), c.parent);
  }
}

TEST(FilePathTest, IsEmptyAlsoForAPathThatNamesNothing) {
  CZuvFilePath path;
  EXPECT_TRUE(path.IsEmpty());
  const CZuvStringData missing = zuv::testing::Text("/no/such/item");
  EXPECT_EQ(kZuvErrFileSystem, path.Initialize(&missing));
  EXPECT_TRUE(path.IsEmpty());
  EXPECT_EQ("/no/such/item", PathText(path));  // kept for an item yet to be made
  FSRef ref;
  EXPECT_EQ(kZuvErrNotFound, path.GetFSRef(&ref));
  EXPECT_FALSE(PathOf("/").IsEmpty());
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
  EXPECT_EQ(1, path.calls);
  EXPECT_EQ("/tmp", PathText(path));
  CZuvFilePath& self = path;
  path = self;  // does nothing
  EXPECT_EQ(1, path.calls);
  EXPECT_EQ("/tmp", PathText(path));
}

// Folders nested until the full path takes `length` bytes, its terminator not counted.
std::string MakePathOfLength(const ScratchFolder& scratch, size_t length) {
  std::string path = scratch.Path();
  while (path.size() + 201 < length) path += "/" + std::string(150, 'd');
  path += "/" + std::string(length - path.size() - 1, 'd');
  std::filesystem::create_directories(path);
  return path;
}

TEST(FilePathTest, ReferenceToPathFitsIn2048BytesWithTheTerminator) {
  for (const size_t length : {size_t{2047}, size_t{2048}}) {
    SCOPED_TRACE(length);
    ScratchFolder scratch;
    const std::string deep = MakePathOfLength(scratch, length);
    ASSERT_EQ(deep.size(), length);
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

  FSRef target;
  ASSERT_EQ(PathOf(scratch / "real/file").GetFSRef(&target), kZuvSuccess);
  EXPECT_FALSE(zuv::platform::CompareRefs(ref, target));  // the link is an item of its own

  ASSERT_EQ(PathOf(scratch / "linked/..").GetFSRef(&ref), kZuvSuccess);
  EXPECT_EQ(ref.path, scratch.Path());
}

}  // namespace
