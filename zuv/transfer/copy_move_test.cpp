#include "zuv/transfer/copy_move.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::MachineFacts;
using zuv::platform::testing::FakeMachineFacts;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::MakeRandomTree;
using zuv::platform::testing::ScopedReplacement;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::SnapshotTree;
using zuv::platform::testing::WriteFile;
using Counter = zuv::testing::CountingCallback;
using zuv::testing::Contents;
using zuv::testing::Exists;
using zuv::testing::IsLocked;
using zuv::testing::Names;
using zuv::testing::PathOf;
using zuv::testing::PathText;
using zuv::testing::Text;

TEST(CopyMoveTest, MakeFilePathJoinsAsOneComponent) {
  const struct {
    const char* folder;
    const char* name;
    ZuvResult result;
    const char* joined;
  } cases[] = {
      {"/a", "b", kZuvSuccess, "/a/b"},        {"/a/", "b/", kZuvSuccess, "/a/b"},
      {"/", "b", kZuvSuccess, "/b"},           {"", "b", kZuvSuccess, "b"},
      {"/a", "", kZuvErrInvalidName, ""},      {"/a", "..", kZuvErrInvalidName, ""},
      {"/a", "//", kZuvErrInvalidName, ""},    {"/a", "b/.", kZuvErrInvalidName, ""},
      {"/a\xff", "b", kZuvErrInvalidName, ""},
  };
  for (const auto& c : cases) {
    CZuvStringData out;
    EXPECT_EQ(ZuvMakeFilePath(Text(c.folder), Text(c.name), &out), c.result) << c.folder << c.name;
    if (ZuvIsSuccess(c.result)) {
      EXPECT_STREQ(out.GetPtrUtf8(), c.joined);
    }
  }
  EXPECT_EQ(ZuvMakeFilePath(Text("/a"), Text("b"), static_cast<CZuvStringData*>(nullptr)),
            kZuvErrNotFound);
}

// Folder and name together may take 1023 UTF-8 bytes with the separator; a name 255 UTF-16 units.
TEST(CopyMoveTest, MakeFilePathLimitsLengthsAndNeedsAnItem) {
  ScratchFolder scratch;
  std::string folder = scratch.Path();
  while (folder.size() < 1000) {
    folder += "/" + std::string(std::min<size_t>(200, 1000 - folder.size() - 1), 'd');
    ASSERT_TRUE(std::filesystem::create_directory(folder));
  }
  ASSERT_EQ(folder.size(), 1000u);
  WriteFile(folder + "/" + std::string(22, 'n'));
  CZuvFilePath out;
  EXPECT_EQ(ZuvMakeFilePath(PathOf(folder), Text(std::string(23, 'n')), &out), kZuvErrPathTooLong);
  EXPECT_EQ(ZuvMakeFilePath(PathOf(folder), Text(std::string(22, 'n')), &out), kZuvSuccess);
  EXPECT_EQ(PathText(out), folder + "/" + std::string(22, 'n'));

  std::string units255;
  for (int i = 0; i < 85; ++i) units255 += "\xe3\x81\x82";  // three bytes, one unit each
  units255 += std::string(170, 'x');
  WriteFile(scratch / units255.substr(0, 255));  // a name of 255 bytes exists on any system
  EXPECT_EQ(ZuvMakeFilePath(PathOf(scratch.Path()), Text(units255 + "x"), &out),
            kZuvErrNameTooLong);
  EXPECT_EQ(ZuvMakeFilePath(PathOf(scratch.Path()), Text(units255), &out), kZuvErrFileSystem)
      << "255 units pass the check; nothing is there";
  EXPECT_EQ(ZuvMakeFilePath(PathOf(scratch.Path()), Text("missing"), &out), kZuvErrFileSystem);
}

TEST(CopyMoveTest, ValidFolderPathRefusesSameAndInside) {
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b"), Text("/a/b")), kZuvErrSamePath);
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b"), Text("/a/b/c")), kZuvErrSubFolder);
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b"), Text("/a/bc")), kZuvSuccess);
  EXPECT_EQ(ValidFolderPathForCopyMove(Text("/a/b/c"), Text("/a/b")), kZuvSuccess);
}

// Every variant that takes a folder and a name, on a free new path, on one where an item is, and
// on one where an item is that cannot be removed.
struct Variant {
  const char* name;
  std::function<ZuvResult(const CZuvFilePath&, const CZuvFilePath&, const CZuvStringData&)> call;
  bool moves;
  ZuvResult whenTaken;
  ZuvResult whenKept;
};

const std::vector<Variant>& NamedVariants() {
  static const std::vector<Variant> variants = {
      {"CopyFile", [](auto& s, auto& d, auto& n) { return ZuvCopyFile(s, d, n, nullptr); }, false,
       kZuvErrAccessDenied, kZuvErrAccessDenied},
      {"CopyFileOverwrite",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFileOverwrite(s, d, &n, nullptr); }, false,
       kZuvSuccess, kZuvErrAccessDenied},
      {"CopyFileOverwriteEx",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFileOverwriteEx(s, d, &n, nullptr, nullptr); },
       false, kZuvSuccess, kZuvErrAccessDenied},
      {"CopyFolder", [](auto& s, auto& d, auto& n) { return ZuvCopyFolder(s, d, n, nullptr); },
       false, kZuvErrAccessDenied, kZuvErrAccessDenied},
      {"CopyFolderEx",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFolderEx(s, d, n, nullptr, nullptr); }, false,
       kZuvSuccess, kZuvSuccess},
      {"CopyFolderOverwriteEx",
       [](auto& s, auto& d, auto& n) {
         return ZuvCopyFolderOverwriteEx(s, d, &n, nullptr, nullptr);
       },
       false, kZuvSuccess, kZuvSuccess},
      {"MoveFile", [](auto& s, auto& d, auto& n) { return ZuvMoveFile(s, d, n, nullptr); }, true,
       kZuvErrAccessDenied, kZuvErrAccessDenied},
      {"MoveFileEx",
       [](auto& s, auto& d, auto& n) { return ZuvMoveFileEx(s, d, n, nullptr, nullptr); }, true,
       kZuvSuccess, kZuvSuccess},
      {"MoveFileOverwrite",
       [](auto& s, auto& d, auto& n) { return ZuvMoveFileOverwrite(s, d, &n, nullptr); }, true,
       kZuvSuccess, kZuvSuccess},
      {"MoveFileOverwriteEx",
       [](auto& s, auto& d, auto& n) { return ZuvMoveFileOverwriteEx(s, d, &n, nullptr, nullptr); },
       true, kZuvSuccess, kZuvSuccess},
  };
  return variants;
}

TEST(CopyMoveTest, NamedVariantsCopyOrMoveAndReplaceAsTheirKindSays) {
  enum Place { kFree, kTaken, kKept };
  for (const Variant& variant : NamedVariants()) {
    for (const Place place : {kFree, kTaken, kKept}) {
      SCOPED_TRACE(std::string(variant.name) + " place " + std::to_string(place));
      ScratchFolder scratch;
      std::filesystem::create_directory(scratch / "to");
      WriteFile(scratch / "photo.jpg", "pixels");
      const std::string target = scratch / "to/new.jpg";
      if (place != kFree) WriteFile(target, "old");
      if (place == kKept && !(IsRoot() && scratch.Lock(target))) continue;  // needs chattr +i

      const ZuvResult expected = place == kFree    ? kZuvSuccess
                                 : place == kTaken ? variant.whenTaken
                                                   : variant.whenKept;
      EXPECT_EQ(
          variant.call(PathOf(scratch / "photo.jpg"), PathOf(scratch / "to"), Text("new.jpg")),
          expected);
      const bool done = expected == kZuvSuccess && place != kKept;
      EXPECT_EQ(Contents(target), done ? "pixels" : "old");
      EXPECT_EQ(Contents(scratch / "photo.jpg"), done && variant.moves ? "" : "pixels");
      EXPECT_EQ(Exists(scratch / "photo.jpg"), !(done && variant.moves));
      EXPECT_EQ(Names(scratch / "to"), std::vector<std::string>{"new.jpg"});
    }
  }
}

// Replacing an item that holds the source would remove the source with it.
TEST(CopyMoveTest, ReplacingAnItemThatHoldsTheSourceIsRefused) {
  for (const Variant& variant : NamedVariants()) {
    if (variant.whenTaken != kZuvSuccess) continue;
    SCOPED_TRACE(variant.name);
    ScratchFolder scratch;
    std::filesystem::create_directory(scratch / "album");
    WriteFile(scratch / "album/photo.jpg", "pixels");
    std::filesystem::create_directory_symlink(scratch / "album", scratch / "link");
    EXPECT_EQ(
        variant.call(PathOf(scratch / "link/photo.jpg"), PathOf(scratch.Path()), Text("album")),
        kZuvErrSubFolder);
    EXPECT_EQ(Contents(scratch / "album/photo.jpg"), "pixels");
  }
}

TEST(CopyMoveTest, FolderChecksRefuseSamePathAndDestinationInside) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "album");
  const CZuvFilePath album = PathOf(scratch / "album");
  EXPECT_EQ(ZuvCopyFolderEx(album, album, Text("x"), nullptr, nullptr), kZuvErrSamePath);
  EXPECT_EQ(ZuvCopyFolder(album, PathOf(scratch / "album/sub"), Text("x"), nullptr),
            kZuvErrSubFolder);
  EXPECT_EQ(ZuvMoveFileEx(PathOf(scratch / "album\xff"), PathOf(scratch.Path()), Text("x"), nullptr,
                          nullptr),
            kZuvErrAccessDenied)
      << "a source path that is not UTF-8";
  EXPECT_EQ(ZuvCopyFolderOverwriteEx(album, PathOf(scratch.Path()), nullptr, nullptr, nullptr),
            kZuvErrSubFolder)
      << "a null name makes the destination the item to replace, here the source's parent";
  EXPECT_EQ(Names(scratch.Path()), std::vector<std::string>{"album"});
}

// A null name: the destination is the new item for the two OverwriteEx copies, the folder that
// takes the source's own name for the others.
TEST(CopyMoveTest, NullNameHasTwoMeanings) {
  const struct {
    const char* name;
    std::function<ZuvResult(const CZuvFilePath&, const CZuvFilePath&, CZuvFilePath*)> call;
    bool destinationIsItem;
    bool moves;
  } cases[] = {
      {"CopyFileOverwriteEx",
       [](auto& s, auto& d, auto*) { return ZuvCopyFileOverwriteEx(s, d, nullptr, nullptr, 0); },
       true, false},
      {"CopyFolderOverwriteEx",
       [](auto& s, auto& d, auto*) { return ZuvCopyFolderOverwriteEx(s, d, nullptr, nullptr, 0); },
       true, false},
      {"CopyFileOverwrite",
       [](auto& s, auto& d, auto* out) { return ZuvCopyFileOverwrite(s, d, nullptr, out); }, false,
       false},
      {"MoveFileOverwrite",
       [](auto& s, auto& d, auto* out) { return ZuvMoveFileOverwrite(s, d, nullptr, out); }, false,
       true},
      {"MoveFileOverwriteEx",
       [](auto& s, auto& d, auto*) { return ZuvMoveFileOverwriteEx(s, d, nullptr, nullptr, 0); },
       false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchFolder scratch;
    std::filesystem::create_directory(scratch / "to");
    WriteFile(scratch / "photo.jpg", "pixels");
    const std::string destination = c.destinationIsItem ? scratch / "to/copy.jpg" : scratch / "to";
    const std::string item = c.destinationIsItem ? destination : scratch / "to/photo.jpg";
    CZuvFilePath out;
    EXPECT_EQ(c.call(PathOf(scratch / "photo.jpg"), PathOf(destination), &out), kZuvSuccess);
    EXPECT_EQ(Contents(item), "pixels");
    EXPECT_EQ(Exists(scratch / "photo.jpg"), !c.moves);
    if (!out.IsEmpty()) {
      EXPECT_EQ(PathText(out), item);
    }
  }
}

TEST(CopyMoveTest, StringFormsAndTheNameOfMoveFile) {
  ScratchFolder scratch;
  WriteFile(scratch / "a.jpg", "pixels");
  EXPECT_EQ(ZuvCopyFile(Text(scratch / "b.jpg"), Text(scratch / "a.jpg")), kZuvSuccess)
      << "destination first";
  EXPECT_EQ(Contents(scratch / "b.jpg"), "pixels");
  EXPECT_EQ(ZuvCopyFile(Text(scratch / "c.jpg"), Text(scratch / "none")), kZuvErrFileSystem);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "b.jpg")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "a.jpg")), kZuvErrSamePath);
  EXPECT_EQ(ZuvMoveFile(Text(scratch / "a.jpg"), Text(scratch / "c.jpg")), kZuvSuccess);
  EXPECT_EQ(Names(scratch.Path()), (std::vector<std::string>{"b.jpg", "c.jpg"}));

  CZuvFilePath out;
  EXPECT_EQ(
      ZuvMoveFile(PathOf(scratch / "c.jpg"), PathOf(scratch.Path()), Text("2024/05.jpg"), &out),
      kZuvSuccess);
  EXPECT_EQ(PathText(out), scratch / "2024:05.jpg");
  EXPECT_EQ(Contents(scratch / "2024:05.jpg"), "pixels");
  EXPECT_EQ(ZuvCopyFileOverwrite(PathOf(scratch / "b.jpg"), PathOf(scratch / "2024:05.jpg")),
            kZuvSuccess);
  EXPECT_EQ(ZuvCopyFileOverwrite(PathOf(scratch / "b.jpg"), PathOf(scratch / "b.jpg")),
            kZuvErrAccessDenied);
}

// The stream copy appends, calls back once per 64 KiB chunk written and not after the last, and
// deletes the destination on a cancel.
TEST(CopyMoveTest, StreamCopyAppendsChunkByChunk) {
  const struct {
    size_t existing;
    size_t source;
    int cancelAt;
    ZuvResult result;
    int calls;
    long size;  // of the destination afterwards, -1: gone
  } cases[] = {
      {10, 5, 0, kZuvSuccess, 1, 15},          {0, 0, 0, kZuvSuccess, 0, 0},
      {3, 65536, 0, kZuvSuccess, 1, 65539},    {0, 65537, 0, kZuvSuccess, 2, 65537},
      {10, 200000, 1, kZuvErrCanceled, 1, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.source);
    ScratchFolder scratch;
    WriteFile(scratch / "in", std::string(c.source, 's'));
    WriteFile(scratch / "out", std::string(c.existing, 'e'));
    Counter counter{0, c.cancelAt};
    EXPECT_EQ(ZuvCopyFileEx(PathOf(scratch / "in"), PathOf(scratch.Path()), Text("out"),
                            &Counter::Call, &counter),
              c.result);
    EXPECT_EQ(counter.calls, c.calls);
    EXPECT_EQ(Exists(scratch / "out") ? static_cast<long>(Contents(scratch / "out").size()) : -1,
              c.size);
    if (c.size > 0) {
      EXPECT_EQ(Contents(scratch / "out"),
                std::string(c.existing, 'e') + std::string(c.source, 's'));
    }
    EXPECT_EQ(Contents(scratch / "in").size(), c.source);
  }
}

// The fork copy writes over the existing destination from its start and keeps its tail.
TEST(CopyMoveTest, ForkCopyWritesOverWithoutTruncating) {
  ScratchFolder scratch;
  WriteFile(scratch / "in", "abcde");
  WriteFile(scratch / "out", "0123456789");
  Counter counter;
  EXPECT_EQ(
      ZuvCopyFileEx(PathOf(scratch / "in"), PathOf(scratch / "out"), &Counter::Call, &counter),
      kZuvSuccess);
  EXPECT_EQ(Contents(scratch / "out"), "abcde56789");
  EXPECT_EQ(counter.calls, 1);

  EXPECT_EQ(ZuvCopyFileEx(PathOf(scratch / "in"), PathOf(scratch / "none"), nullptr, nullptr),
            kZuvErrNotFound)
      << "the destination must exist";
  EXPECT_EQ(ZuvCopyFileEx(PathOf(scratch / "in"), PathOf(scratch.Path()), nullptr, nullptr),
            kZuvErrAccessDenied)
      << "a folder cannot be written over";

  WriteFile(scratch / "big", std::string(140000, 'b'));
  Counter canceling{0, 2};
  EXPECT_EQ(
      ZuvCopyFileEx(PathOf(scratch / "big"), PathOf(scratch / "out"), &Counter::Call, &canceling),
      kZuvErrCanceled);
  EXPECT_EQ(canceling.calls, 2);
  EXPECT_FALSE(Exists(scratch / "out"));
  EXPECT_EQ(Contents(scratch / "big").size(), 140000u);
}

// The second notice is for the second file: it stops the copy, and that file is not made.
TEST(CopyMoveTest, CancelStopsAtTheNoticedPath) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "album");
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg"})
    WriteFile(scratch / (std::string("album/") + name), name);
  std::filesystem::create_directory(scratch / "to");
  Counter counter{0, 2};
  const CZuvStringData name = Text("copy");
  EXPECT_EQ(ZuvCopyFolderOverwriteEx(PathOf(scratch / "album"), PathOf(scratch / "to"), &name,
                                     &Counter::Call, &counter),
            kZuvErrCanceled);
  EXPECT_EQ(counter.calls, 2) << "no final call after a cancel";
  const std::vector<std::string> copied = Names(scratch / "to/copy");
  ASSERT_EQ(copied.size(), 1u);
  EXPECT_EQ(Contents(scratch / ("to/copy/" + copied[0])), copied[0]);
  EXPECT_EQ(Names(scratch / "album"), (std::vector<std::string>{"a.jpg", "b.jpg", "c.jpg"}));
}

// A failed copy to a full volume is a full disk when the destination folder is writable, and access
// denied when it is not (writability is read from the mode), also on a read-only mount.
TEST(CopyMoveTest, FullVolumeIsDiskFullOnlyWhereWritable) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const struct {
    const char* name;
    std::function<ZuvResult(const CZuvFilePath&, const CZuvFilePath&, const CZuvStringData&)> call;
    bool reportsDiskFull;
  } cases[] = {
      {"CopyFile", [](auto& s, auto& d, auto& n) { return ZuvCopyFile(s, d, n, nullptr); }, true},
      {"CopyFileOverwriteEx",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFileOverwriteEx(s, d, &n, nullptr, 0); },
       true},
      {"CopyFolderOverwriteEx",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFolderOverwriteEx(s, d, &n, nullptr, 0); },
       true},
      {"MoveFileEx", [](auto& s, auto& d, auto& n) { return ZuvMoveFileEx(s, d, n, nullptr, 0); },
       true},
      {"MoveFileOverwrite",
       [](auto& s, auto& d, auto& n) { return ZuvMoveFileOverwrite(s, d, &n, nullptr); }, true},
      {"CopyFolderEx",
       [](auto& s, auto& d, auto& n) { return ZuvCopyFolderEx(s, d, n, nullptr, 0); }, false},
  };
  enum Lock { kWritable, kMode0555, kReadOnlyMount };
  for (const auto& c : cases) {
    for (const Lock lock : {kWritable, kMode0555, kReadOnlyMount}) {
      SCOPED_TRACE(std::string(c.name) + " lock " + std::to_string(lock));
      ScratchFolder scratch;
      const std::string volume = scratch.MountTmpfs("full", "1m");
      ASSERT_FALSE(volume.empty());
      WriteFile(volume + "/filler", std::string(1 << 20, 'f'));  // as much as fits
      std::filesystem::create_directory(scratch / "album");
      WriteFile(scratch / "album/photo.jpg", std::string(300000, 'p'));
      if (lock != kWritable) {
        std::filesystem::permissions(volume, static_cast<std::filesystem::perms>(0555));
      }
      if (lock == kReadOnlyMount) {
        ASSERT_TRUE(ScratchFolder::RemountReadOnly(volume));
      }
      const ZuvResult result =
          c.call(PathOf(scratch / "album/photo.jpg"), PathOf(volume), Text("photo.jpg"));
      EXPECT_EQ(result,
                c.reportsDiskFull && lock == kWritable ? kZuvErrDiskFull : kZuvErrAccessDenied);
      EXPECT_FALSE(Exists(volume + "/photo.jpg"));
      EXPECT_EQ(Contents(scratch / "album/photo.jpg").size(), 300000u);
    }
  }
}

// Before 10.4 the system's copy left the locked flag behind, and ZuvCopyFileOverwriteEx set it.
TEST(CopyMoveTest, OldSystemsGetTheLockedFlagByHand) {
  ScratchFolder scratch;
  WriteFile(scratch / "photo.jpg", "pixels");
  if (!IsRoot() || !scratch.Lock(scratch / "photo.jpg")) GTEST_SKIP() << "chattr +i needs root";
  for (const uint32_t version : {0x1030u, 0x1068u}) {
    FakeMachineFacts facts;
    facts.systemVersion = version;
    const ScopedReplacement<MachineFacts> replaced(&facts);
    const std::string name = "copy" + std::to_string(version);
    const CZuvStringData text = Text(name);
    EXPECT_EQ(ZuvCopyFileOverwriteEx(PathOf(scratch / "photo.jpg"), PathOf(scratch.Path()), &text,
                                     nullptr, nullptr),
              kZuvSuccess);
    EXPECT_EQ(Contents(scratch / name), "pixels");
    EXPECT_EQ(IsLocked(scratch / name), version < 0x1040) << std::hex << version;
    if (IsLocked(scratch / name)) scratch.Lock(scratch / name);  // unlocked at the end
  }
}

// Random trees copied into a folder of the same volume, then moved to another volume over an item
// there, arrive whole: data, links, modes, times and attributes.
TEST(CopyMoveTest, RandomTreesArriveWholeThroughTheVariants) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  ScratchFolder scratch;
  const std::string volume = scratch.MountTmpfs("other", "256m");
  ASSERT_FALSE(volume.empty());
  ASSERT_TRUE(MakeRandomTree(scratch / "tree", 1));
  std::filesystem::create_directory(scratch / "to");
  const auto before = SnapshotTree(scratch / "tree");
  const CZuvStringData copy = Text("copy");
  EXPECT_EQ(ZuvCopyFolderOverwriteEx(PathOf(scratch / "tree"), PathOf(scratch / "to"), &copy,
                                     nullptr, nullptr),
            kZuvSuccess);
  EXPECT_EQ(SnapshotTree(scratch / "to/copy"), before);
  WriteFile(volume + "/copy", "in the way");
  EXPECT_EQ(ZuvMoveFileOverwriteEx(PathOf(scratch / "to/copy"), PathOf(volume), nullptr, nullptr,
                                   nullptr),
            kZuvSuccess);
  EXPECT_EQ(SnapshotTree(volume + "/copy"), before);
  EXPECT_FALSE(Exists(scratch / "to/copy"));
}

TEST(CopyMoveTest, RemoveFileRecursiveRemovesTreesButNotTheRoot) {
  ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "a");
  std::filesystem::create_directory(scratch / "a/b");
  WriteFile(scratch / "a/b/f", "x");
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf(scratch / "a")), kZuvSuccess);
  EXPECT_FALSE(Exists(scratch / "a"));
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf(scratch / "a")), kZuvErrAccessDenied);
  EXPECT_EQ(ZuvRemoveFileRecursive(PathOf("/")), kZuvErrAccessDenied);
}

}  // namespace
