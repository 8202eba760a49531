#include "zuv/files/file_handle.h"

#include <filesystem>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "zuv/files/internal/process_caches.h"
#include "zuv/files/volume.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
namespace fs = std::filesystem;

TEST(FileHandleTest, ClassifiesItemsByKindAndName) {
  ScratchFolder scratch;
  WriteFile(scratch / "photo.JPG", "12345");
  fs::create_directory(scratch / "x.jpg");
  fs::create_directories(scratch / "Viewer.app/Contents");
  fs::create_directory(scratch / "Plain.app");  // no Contents/
  fs::create_directory(scratch / "Tool");
  WriteFile(scratch / "Tool/AppRun");
  fs::permissions(scratch / "Tool/AppRun", fs::perms::owner_exec, fs::perm_options::add);
  fs::create_symlink("photo.JPG", scratch / "alias.jpg");
  WriteFile(scratch / "bad\xff\xe6\x97.jpg");
  const std::tuple<std::string, bool, eZuvFileType, uint64_t, std::string> cases[] = {
      {"photo.JPG", false, kZuvFileTypeJpeg, 5, "photo.JPG"},
      {"x.jpg", true, kZuvFileTypeUnknown, 0, "x.jpg"},
      {"Viewer.app", false, kZuvFileTypeUnknown, 0, "Viewer.app"},  // a bundle is a file
      {"Plain.app", true, kZuvFileTypeUnknown, 0, "Plain.app"},
      {"Tool", false, kZuvFileTypeUnknown, 0, "Tool"},
      {"alias.jpg", false, kZuvFileTypeUnknown, 9, "alias.jpg"},  // the link's own size
      {"bad\xff\xe6\x97.jpg", false, kZuvFileTypeJpeg, 0, "bad\uFFFD\uFFFD\uFFFD.jpg"}};
  for (const auto& [name, folder, type, size, shown] : cases) {
    SCOPED_TRACE(name);
    const CZuvFileHandle handle = PathOf(scratch / name);
    EXPECT_EQ((handle.GetAttribute() & kZuvAttributeFolder) != 0, folder);
    EXPECT_EQ(handle.GetFileType(), type);
    EXPECT_EQ(handle.GetFileSize(), size);
    CZuvStringData actual, display;
    handle.GetActualName(actual);
    handle.GetDisplayName(display);
    EXPECT_EQ(std::string(actual.GetPtrUtf8()) + "|" + display.GetPtrUtf8(), shown + "|" + shown);
  }
}

// The type by the last extension in the handle's own short table; the attributes by the permission
// bits alone; equality by the path.
TEST(FileHandleTest, StaticQueriesLookAtTheNameAndModeAlone) {
  const std::pair<const char*, eZuvFileType> types[] = {
      {"archive.tar.jpg", kZuvFileTypeJpeg},
      {"/p/scan.Tiff", kZuvFileTypeTiff},
      {"movie.mp4", kZuvFileTypeUnknown},  // not in the handle's table
      {"/p.jpg/file", kZuvFileTypeUnknown}};
  for (const auto& [name, type] : types) {
    EXPECT_EQ(CZuvFileHandle::GetFileType(Text(name)), type) << name;
  }
  ScratchFolder scratch;
  WriteFile(scratch / "file");
  constexpr uint32_t R = kZuvAttributeReadable, W = kZuvAttributeWritable,
                     D = kZuvAttributeDeletable, F = kZuvAttributeFolder;
  const std::pair<int, uint32_t> attributes[] = {
      {0600, R | W | D | F}, {0400, R | F}, {0040, R | F}, {0004, F}, {0200, W | D | F}};
  for (const auto& [mode, attribute] : attributes) {
    fs::permissions(scratch / "file", fs::perms(mode));
    EXPECT_EQ(CZuvFileHandle::GetAttribute(Text(scratch / "file")), attribute) << std::oct << mode;
  }
  EXPECT_EQ(CZuvFileHandle::GetAttribute(Text("/no/such/file")), 0u);
  // IsEqual ignores case and a trailing "/" on either side; empty handles are never equal.
  EXPECT_TRUE(CZuvFileHandle(PathOf("/ä/b")).IsEqual(PathOf("/Ä/B/")));
  EXPECT_TRUE(CZuvFileHandle(PathOf("/ä/b/")).IsEqual(PathOf("/Ä/B")));
  EXPECT_FALSE(CZuvFileHandle(PathOf("/a/b")).IsEqual(PathOf("/a/bc")));
  EXPECT_FALSE(CZuvFileHandle().IsEqual(CZuvFileHandle()));
}

TEST(FileHandleTest, LockedFileIsLockedAndItsFolderNotWritable) {
  if (!IsRoot()) GTEST_SKIP() << "locking needs root";
  ScratchFolder scratch;
  fs::create_directory(scratch / "folder");
  WriteFile(scratch / "folder/file");
  if (!scratch.Lock(scratch / "folder")) GTEST_SKIP() << "chattr +i is not available here";
  CZuvFileHandle folder = PathOf(scratch / "folder");
  EXPECT_TRUE(folder.GetAttribute() & kZuvAttributeLocked);
  EXPECT_FALSE(ZuvIsWritable(PathOf(scratch / "folder/file")));
  // Without CAP_LINUX_IMMUTABLE the flag cannot be changed.
  EXPECT_EQ(RunAsNobody([&] { return folder.SetAttribute(0) == kZuvErrFileSystem ? 0 : 1; }), 0);
  EXPECT_EQ(folder.SetAttribute(~uint32_t{kZuvAttributeLocked}), kZuvSuccess);  // the rest ignored
  EXPECT_TRUE(folder.GetAttribute() & kZuvAttributeLocked);                     // until Update()
  EXPECT_EQ(folder.Update(), kZuvSuccess);
  EXPECT_FALSE(folder.GetAttribute() & kZuvAttributeLocked);
  EXPECT_TRUE(ZuvIsWritable(PathOf(scratch / "folder/file")));
}

// What nobody, a member of nogroup, may write. Each row is a folder holding a file of root's with
// mode 0644, which nobody may not write itself: a file is writable where its folder is.
TEST(FileHandleTest, WritableFollowsOwnerGroupAndOtherBitsForTheUser) {
  if (!IsRoot()) GTEST_SKIP() << "changing owners needs root";
  ScratchFolder scratch;
  const auto nobody = FindNobody();
  // The group bits decide before other's, the owner bits before both.
  const std::tuple<uid_t, gid_t, int, bool> cases[] = {
      {0, 0, 0755, false},          {0, 0, 0777, true},          {0, nobody.gid, 0775, true},
      {0, nobody.gid, 0757, false}, {nobody.uid, 0, 0755, true}, {nobody.uid, 0, 0577, false}};
  const auto folder = [&](size_t row) { return scratch / std::to_string(row); };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto& [owner, group, mode, writable] = cases[i];
    fs::create_directory(folder(i));
    WriteFile(folder(i) + "/file");
    ASSERT_EQ(chown(folder(i).c_str(), owner, group), 0);
    fs::permissions(folder(i), fs::perms(mode));
  }
  IsUserMemberOfGroup(nobody.gid);  // the list now holds root's groups, and so the child's copy
  const int failures = RunAsNobody([&] {
    zuv::files_internal::ForgetGroups();
    int failed = 0;
    for (size_t i = 0; i < std::size(cases); ++i) {
      const bool writable = std::get<3>(cases[i]);
      const CZuvFileHandle file = PathOf(folder(i) + "/file");
      if (ZuvIsWritable(PathOf(folder(i))) != writable || ZuvIsWritable(file) != writable ||
          (file.GetAttribute() & kZuvAttributeWritable) != 0) {
        failed |= 1 << i;
      }
    }
    return failed;
  });
  EXPECT_EQ(failures, 0) << "bit i: row i wrong";
}

}  // namespace
