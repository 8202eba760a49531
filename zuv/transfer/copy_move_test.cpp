#include "zuv/transfer/copy_move.h"

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Counter = CountingCallback;
using Strings = std::vector<std::string>;

TEST(CopyMoveTest, MakeFilePathJoinsOneComponentWithinLimits) {
  // Folder, name, and the path joined (null: kZuvErrInvalidName).
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"/a/", "b/", "/a/b"}, {"/", "b", "/b"},       {"", "b", "b"},          {"/a", "..", nullptr},
      {"/a", "", nullptr},   {"/a", "b/.", nullptr}, {"/a\xff", "b", nullptr}};
  for (const auto& [folder, name, joined] : cases) {
    CZuvStringData out;
    EXPECT_EQ(ZuvMakeFilePath(Text(folder), Text(name), &out),
              joined ? kZuvSuccess : kZuvErrInvalidName)
        << folder << name;
    EXPECT_STREQ(joined ? out.GetPtrUtf8() : nullptr, joined);
  }
  EXPECT_EQ(ZuvMakeFilePath(Text("/a"), Text("b"), static_cast<CZuvStringData*>(nullptr)),
            kZuvErrNotFound);
  // Folder and name together may take 1023 UTF-8 bytes with the separator; a name 255 UTF-16
  // units. The path object form needs an item there.
  ScratchFolder scratch;
  std::string folder = scratch.Path();
  while (folder.size() < 1000) {
    folder += "/" + std::string(std::min<size_t>(200, 1000 - folder.size() - 1), 'd');
    ASSERT_TRUE(std::filesystem::create_directory(folder));
  }
  WriteFile(folder + "/" + std::string(22, 'n'));
  CZuvFilePath out;
  EXPECT_EQ(ZuvMakeFilePath(PathOf(folder), Text(std::string(23, 'n')), &out), kZuvErrPathTooLong);
  EXPECT_EQ(ZuvMakeFilePath(PathOf(folder), Text(std::string(22, 'n')), &out), kZuvSuccess);
  EXPECT_EQ(PathText(out), folder + "/" + std::string(22, 'n'));
  std::string units255;
  for (int i = 0; i < 85; ++i) units255 += "\xe3\x81\x82";  // three bytes, one unit each
  units255 += std::string(170, 'x');
  EXPECT_EQ(ZuvMakeFilePath(PathOf(scratch.Path()), Text(units255 + "x"), &out),
            kZuvErrNameTooLong);
  EXPECT_EQ(ZuvMakeFilePath(PathOf(scratch.Path()), Text(units255), &out),
            kZuvErrFileSystem);  // 255 units pass the check; nothing is there
}

TEST(CopyMoveTest, FolderChecksRefuseSamePathAndDestinationInside) {
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b"), Text("/a/bc")), kZuvSuccess);
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b/c"), Text("/a/b")), kZuvSuccess);
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "album");
  const CZuvFilePath album = PathOf(scratch / "album");
  EXPECT_EQ(ZuvCopyFolderEx(album, album, Text("x"), nullptr, nullptr), kZuvErrSamePath);
  EXPECT_EQ(ZuvCopyFolder(album, PathOf(scratch / "album/sub"), Text("x"), nullptr),
            kZuvErrSubFolder);
  EXPECT_EQ(ZuvMoveFileEx(PathOf(scratch / "album\xff"), PathOf(scratch.Path()), Text("x"), nullptr,
                          nullptr),
            kZuvErrAccessDenied);  // a source path that is not UTF-8
  EXPECT_EQ(ZuvCopyFolderOverwriteEx(album, PathOf(scratch.Path()), nullptr, nullptr, nullptr),
            kZuvErrSubFolder);  // a null name: the item to replace is the source's parent
  EXPECT_EQ(Names(scratch.Path()), Strings{"album"});
}

// Every variant that takes a folder and a name (here called with a null `out` where it has one).
struct Variant {
  ZuvResult (*call)(const CZuvFilePath&, const CZuvFilePath&, const CZuvStringData*, CZuvFilePath*);
  bool moves;
  // When an item is at the new path, when it cannot be removed, on a full volume where the
  // destination folder is writable.
  ZuvResult whenTaken, whenKept, whenFull;
  char nullName;  // a null name makes the destination 'i' the item, 'f' the folder; 0: none taken
  const char* name;
};

constexpr ZuvResult kOk = kZuvSuccess, kDenied = kZuvErrAccessDenied, kFull = kZuvErrDiskFull;
const Variant kVariants[] = {
    {[](auto& s, auto& d, auto* n, auto* o) { return ZuvCopyFile(s, d, *n, o); }, false, kDenied,
     kDenied, kFull, 0, "CopyFile"},
    {[](auto& s, auto& d, auto* n, auto* o) { return ZuvCopyFileOverwrite(s, d, n, o); }, false,
     kOk, kDenied, kFull, 'f', "CopyFileOverwrite"},
    {[](auto& s, auto& d, auto* n, auto*) { return ZuvCopyFileOverwriteEx(s, d, n, nullptr, 0); },
     false, kOk, kDenied, kFull, 'i', "CopyFileOverwriteEx"},
    {[](auto& s, auto& d, auto* n, auto* o) { return ZuvCopyFolder(s, d, *n, o); }, false, kDenied,
     kDenied, kDenied, 0, "CopyFolder"},
    {[](auto& s, auto& d, auto* n, auto*) { return ZuvCopyFolderEx(s, d, *n, nullptr, 0); }, false,
     kOk, kOk, kDenied, 0, "CopyFolderEx"},
    {[](auto& s, auto& d, auto* n, auto*) { return ZuvCopyFolderOverwriteEx(s, d, n, nullptr, 0); },
     false, kOk, kOk, kFull, 'i', "CopyFolderOverwriteEx"},
    {[](auto& s, auto& d, auto* n, auto* o) { return ZuvMoveFile(s, d, *n, o); }, true, kDenied,
     kDenied, kDenied, 0, "MoveFile"},
    {[](auto& s, auto& d, auto* n, auto*) { return ZuvMoveFileEx(s, d, *n, nullptr, 0); }, true,
     kOk, kOk, kFull, 0, "MoveFileEx"},
    {[](auto& s, auto& d, auto* n, auto* o) { return ZuvMoveFileOverwrite(s, d, n, o); }, true, kOk,
     kOk, kFull, 'f', "MoveFileOverwrite"},
    {[](auto& s, auto& d, auto* n, auto*) { return ZuvMoveFileOverwriteEx(s, d, n, nullptr, 0); },
     true, kOk, kOk, kFull, 'f', "MoveFileOverwriteEx"},
};

// On a free new path, named or with a null name; on one where an item is; on one where an item is
// that cannot be removed.
TEST(CopyMoveTest, VariantsCopyOrMoveAndReplaceAsTheirKindSays) {
  enum Place { kFree, kFreeNullName, kTaken, kKept };
  for (const Variant& variant : kVariants) {
    for (const Place place : {kFree, kFreeNullName, kTaken, kKept}) {
      if (place == kFreeNullName && variant.nullName == 0) continue;
      SCOPED_TRACE(std::string(variant.name) + " place " + std::to_string(place));
      ScratchFolder scratch;
      std::filesystem::create_directory(scratch / "to");
      WriteFile(scratch / "photo.jpg", "pixels");
      const bool ownName = place == kFreeNullName && variant.nullName == 'f';
      const std::string target = scratch / (ownName ? "to/photo.jpg" : "to/new.jpg");
      if (place >= kTaken) WriteFile(target, "old");
      if (place == kKept && !(IsRoot() && scratch.Lock(target))) continue;  // needs chattr +i
      const ZuvResult expected = place <= kFreeNullName ? kZuvSuccess
                                 : place == kTaken      ? variant.whenTaken
                                                        : variant.whenKept;
      const CZuvStringData name = Text("new.jpg");
      CZuvFilePath out;
      EXPECT_EQ(
          place == kFreeNullName
              ? variant.call(PathOf(scratch / "photo.jpg"),
                             PathOf(ownName ? scratch / "to" : target), nullptr, &out)
              : variant.call(PathOf(scratch / "photo.jpg"), PathOf(scratch / "to"), &name, &out),
          expected);
      const bool done = expected == kZuvSuccess && place != kKept;
      EXPECT_EQ(Contents(target), done ? "pixels" : "old");
      EXPECT_EQ(Exists(scratch / "photo.jpg"), !(done && variant.moves));
      EXPECT_EQ(Names(scratch / "to").size(), 1u);
      EXPECT_TRUE(out.IsEmpty() || PathText(out) == target);
    }
  }
}

// Replacing an item that holds the source would remove the source with it.
TEST(CopyMoveTest, ReplacingAnItemThatHoldsTheSourceIsRefused) {
  for (const Variant& variant : kVariants) {
    if (variant.whenTaken != kZuvSuccess) continue;
    SCOPED_TRACE(variant.name);
    ScratchFolder scratch;
    std::filesystem::create_directory(scratch / "album");
    WriteFile(scratch / "album/photo.jpg", "pixels");
    std::filesystem::create_directory_symlink(scratch / "album", scratch / "link");
    const CZuvStringData name = Text("album");
    EXPECT_EQ(
        variant.call(PathOf(scratch / "link/photo.jpg"), PathOf(scratch.Path()), &name, nullptr),
        kZuvErrSubFolder);
    EXPECT_EQ(Contents(scratch / "album/photo.jpg"), "pixels");
  }
}

// A failed copy to a full volume is a full disk when the destination folder is writable, and access
// denied when it is not (writability is read from the mode), also on a read-only mount.
TEST(CopyMoveTest, FullVolumeIsDiskFullOnlyWhereWritable) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  enum Lock { kWritable, kMode0555, kReadOnlyMount };
  for (const Variant& variant : kVariants) {
    for (const Lock lock : {kWritable, kMode0555, kReadOnlyMount}) {
      SCOPED_TRACE(std::string(variant.name) + " lock " + std::to_string(lock));
      ScratchFolder scratch;
      const std::string volume = scratch.MountTmpfs("full", "1m");
      ASSERT_FALSE(volume.empty());
      WriteFile(volume + "/filler", std::string(1 << 20, 'f'));  // as much as fits
      WriteFile(scratch / "photo.jpg", std::string(300000, 'p'));
      if (lock != kWritable) std::filesystem::permissions(volume, std::filesystem::perms(0555));
      ASSERT_TRUE(lock != kReadOnlyMount || ScratchFolder::RemountReadOnly(volume));
      const CZuvStringData name = Text("photo.jpg");
      EXPECT_EQ(variant.call(PathOf(scratch / "photo.jpg"), PathOf(volume), &name, nullptr),
                lock == kWritable ? variant.whenFull : kZuvErrAccessDenied);
      EXPECT_FALSE(Exists(volume + "/photo.jpg"));
      EXPECT_EQ(Contents(scratch / "photo.jpg").size(), 300000u);
    }
  }
}

TEST(CopyMoveTest, StringFormsTheNameOfMoveFileAndRecursiveRemoval) {
  ScratchFolder scratch;
  WriteFile(scratch / "a.jpg", "pixels");
  EXPECT_EQ(ZuvCopyFile(Text(scratch / "b.jpg"), Text(scratch / "a.jpg")),
            kZuvSuccess);  // destination first
  EXPECT_EQ(Contents(scratch / "b.jpg"), "pixels");
  EXPECT_EQ(ZuvCopyFile(Text(scratch / "c.jpg"), Text(scratch / "none")), kZuvErrFileSystem);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "b.jpg")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "a.jpg")), kZuvErrSamePath);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "c.jpg")), kZuvSuccess);
  CZuvFilePath out;
  EXPECT_EQ(
      ZuvMoveFile(PathOf(scratch / "c.jpg"), PathOf(scratch.Path()), Text("2024/05.jpg"), &out),
      kZuvSuccess);
  EXPECT_EQ(PathText(out), scratch / "2024:05.jpg");
  EXPECT_EQ(Names(scratch.Path()), (Strings{"2024:05.jpg", "b.jpg"}));
  EXPECT_EQ(ZuvCopyFileOverwrite(PathOf(scratch / "b.jpg"), PathOf(scratch / "2024:05.jpg")),
            kZuvSuccess);
  EXPECT_EQ(ZuvCopyFileOverwrite(PathOf(scratch / "b.jpg"), PathOf(scratch / "b.jpg")),
            kZuvErrAccessDenied);
  // ZuvRemoveFileRecursive removes trees, but not the root.
  std::filesystem::create_directories(scratch / "a/b");
  WriteFile(scratch / "a/b/f", "x");
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf(scratch / "a")), kZuvSuccess);
  EXPECT_FALSE(Exists(scratch / "a"));
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf(scratch / "a")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf("/")), kZuvErrAccessDenied);
}

// The stream copy appends; the fork copy writes over the destination from its start and keeps its
// tail. Both call back once per 64 KiB chunk written, not after the last, and delete the
// destination on a cancel.
TEST(CopyMoveTest, StreamCopyAppendsAndForkCopyWritesOver) {
  const struct {
    bool fork;
    size_t existing, source;
    int cancelAt, calls;
  } cases[] = {{false, 0, 0, 0, 0},       {false, 3, 65536, 0, 1}, {false, 0, 65537, 0, 2},
               {false, 10, 200000, 1, 1}, {true, 10, 5, 0, 1},     {true, 10, 140000, 2, 2}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.fork << " " << c.source);
    ScratchFolder scratch;
    const std::string existing(c.existing, 'e'), source(c.source, 's');
    WriteFile(scratch / "in", source);
    WriteFile(scratch / "out", existing);
    Counter counter{0, c.cancelAt};
    const CZuvFilePath in = PathOf(scratch / "in");
    EXPECT_EQ(
        c.fork ? ZuvCopyFileEx(in, PathOf(scratch / "out"), &Counter::Call, &counter)
               : ZuvCopyFileEx(in, PathOf(scratch.Path()), Text("out"), &Counter::Call, &counter),
        c.cancelAt ? kZuvErrCanceled : kZuvSuccess);
    EXPECT_EQ(counter.calls, c.calls);
    EXPECT_EQ(Exists(scratch / "out"), c.cancelAt == 0);
    EXPECT_EQ(Contents(scratch / "out"), c.cancelAt ? ""
                                         : c.fork   ? source + existing.substr(c.source)
                                                    : existing + source);
    EXPECT_EQ(ZuvCopyFileEx(in, PathOf(scratch / "none"), nullptr, nullptr),
              kZuvErrNotFound);  // the fork copy's destination must exist
    EXPECT_EQ(ZuvCopyFileEx(in, PathOf(scratch.Path()), nullptr, nullptr),
              kZuvErrAccessDenied);  // a folder cannot be written over
  }
}

// The second notice is for the second file: it stops the copy, and that file is not made.
TEST(CopyMoveTest, CancelStopsAtTheNoticedPath) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "album");
  for (const char* name : {"a", "b", "c"}) WriteFile(scratch / "album" + "/" + name, name);
  Counter counter{0, 2};
  const CZuvStringData name = Text("copy");
  EXPECT_EQ(ZuvCopyFolderOverwriteEx(PathOf(scratch / "album"), PathOf(scratch.Path()), &name,
                                     &Counter::Call, &counter),
            kZuvErrCanceled);
  const Strings copied = Names(scratch / "copy");
  ASSERT_EQ(copied.size(), 1u);
  EXPECT_EQ(Contents(scratch / ("copy/" + copied[0])), copied[0]);
}

// Before 10.4 the system's copy left the locked flag behind, and ZuvCopyFileOverwriteEx set it.
TEST(CopyMoveTest, OldSystemsGetTheLockedFlagByHand) {
  ScratchFolder scratch;
  WriteFile(scratch / "photo.jpg", "pixels");
  if (!IsRoot() || !scratch.Lock(scratch / "photo.jpg")) GTEST_SKIP() << "chattr +i needs root";
  for (const uint32_t version : {0x1030u, 0x1068u}) {
    FakeMachineFacts facts;
    facts.systemVersion = version;
    const ScopedReplacement<zuv::platform::MachineFacts> replaced(&facts);
    const std::string copy = scratch / ("copy" + std::to_string(version));
    EXPECT_EQ(ZuvCopyFileOverwriteEx(PathOf(scratch / "photo.jpg"), PathOf(copy), nullptr, nullptr,
                                     nullptr),
              kZuvSuccess);
    EXPECT_EQ(IsLocked(copy), version < 0x1040) << std::hex << version;
    if (IsLocked(copy)) scratch.Lock(copy);  // unlocked at the end
  }
}

}  // namespace
