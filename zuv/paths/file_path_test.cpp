#include "zuv/paths/file_path.h"

#include <filesystem>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "zuv/platform/catalog.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::testing::ScratchFolder;
using zuv::testing::PathOf;
using zuv::testing::PathText;

// A path naming nothing is also empty, yet keeps its text for an item yet to be made.
TEST(FilePathTest, GetParentClimbsOneFolderAndReportsWhetherItExists) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "sub");
  // path, result, what *parent holds afterwards ("-": untouched)
  const std::tuple<std::string, ZuvResult, std::string> cases[] = {
      {"", kZuvErrEmptyPath, "-"},
      {"/", kZuvErrFileSystem, "-"},
      {"name", kZuvErrFileSystem, "-"},
      {"/a", kZuvSuccess, "/"},
      {scratch / "sub/", kZuvSuccess, scratch.Path()},
      {scratch / "missing/file", kZuvErrFileSystem, scratch / "missing"}};
  for (const auto& [path, result, expected] : cases) {
    CZuvFilePath parent = PathOf("-");
    EXPECT_EQ(PathOf(path).GetParent(&parent), result) << path;
    EXPECT_EQ(PathText(parent), expected) << path;
  }
  const CZuvFilePath missing = PathOf("/no/such/item");
  FSRef ref;
  EXPECT_TRUE(missing.IsEmpty() && missing.GetFSRef(&ref) == kZuvErrNotFound);
  EXPECT_EQ("/no/such/item", PathText(missing));
}

TEST(FilePathTest, ReferenceToPathFitsIn2048BytesWithTheTerminator) {
  for (const size_t length : {size_t{2047}, size_t{2048}}) {
    ScratchFolder scratch;
    std::string deep = scratch.Path();
    while (deep.size() + 201 < length) deep += "/" + std::string(150, 'd');
    deep += "/" + std::string(length - deep.size() - 1, 'd');
    std::filesystem::create_directories(deep);
    FSRef ref;
    ASSERT_EQ(PathOf(deep).GetFSRef(&ref), kZuvSuccess);
    const bool fits = length < 2048;
    CZuvStringData text{ZuvCharUtf8("untouched")};
    EXPECT_EQ(fits ? kZuvSuccess : kZuvErrFileSystem, ZuvFSRefToFullPath(ref, &text)) << length;
    EXPECT_EQ(fits ? deep : "untouched", text.GetPtrUtf8());
    CZuvFilePath path = PathOf("/tmp");
    EXPECT_EQ(fits ? kZuvSuccess : kZuvErrFileSystem, path.Initialize(&ref)) << length;
    EXPECT_EQ(fits ? deep : "", PathText(path));
  }
}

}  // namespace
