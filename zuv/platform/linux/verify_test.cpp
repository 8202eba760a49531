// The check of a copy (setVerify): a file changed on the device between its write and its read-back
// fails the copy or move by name, a verified move keeps that file's source and removes the rest,
// and an undisturbed copy, sparse files included, passes and arrives whole.
#include <fcntl.h>
#include <random>
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

using zuv::platform::TransferSteps;
using zuv::platform::testing::FaultyTransferSteps;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::ScopedReplacement;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::SnapshotTree;
using zuv::platform::testing::WriteFile;
using zuv::testing::Exists;
using zuv::testing::Text;

// Changes one byte of each file named `name` just before it is read back, as a failing device
// would have it.
class ChangingDevice : public FaultyTransferSteps {
 public:
  explicit ChangingDevice(std::string name) : m_name(std::move(name)) {}
  int OpenWritten(const std::string& path, int* fd) override {
    if (path.size() > m_name.size() &&
        path.compare(path.size() - m_name.size(), std::string::npos, m_name) == 0) {
      const int written = open(path.c_str(), O_RDWR);
      char byte = 0;
      EXPECT_EQ(pread(written, &byte, 1, 1000), 1);
      byte = static_cast<char>(byte ^ 0x5a);
      EXPECT_EQ(pwrite(written, &byte, 1, 1000), 1);
      close(written);
    }
    return FaultyTransferSteps::OpenWritten(path, fd);
  }

 private:
  std::string m_name;
};

TEST(VerifyTest, AChangedFileFailsByNameAndAMoveKeepsItsSource) {
  if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
  ScratchFolder scratch;
  const std::string volume = scratch.MountTmpfs("card", "64m");
  ASSERT_FALSE(volume.empty());
  struct Case {
    const char* name;
    bool move;
    const char* changed;  // the file changed before its read-back, or none
  } const cases[] = {
      {"copy", false, nullptr},
      {"copy of a changed file", false, "/b.raw"},
      {"move", true, nullptr},
      {"move of a changed file", true, "/b.raw"},
  };
  int run = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string source = volume + "/card" + std::to_string(++run);
    ASSERT_EQ(mkdir(source.c_str(), 0755), 0);
    ASSERT_EQ(mkdir((source + "/DCIM").c_str(), 0755), 0);
    std::mt19937 random(static_cast<unsigned>(run));
    std::string raw(3 << 20, '\0');
    for (char& byte : raw) byte = static_cast<char>(random());
    WriteFile(source + "/DCIM/a.jpg", "jpeg");
    WriteFile(source + "/DCIM/b.raw", raw);
    WriteFile(source + "/notes.xmp", "<xmp/>");
    WriteFile(source + "/sparse", "start");
    ASSERT_EQ(truncate((source + "/sparse").c_str(), 8 << 20), 0);
    const auto before = SnapshotTree(source);
    const std::string destination = scratch / ("copy" + std::to_string(run));

    ChangingDevice steps(c.changed != nullptr ? c.changed : "none");
    std::unique_ptr<ZuvPathOperation> operation;
    if (c.move) {
      operation = ZuvMovePath::Create(Text(source), Text(destination));
    } else {
      operation = ZuvCopyPath::Create(Text(source), Text(destination));
    }
    operation->setVerify(true);
    ZuvResult result;
    {
      const ScopedReplacement<TransferSteps> replaced(&steps);
      result = operation->perform();
    }
    EXPECT_EQ(steps.Calls(FaultyTransferSteps::kOpenWritten), 4);
    if (c.changed == nullptr) {
      EXPECT_EQ(result, kZuvSuccess);
      EXPECT_TRUE(operation->verifyMismatches().empty());
      EXPECT_EQ(SnapshotTree(destination), before);
      struct stat st;
      ASSERT_EQ(stat((destination + "/sparse").c_str(), &st), 0);
      EXPECT_LT(st.st_blocks * 512, 1 << 20);
      EXPECT_EQ(Exists(source), !c.move);
      continue;
    }
    EXPECT_EQ(result, kZuvErrFileSystem);
    EXPECT_EQ(operation->verifyMismatches(), std::vector<std::string>{destination + "/DCIM/b.raw"});
    auto copied = SnapshotTree(destination);
    EXPECT_NE(copied["DCIM/b.raw"].data, raw);
    copied["DCIM/b.raw"] = before.at("DCIM/b.raw");
    EXPECT_EQ(copied, before);
    if (c.move) {  // the changed file's source stays, in its folders; nothing else
      const auto kept = SnapshotTree(source);
      EXPECT_EQ(kept.size(), 3u);
      EXPECT_EQ(kept.count("DCIM"), 1u);
      EXPECT_EQ(kept.at("DCIM/b.raw"), before.at("DCIM/b.raw"));
    } else {
      EXPECT_EQ(SnapshotTree(source), before);
    }
  }
}

}  // namespace
