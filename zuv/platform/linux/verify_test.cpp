// The check of a copy (setVerify): a file changed on the device between its write and its read-back
// fails the copy or move by name, a verified move keeps that file's source and removes the rest,
// and an undisturbed copy, sparse files included, passes and arrives whole.
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
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

// Changes one byte of each file whose path ends in "b.raw" just before it is read back, as a
// failing device would have it.
struct ChangingDevice : FaultyTransferSteps {
  int OpenWritten(const std::string& path, int* fd) override {
    if (path.ends_with("b.raw")) {
      const int written = open(path.c_str(), O_RDWR);
      char byte = 0;
      EXPECT_EQ(pread(written, &byte, 1, 1000), 1);
      byte = static_cast<char>(byte ^ 0x5a);
      EXPECT_EQ(pwrite(written, &byte, 1, 1000), 1);
      close(written);
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
  for (const int run : {0, 1, 2, 3}) {
    const bool move = run & 1;
    const bool changed = run & 2;
    SCOPED_TRACE(run);
    const std::string source = volume + "/card" + std::to_string(run);
    const std::string destination = scratch / ("copy" + std::to_string(run));
    ASSERT_EQ(mkdir(source.c_str(), 0755) | mkdir((source + "/DCIM").c_str(), 0755), 0);
    WriteFile(source + "/DCIM/a.jpg", "jpeg");
    WriteFile(source + "/DCIM/b.raw", raw);
    WriteFile(source + "/notes.xmp", "<xmp/>");
    WriteFile(source + "/sparse", "start");
    ASSERT_EQ(truncate((source + "/sparse").c_str(), 8 << 20), 0);
    const Snapshot before = SnapshotTree(source);
    FaultyTransferSteps plain;
    ChangingDevice changing;
    FaultyTransferSteps& steps = changed ? changing : plain;
    std::unique_ptr<ZuvPathOperation> operation;
    if (move) {
      operation = ZuvMovePath::Create(Text(source), Text(destination));
    } else {
      operation = ZuvCopyPath::Create(Text(source), Text(destination));
    }
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
    // A move keeps only the changed file's source, in its folders.
    const Snapshot kept = SnapshotTree(source);
    if (!move) {
      EXPECT_EQ(kept, before);
    } else if (changed) {
      EXPECT_EQ(kept.size(), 3u);
      EXPECT_EQ(kept.count("DCIM"), 1u);
      EXPECT_EQ(kept.at("DCIM/b.raw"), before.at("DCIM/b.raw"));
    } else {
      EXPECT_TRUE(kept.empty());
    }
  }
}

}  // namespace
