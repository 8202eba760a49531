#include "zuv/paths/file_path.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "zuv/platform/catalog.h"
#include "zuv/platform/testing/scratch.h"

namespace {

using zuv::platform::testing::ScratchFolder;

CZuvFilePath PathOf(const std::string& text) {
  CZuvFilePath path;
  const CZuvStringData string{ZuvCharUtf8(text.c_str())};
  path.Initialize(&string);
  return path;
}

std::string TextOf(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return text.GetPtrUtf8();
}

TEST(FilePathTest, GetParentClimbsOneFolderAndReportsWhetherItExists) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "sub");
  struct Case {
    std::string path;
    ZuvResult result;
    std::string parent;  // what *parent holds afterwards; "-" when untouched
  };
  const Case cases[] = {
      {"", kZuvErrEmptyPath, "-"},
      {"/", kZuvErrFileSystem, "-"},
      {"name", kZuvErrFileSystem, "-"},
      {"/a", kZuvSuccess, "/"},
      {scratch / "sub/", kZuvSuccess, scratch.Path()},
      {scratch / "sub/file", kZuvSuccess, scratch / "sub"},
      {scratch / "missing/file", kZuvErrFileSystem, scratch / "missing"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    CZuvFilePath parent = PathOf("-");
    EXPECT_EQ(PathOf(c.path).GetParent(&parent), c.result);
    EXPECT_EQ(TextOf(parent), c.parent);
  }
}

TEST(FilePathTest, IsEmptyAlsoForAPathThatNamesNothing) {
  EXPECT_TRUE(CZuvFilePath().IsEmpty());
  EXPECT_TRUE(PathOf("/no/such/item").IsEmpty());
  EXPECT_FALSE(PathOf("/").IsEmpty());

  const CZuvStringData missing{ZuvCharUtf8("/no/such/item")};
  CZuvFilePath path;
  EXPECT_EQ(path.Initialize(&missing), kZuvErrFileSystem);
  EXPECT_EQ(TextOf(path), "/no/such/item");  // kept for an item yet to be made
  FSRef ref;
  EXPECT_EQ(path.GetFSRef(&ref), kZuvErrNotFound);
}

class CountingPath : public CZuvFilePath {
 public:
  using CZuvFilePath::operator=;
  ZuvResult Initialize(const CZuvStringData* path) override {
    ++initializeCalls;
    return CZuvFilePath::Initialize(path);
  }
  int initializeCalls = 0;
};

TEST(FilePathTest, AssignmentGoesThroughTheVirtualInitialize) {
  CountingPath path;
  path = PathOf("/tmp");
  EXPECT_EQ(path.initializeCalls, 1);
  EXPECT_EQ(TextOf(path), "/tmp");

  CZuvFilePath& self = path;
  path = self;
  EXPECT_EQ(path.initializeCalls, 1);
  EXPECT_EQ(TextOf(path), "/tmp");
}

// Folders nested until the full path takes `length` bytes, its terminator not counted.
std::string MakePathOfLength(const ScratchFolder& scratch, size_t length) {
  std::string path = scratch.Path();
  while (path.size() < length) {
    const size_t room = length - path.size() - 1;
    // Leave no remainder too short for another component.
    const size_t component = room > 200 ? std::min<size_t>(room - 2, 150) : room;
    path += "/" + std::string(component, 'd');
  }
  std::filesystem::create_directories(path);
  return path;
}

TEST(FilePathTest, ReferenceToPathFitsIn2048BytesWithTheTerminator) {
  for (const size_t length : {size_t{2047}, size_t{2048}}) {
    ScratchFolder scratch;
    const std::string deep = MakePathOfLength(scratch, length);
    ASSERT_EQ(deep.size(), length);
    FSRef ref;
    ASSERT_EQ(PathOf(deep).GetFSRef(&ref), kZuvSuccess);

    CZuvStringData text{ZuvCharUtf8("untouched")};
    CZuvFilePath path = PathOf("/tmp");
    if (length == 2047) {
      EXPECT_EQ(ZuvFSRefToFullPath(ref, &text), kZuvSuccess);
      EXPECT_EQ(text.GetPtrUtf8(), deep);
      EXPECT_EQ(path.Initialize(&ref), kZuvSuccess);
      EXPECT_EQ(TextOf(path), deep);
    } else {
      EXPECT_EQ(ZuvFSRefToFullPath(ref, &text), kZuvErrFileSystem);
      EXPECT_STREQ(text.GetPtrUtf8(), "untouched");
      EXPECT_EQ(path.Initialize(&ref), kZuvErrFileSystem);
      EXPECT_EQ(TextOf(path), "");
    }
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
