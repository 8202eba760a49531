// ZuvCopyPath and ZuvMovePath: which notices reach the callback, the final call, cancelling, and
// the results on the system versions that report items and on those that do not.
#include "zuv/transfer/path_operation.h"

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
using zuv::platform::testing::MakeSmallTree;
using zuv::platform::testing::ScopedReplacement;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::SnapshotTree;
using zuv::platform::testing::WriteFile;
using Callback = zuv::testing::CountingCallback;
using zuv::testing::Exists;
using zuv::testing::Text;
using zuv::testing::Tree;

class PathOperationTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(MakeSmallTree(m_scratch / "tree")); }
  void UseVersion(uint32_t version) { m_facts.systemVersion = version; }

  ScratchFolder m_scratch;
  FakeMachineFacts m_facts;
  ScopedReplacement<MachineFacts> m_replaced{&m_facts};
};

TEST_F(PathOperationTest, CreateRefusesAnEmptyPath) {
  EXPECT_EQ(ZuvCopyPath::Create(Text(""), Text("/b")), nullptr);
  EXPECT_EQ(ZuvCopyPath::Create(Text("/a"), Text("")), nullptr);
  EXPECT_EQ(ZuvMovePath::Create(Text(""), Text("/b")), nullptr);
  EXPECT_EQ(ZuvMovePath::Create(Text("/a"), Text("")), nullptr);
  EXPECT_NE(ZuvMovePath::Create(Text("/a"), Text("/b")), nullptr);
}

TEST_F(PathOperationTest, NoticesPassOverTheDestinationAndForAMoveTheSource) {
  struct Case {
    bool move;
    std::string path;
    bool reported;
  } const cases[] = {
      {false, "/d", false}, {false, "/d/x", true}, {false, "/s/x", true},
      {true, "/d", false},  {true, "/d/x", true},  {true, "/s/x", false},
      {true, "/s", false},  {true, "/sx", false},  // a plain prefix of the text
      {false, "/d/", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    Callback callback;
    bool goOn = false;
    if (c.move) {
      auto operation = ZuvMovePath::Create(Text("/s"), Text("/d"));
      operation->setProgress(&Callback::Call, &callback);
      goOn = operation->willProcessPath(Text(c.path));
      EXPECT_FALSE(operation->shouldProceedAfterError());
    } else {
      auto operation = ZuvCopyPath::Create(Text("/s"), Text("/d"));
      operation->setProgress(&Callback::Call, &callback);
      goOn = operation->willProcessPath(Text(c.path));
      EXPECT_FALSE(operation->shouldProceedAfterError());
    }
    EXPECT_TRUE(goOn);
    EXPECT_EQ(callback.calls, c.reported ? 1 : 0);
  }
}

// The small tree has five items below its top.
TEST_F(PathOperationTest, CopyReportsItemsOnlyOnSomeVersions) {
  struct Case {
    uint32_t version;
    int calls;
  } const cases[] = {{0x1060, 6}, {0x1068, 6}, {0x106F, 6}, {0x1070, 1}, {0x1050, 1}};
  int run = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.version);
    UseVersion(c.version);
    const std::string destination = m_scratch / ("copy" + std::to_string(++run));
    Callback callback;
    auto copy = ZuvCopyPath::Create(Text(m_scratch / "tree"), Text(destination));
    copy->setProgress(&Callback::Call, &callback);
    EXPECT_EQ(copy->perform(), kZuvSuccess);
    EXPECT_EQ(callback.calls, c.calls);
    EXPECT_EQ(Tree(destination), Tree(m_scratch / "tree"));
  }
}

TEST_F(PathOperationTest, FailuresByVersion) {
  WriteFile(m_scratch / "taken", "keep");
  struct Case {
    uint32_t version;
    std::string source;
    ZuvResult result;
  } const cases[] = {
      {0x1068, m_scratch / "tree", kZuvErrAccessDenied},
      {0x1070, m_scratch / "tree", kZuvErrAlreadyExists},
      {0x1050, m_scratch / "missing", kZuvErrNotFound},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.version);
    UseVersion(c.version);
    Callback callback;
    auto copy = ZuvCopyPath::Create(Text(c.source), Text(m_scratch / "taken"));
    copy->setProgress(&Callback::Call, &callback);
    EXPECT_EQ(copy->perform(), c.result);
    EXPECT_EQ(callback.calls, 1);  // the final call, after a failure too
    EXPECT_EQ(zuv::testing::Contents(m_scratch / "taken"), "keep");
  }
  Callback callback;
  auto move = ZuvMovePath::Create(Text(m_scratch / "missing"), Text(m_scratch / "new"));
  move->setProgress(&Callback::Call, &callback);
  EXPECT_EQ(move->perform(), kZuvErrAccessDenied);
  EXPECT_EQ(callback.calls, 1);
}

TEST_F(PathOperationTest, CancelLeavesNothingAtTheCanceledPath) {
  UseVersion(0x1068);
  for (int stopAt = 1; stopAt <= 5; ++stopAt) {
    SCOPED_TRACE(stopAt);
    const std::string destination = m_scratch / ("copy" + std::to_string(stopAt));
    std::vector<std::string> reported;
    Callback callback{0, stopAt};
    auto copy = ZuvCopyPath::Create(Text(m_scratch / "tree"), Text(destination));
    copy->setProgress(&Callback::Call, &callback);
    EXPECT_EQ(copy->perform(), kZuvErrCanceled);
    EXPECT_EQ(callback.calls, stopAt);  // no final call
    // The items in the order the walk makes them, the top not reported.
    const char* const items[] = {"empty", "one", "sub", "sub/link", "sub/two"};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Exists(destination + "/" + items[i]), i < stopAt - 1);
  }
}

TEST_F(PathOperationTest, WithoutACallbackNothingIsCalled) {
  UseVersion(0x1068);
  auto copy = ZuvCopyPath::Create(Text(m_scratch / "tree"), Text(m_scratch / "copy"));
  EXPECT_TRUE(copy->willProcessPath(Text(m_scratch / "copy/one")));
  EXPECT_EQ(copy->perform(), kZuvSuccess);
  auto move = ZuvMovePath::Create(Text(m_scratch / "copy"), Text(m_scratch / "moved"));
  EXPECT_EQ(move->perform(), kZuvSuccess);
  EXPECT_EQ(Tree(m_scratch / "moved"), Tree(m_scratch / "tree"));
}

TEST_F(PathOperationTest, MoveReportsOnlyAcrossVolumes) {
  if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
  const std::string volume = m_scratch.MountTmpfs("volume");
  ASSERT_FALSE(volume.empty());
  const auto before = SnapshotTree(m_scratch / "tree");

  Callback here;
  auto rename = ZuvMovePath::Create(Text(m_scratch / "tree"), Text(m_scratch / "renamed"));
  rename->setProgress(&Callback::Call, &here);
  EXPECT_EQ(rename->perform(), kZuvSuccess);
  EXPECT_EQ(here.calls, 1);  // only the final call

  Callback canceled{0, 3};
  auto stopped = ZuvMovePath::Create(Text(m_scratch / "renamed"), Text(volume + "/moved"));
  stopped->setProgress(&Callback::Call, &canceled);
  EXPECT_EQ(stopped->perform(), kZuvErrCanceled);
  EXPECT_FALSE(Exists(volume + "/moved"));
  EXPECT_EQ(SnapshotTree(m_scratch / "renamed"), before);

  Callback across;
  auto move = ZuvMovePath::Create(Text(m_scratch / "renamed"), Text(volume + "/moved"));
  move->setProgress(&Callback::Call, &across);
  EXPECT_EQ(move->perform(), kZuvSuccess);
  EXPECT_EQ(across.calls, 6);
  EXPECT_EQ(SnapshotTree(volume + "/moved"), before);
  EXPECT_FALSE(Exists(m_scratch / "renamed"));
}

}  // namespace
