// The check of a copy (setVerify): a file changed on the device between its write and its read-back
// fails the copy or move by name, a verified move keeps that file's source and removes the rest,
// and an undisturbed copy, sparse files included, passes and arrives whole.
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/transfer_steps.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/testing/files.h"
#include "zuv/transfer/path_operation.h"

namespace {

using namespace zuv::platform::testing;
using zuv::testing::Text;

// When `change` holds, changes one byte of each file whose path ends in "b.raw" just before it is
// read back, as a failing device would have it.
struct ChangingDevice : FaultyTransferSteps {
  bool change = false;
  int OpenWritten(const std::string& path, int* fd) override {
    if (change && path.ends_with("b.raw")) {
      std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
      const char byte = static_cast<char>(file.seekg(1000).get() ^ 0x5a);
      EXPECT_TRUE(file.seekp(1000).put(byte).flush());
    }
    return FaultyTransferSteps::OpenWritten(path, fd);
  }
};

TEST(VerifyTest, AChangedFileFailsByNameAndAMoveKeepsItsSource) {
  if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
  ScratchFolder scratch;
  const std::string volume = scratch.MountTmpfs("card", "64m");
  ASSERT_FALSE(volume.empty());
  std::string raw(3 << 20, '\0');
  for (char& byte : raw) byte = static_cast<char>(std::rand());
  // An undisturbed copy, and a move whose "b.raw" changes on the device.
  for (const bool changed : {false, true}) {
    SCOPED_TRACE(changed);
    const std::string source = volume + "/card" + std::to_string(changed);
    const std::string destination = scratch / ("copy" + std::to_string(changed));
    ASSERT_EQ(mkdir(source.c_str(), 0755) | mkdir((source + "/DCIM").c_str(), 0755), 0);
    WriteFile(source + "/DCIM/a.jpg", "jpeg");
    WriteFile(source + "/DCIM/b.raw", raw);
    WriteFile(source + "/notes.xmp", "<xmp/>");
    WriteFile(source + "/sparse", "start");
    ASSERT_EQ(truncate((source + "/sparse").c_str(), 8 << 20), 0);
    const Snapshot before = SnapshotTree(source);
    ChangingDevice steps;
    steps.change = changed;
    std::unique_ptr<ZuvPathOperation> operation =
        changed ? std::unique_ptr<ZuvPathOperation>(
                      ZuvMovePath::Create(Text(source), Text(destination)))
                : ZuvCopyPath::Create(Text(source), Text(destination));
    operation->setVerify(true);
    {
      const ScopedReplacement<zuv::platform::TransferSteps> replaced(&steps);
      EXPECT_EQ(operation->perform(), changed ? kZuvErrFileSystem : kZuvSuccess);
    }
    EXPECT_EQ(steps.Calls(FaultyTransferSteps::kOpenWritten), 4);
    EXPECT_EQ(operation->verifyMismatches(),
              changed ? std::vector<std::string>{destination + "/DCIM/b.raw"}
                      : std::vector<std::string>{});
    Snapshot copied = SnapshotTree(destination);
    EXPECT_EQ(copied["DCIM/b.raw"].data == raw, !changed);
    copied["DCIM/b.raw"] = before.at("DCIM/b.raw");
    EXPECT_EQ(copied, before);
    struct stat st;
    EXPECT_TRUE(stat((destination + "/sparse").c_str(), &st) == 0 && st.st_blocks * 512 < 1 << 20);
    // The move keeps only the changed file's source, in its folders.
    const Snapshot kept = SnapshotTree(source);
    if (changed) {
      EXPECT_EQ(kept.size(), 3u);
      EXPECT_EQ(kept.count("DCIM"), 1u);
      EXPECT_EQ(kept.at("DCIM/b.raw"), before.at("DCIM/b.raw"));
    } else {
      EXPECT_EQ(kept, before);
    }
  }
}

}  // namespace
