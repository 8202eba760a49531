#include "zuv/files/file_handle.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "zuv/files/volume.h"
#include "zuv/platform/testing/scratch.h"

namespace {

using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::WriteFile;
namespace fs = std::filesystem;

CZuvFileHandle HandleOn(const std::string& path) {
  CZuvFileHandle handle;
  const CZuvStringData text{ZuvCharUtf8(path.c_str())};
  handle.Initialize(&text);
  return handle;
}

std::string ActualName(const CZuvFileHandle& handle) {
  CZuvStringData name;
  handle.GetActualName(name);
  return name.GetPtrUtf8();
}

TEST(FileHandleTest, MissingItemHasNothingToCollect) {
  const CZuvFileHandle handle = HandleOn("/no/such/photo.jpg");
  CZuvTime time;
  CZuvStringData name;
  EXPECT_FALSE(handle.IsExist());
  EXPECT_FALSE(handle.IsEmpty());
  EXPECT_EQ(handle.GetFileSize(), 0u);
  EXPECT_EQ(handle.GetAttribute(), 0u);
  EXPECT_EQ(handle.GetFileType(), kZuvFileTypeUnknown);
  EXPECT_EQ(handle.GetUpdateTime(&time), kZuvErrFileSystem);
  EXPECT_TRUE(handle.GetUpdateTime().IsEmpty());
  EXPECT_EQ(handle.GetActualName(name), kZuvErrFailed);
  EXPECT_EQ(handle.GetAccessTime(&time), kZuvErrFileSystem);
  EXPECT_EQ(handle.GetDriveType(), kZuvDriveFixed);
}

TEST(FileHandleTest, ClassifiesItemsByKindAndName) {
  ScratchFolder scratch;
  WriteFile(scratch / "photo.JPG", 5);
  fs::create_directory(scratch / "x.jpg");
  fs::create_directories(scratch / "Viewer.app/Contents");
  fs::create_directory(scratch / "Tool");
  WriteFile(scratch / "Tool/AppRun");
  fs::permissions(scratch / "Tool/AppRun", fs::perms::owner_exec, fs::perm_options::add);
  fs::create_directory(scratch / "Plain.app");  // no Contents/
  fs::create_symlink("photo.JPG", scratch / "alias.jpg");
  WriteFile(scratch / "bad\xff\xe6\x97.jpg");

  struct Case {
    std::string name;
    bool folder;
    eZuvFileType type;
    std::string actualName;
  };
  const Case cases[] = {
      {"photo.JPG", false, kZuvFileTypeJpeg, "photo.JPG"},
      {"x.jpg", true, kZuvFileTypeUnknown, "x.jpg"},
      {"Viewer.app", false, kZuvFileTypeUnknown, "Viewer.app"},
      {"Tool", false, kZuvFileTypeUnknown, "Tool"},
      {"Plain.app", true, kZuvFileTypeUnknown, "Plain.app"},
      {"alias.jpg", false, kZuvFileTypeUnknown, "alias.jpg"},
      {"bad\xff\xe6\x97.jpg", false, kZuvFileTypeJpeg, "bad\uFFFD\uFFFD\uFFFD.jpg"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const CZuvFileHandle handle = HandleOn(scratch / c.name);
    EXPECT_TRUE(handle.IsExist());
    EXPECT_EQ((handle.GetAttribute() & kZuvAttributeFolder) != 0, c.folder);
    EXPECT_EQ(handle.GetFileType(), c.type);
    EXPECT_EQ(ActualName(handle), c.actualName);
    CZuvStringData display;
    EXPECT_EQ(handle.GetDisplayName(display), kZuvSuccess);
    EXPECT_STREQ(display.GetPtrUtf8(), c.actualName.c_str());
  }
  EXPECT_EQ(HandleOn(scratch / "photo.JPG").GetFileSize(), 5u);
  EXPECT_EQ(HandleOn(scratch / "alias.jpg").GetFileSize(), 9u);  // the link's own size
  EXPECT_EQ(HandleOn(scratch / "x.jpg").GetFileSize(), 0u);
}

TEST(FileHandleTest, StaticFileTypeUsesTheLastExtensionOfTheShortTable) {
  const std::pair<const char*, eZuvFileType> cases[] = {
      {"photo.JPG", kZuvFileTypeJpeg},     {"archive.tar.jpg", kZuvFileTypeJpeg},
      {"/p/scan.Tiff", kZuvFileTypeTiff},  {"clip.MpG", kZuvFileTypeMpeg},
      {"x.mpo", kZuvFileTypeMpo},          {"run.log", kZuvFileTypeLog},
      {"README", kZuvFileTypeUnknown},     {"name.", kZuvFileTypeUnknown},
      {"image.bmp", kZuvFileTypeUnknown},  {"movie.mp4", kZuvFileTypeUnknown},
      {"/p.jpg/file", kZuvFileTypeUnknown}};
  for (const auto& [name, type] : cases) {
    EXPECT_EQ(CZuvFileHandle::GetFileType(CZuvStringData(ZuvCharUtf8(name))), type) << name;
  }
}

TEST(FileHandleTest, StaticAttributesLookAtPermissionBitsAlone) {
  ScratchFolder scratch;
  WriteFile(scratch / "file");
  constexpr uint32_t R = kZuvAttributeReadable, W = kZuvAttributeWritable,
                     D = kZuvAttributeDeletable, F = kZuvAttributeFolder;
  const std::pair<fs::perms, uint32_t> cases[] = {{fs::perms(0600), R | W | D | F},
                                                  {fs::perms(0400), R | F},
                                                  {fs::perms(0040), R | F},
                                                  {fs::perms(0004), F},
                                                  {fs::perms(0200), W | D | F}};
  for (const auto& [mode, attribute] : cases) {
    fs::permissions(scratch / "file", mode);
    EXPECT_EQ(CZuvFileHandle::GetAttribute(CZuvStringData(ZuvCharUtf8((scratch / "file").c_str()))),
              attribute)
        << std::oct << static_cast<int>(mode);
  }
  EXPECT_EQ(CZuvFileHandle::GetAttribute(CZuvStringData(ZuvCharUtf8("/no/such/file"))), 0u);
}

TEST(FileHandleTest, SettersChangeTheItemAndUpdateShowsIt) {
  ScratchFolder scratch;
  WriteFile(scratch / "file.wav", 3);
  CZuvFileHandle handle = HandleOn(scratch / "file.wav");
  const CZuvTime collected = handle.GetUpdateTime();
  ASSERT_FALSE(collected.IsEmpty());

  const CZuvTime past(static_cast<unsigned long long>(3000000000ull) << 16 | 0x8000);
  EXPECT_EQ(handle.SetUpdateTime(past), kZuvSuccess);
  EXPECT_EQ(handle.SetCreateTime(past), kZuvErrFileSystem);
  EXPECT_EQ(handle.SetAccessTime(past), kZuvErrNotSupported);
  EXPECT_EQ(handle.GetUpdateTime(), collected);  // the cache is left alone
  CZuvFileHandle copy(handle);
  EXPECT_EQ(copy.GetUpdateTime(), collected);  // copies take the cache along

  EXPECT_EQ(handle.Update(), kZuvSuccess);
  EXPECT_EQ(handle.GetUpdateTime(), past);
  copy = CZuvFilePath(handle);  // a new path forgets the cache
  EXPECT_EQ(copy.GetUpdateTime(), past);

  fs::remove(scratch / "file.wav");
  EXPECT_EQ(handle.Update(), kZuvErrFileSystem);
  EXPECT_EQ(handle.GetFileSize(), 0u);  // a failed collection leaves nothing behind
}

TEST(FileHandleTest, LockedFileIsLockedAndItsFolderNotWritable) {
  if (!zuv::platform::testing::IsRoot()) GTEST_SKIP() << "locking needs root";
  ScratchFolder scratch;
  fs::create_directory(scratch / "folder");
  WriteFile(scratch / "folder/file");
  if (!scratch.Lock(scratch / "folder")) GTEST_SKIP() << "chattr +i is not available here";

  CZuvFileHandle folder = HandleOn(scratch / "folder");
  EXPECT_TRUE(folder.GetAttribute() & kZuvAttributeLocked);
  EXPECT_FALSE(ZuvIsWritable(folder));
  EXPECT_FALSE(ZuvIsWritable(HandleOn(scratch / "folder/file")));

  EXPECT_EQ(folder.SetAttribute(0), kZuvSuccess);
  EXPECT_TRUE(folder.GetAttribute() & kZuvAttributeLocked);  // until Update()
  EXPECT_EQ(folder.Update(), kZuvSuccess);
  EXPECT_FALSE(folder.GetAttribute() & kZuvAttributeLocked);
  EXPECT_TRUE(ZuvIsWritable(HandleOn(scratch / "folder/file")));

  EXPECT_EQ(folder.SetAttribute(kZuvAttributeLocked | kZuvAttributeWritable), kZuvSuccess);
  folder.Update();
  EXPECT_TRUE(folder.GetAttribute() & kZuvAttributeLocked);
  // Without CAP_LINUX_IMMUTABLE the flag cannot be changed.
  EXPECT_EQ(zuv::platform::testing::RunAsNobody(
                [&] { return folder.SetAttribute(0) == kZuvErrFileSystem ? 0 : 1; }),
            0);
}

TEST(FileHandleTest, IsEqualComparesPathsIgnoringCaseAndATrailingSlash) {
  EXPECT_TRUE(HandleOn("/a/b").IsEqual(HandleOn("/A/B/")));
  EXPECT_TRUE(HandleOn("/ä/ß").IsEqual(HandleOn("/Ä/ß")));
  EXPECT_FALSE(HandleOn("/a/b").IsEqual(HandleOn("/a/bc")));
  EXPECT_FALSE(CZuvFileHandle().IsEqual(CZuvFileHandle()));
}

// What nobody, a member of nogroup, may write. Each row is an item in the scratch folder.
TEST(FileHandleTest, WritableFollowsOwnerGroupAndOtherBitsForTheUser) {
  if (!zuv::platform::testing::IsRoot()) GTEST_SKIP() << "changing owners needs root";
  ScratchFolder scratch;
  const auto nobody = zuv::platform::testing::FindNobody();
  struct Case {
    std::string name;
    uid_t owner;
    gid_t group;
    int mode;
    bool writable;
  };
  const Case cases[] = {
      {"root-755", 0, 0, 0755, false},
      {"root-777", 0, 0, 0777, true},
      {"root-nogroup-775", 0, nobody.gid, 0775, true},
      {"root-nogroup-757", 0, nobody.gid, 0757, false},  // the group bits decide, not other
      {"nobody-755", nobody.uid, 0, 0755, true},
      {"nobody-577", nobody.uid, 0, 0577, false},  // the owner bits decide
  };
  for (const Case& c : cases) {
    fs::create_directory(scratch / c.name);
    WriteFile(scratch / (c.name + "/file"));
    ASSERT_EQ(chown((scratch / c.name).c_str(), c.owner, c.group), 0);
    fs::permissions(scratch / c.name, fs::perms(c.mode));
  }
  const int failures = zuv::platform::testing::RunAsNobody([&] {
    int failed = IsUserMemberOfGroup(nobody.gid) ? 0 : 0x80;
    for (size_t i = 0; i < std::size(cases); ++i) {
      // A file is writable where its folder is, whatever its own bits (root's 0644 here).
      if (ZuvIsWritable(HandleOn(scratch / cases[i].name)) != cases[i].writable ||
          ZuvIsWritable(HandleOn(scratch / (cases[i].name + "/file"))) != cases[i].writable) {
        failed |= 1 << i;
      }
    }
    return failed;
  });
  EXPECT_EQ(failures, 0) << "bit i: row i wrong; 0x80: the group list was read before the fork";
}

}  // namespace
