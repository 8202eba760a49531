// The contract of the file system, run against the real one and against the fault-injecting wrapper
// with no faults chosen, so that a test that puts the wrapper in place sees the real answers.
#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/file_system.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::FileSystem;
using zuv::platform::ForkOutcome;
using zuv::platform::kNoErr;
using namespace zuv::platform::testing;
using namespace zuv::testing;
namespace platform = zuv::platform;
using Disk = std::map<std::string, std::string>;

class FileSystemContract : public ::testing::TestWithParam<bool> {
 protected:
  FileSystem& Subject() { return GetParam() ? platform::Replaceable<FileSystem>::Real() : faulty; }

  FaultyFileSystem faulty;
  ScratchFolder scratch;
};

TEST_P(FileSystemContract, ItemsAreMadeWrittenMovedAndRemoved) {
  FileSystem& fileSystem = Subject();
  FSRef folder, file, other, renamed, moved;
  ASSERT_EQ(fileSystem.CreateFolder(RefOf(scratch.Path()), u"folder", &folder), kNoErr);
  ASSERT_EQ(fileSystem.CreateFile(folder, u"a.jpg", &file), kNoErr);
  EXPECT_EQ(file.path, scratch / "folder/a.jpg");
  EXPECT_EQ(fileSystem.CreateFile(folder, u"a.jpg", &other), platform::kErrDuplicateName);
  EXPECT_EQ(fileSystem.CreateFolder(folder, u"a.jpg", &other), platform::kErrDuplicateName);
  for (const std::u16string_view name : {u"", u".", u"..", u"a/b"}) {
    EXPECT_EQ(fileSystem.CreateFile(folder, name, &other), platform::kErrBadName);
  }
  EXPECT_EQ(fileSystem.CreateFolderAtPath(scratch / "folder/sub", 0700), kNoErr);
  EXPECT_EQ(fileSystem.CreateFolderAtPath(scratch / "folder/sub", 0700),
            platform::kErrDuplicateName);
  EXPECT_EQ(fileSystem.WriteFork(file, "photo", 5), (ForkOutcome{}));
  char buffer[8] = {};
  EXPECT_EQ(fileSystem.ReadFork(file, buffer, sizeof buffer), (ForkOutcome{}));
  EXPECT_EQ(std::string(buffer), "photo");
  EXPECT_EQ(fileSystem.ReadFork(folder, buffer, sizeof buffer),
            (ForkOutcome{platform::kErrNotAFile, platform::kErrFileNotOpen}));
  FSCatalogInfo info = {};
  info.accessDate = UTCDateTime{0, 3'100'000'000, 0};
  EXPECT_EQ(fileSystem.SetCatalogInfo(file, kFSCatInfoAccessDate, info), kNoErr);
  EXPECT_EQ(CatalogOf(file.path, kFSCatInfoAccessDate).accessDate.lowSeconds, 3'100'000'000u);
  EXPECT_EQ(fileSystem.DeleteResourceFork(file), platform::kErrForkNotFound);

  ASSERT_EQ(fileSystem.Rename(file, u"b.jpg", &renamed), kNoErr);
  ASSERT_EQ(fileSystem.Move(renamed, RefOf(scratch / "folder/sub"), &moved), kNoErr);
  EXPECT_EQ(moved.path, scratch / "folder/sub/b.jpg");
  ASSERT_EQ(fileSystem.CreateFile(folder, u"c.jpg", &other), kNoErr);
  fileSystem.WriteFork(other, "other", 5);
  const bool exchanges = fileSystem.CanExchange(moved);
  if (exchanges) {
    FSRef newA, newB;
    EXPECT_EQ(fileSystem.Exchange(moved, other, &newA, &newB), kNoErr);
    EXPECT_EQ(fileSystem.Exchange(moved, folder, &newA, &newB), platform::kErrNotAFile);
  }
  std::filesystem::create_symlink(scratch / "nowhere", scratch / "dangling");
  EXPECT_TRUE(fileSystem.Exists(scratch / "folder/c.jpg"));
  EXPECT_FALSE(fileSystem.Exists(scratch / "dangling"));
  EXPECT_EQ(fileSystem.Unlink(scratch / "folder/c.jpg"), kNoErr);
  EXPECT_EQ(fileSystem.Unlink(scratch / "folder/c.jpg"), platform::kErrFileNotFound);
  EXPECT_EQ(fileSystem.Delete(folder), platform::kErrFileBusy) << "not empty";
  EXPECT_EQ(Tree(scratch.Path()), (Disk{{"dangling", ""},
                                        {"folder", "<folder>"},
                                        {"folder/sub", "<folder>"},
                                        {"folder/sub/b.jpg", exchanges ? "other" : "photo"}}));
  EXPECT_TRUE(fileSystem.RemoveTree(scratch / "folder"));
  EXPECT_EQ(fileSystem.Delete(RefOf(scratch / "dangling")), kNoErr);
  EXPECT_TRUE(Tree(scratch.Path()).empty());
}

INSTANTIATE_TEST_SUITE_P(Platform, FileSystemContract, ::testing::Values(true, false),
                         [](const auto& param) {
                           return param.param ? "Real" : "FaultyWithoutFaults";
                         });

}  // namespace
