// ZuvCopyPath and ZuvMovePath: which notices reach the callback, the final call, cancelling, and
// the results on the system versions that report items and on those that do not.
#include "zuv/transfer/path_operation.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/testing/files.h"

namespace {

using namespace zuv::platform::testing;
using namespace zuv::testing;
using Callback = CountingCallback;

// A copy or a move from `source` to `destination` reporting to `callback` (none when null).
std::unique_ptr<ZuvPathOperation> Operation(bool move, const std::string& source,
                                            const std::string& destination,
                                            Callback* callback = nullptr) {
  std::unique_ptr<ZuvPathOperation> operation =
      move ? std::unique_ptr<ZuvPathOperation>(ZuvMovePath::Create(Text(source), Text(destination)))
           : ZuvCopyPath::Create(Text(source), Text(destination));
  if (operation && callback) operation->setProgress(&Callback::Call, callback);
  return operation;
}

class PathOperationTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(MakeSmallTree(m_scratch / "tree")); }
  void UseVersion(uint32_t version) { m_facts.systemVersion = version; }

  ScratchFolder m_scratch;
  FakeMachineFacts m_facts;
  ScopedReplacement<zuv::platform::MachineFacts> m_replaced{&m_facts};
};

TEST_F(PathOperationTest, NoticesPassOverTheDestinationAndForAMoveTheSource) {
  for (const bool move : {false, true}) {
    EXPECT_EQ(Operation(move, "", "/b"), nullptr);
    EXPECT_EQ(Operation(move, "/a", ""), nullptr);
  }
  const struct {
    bool move;
    const char* path;
    bool reported;
  } cases[] = {
      {false, "/d", false}, {false, "/s/x", true}, {true, "/d", false},
      {true, "/d/x", true}, {true, "/s/x", false}, {true, "/sx", false},  // a plain text prefix
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    Callback callback;
    const auto operation = Operation(c.move, "/s", "/d", &callback);
    EXPECT_TRUE(operation->willProcessPath(Text(c.path)));
    EXPECT_FALSE(operation->shouldProceedAfterError());
    EXPECT_EQ(callback.calls, c.reported ? 1 : 0);
  }
}

// The small tree has five items below its top; the last call is the final one.
TEST_F(PathOperationTest, CopyReportsItemsOnlyOnSomeVersions) {
  const struct {
    uint32_t version;
    int calls;
  } cases[] = {{0x105F, 1}, {0x1060, 6}, {0x106F, 6}, {0x1070, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    UseVersion(c.version);
    const std::string destination = m_scratch / ("copy" + std::to_string(c.version));
    Callback callback;
    EXPECT_EQ(Operation(false, m_scratch / "tree", destination, &callback)->perform(), kZuvSuccess);
    EXPECT_EQ(callback.calls, c.calls);
    EXPECT_EQ(Tree(destination), Tree(m_scratch / "tree"));
  }
  EXPECT_EQ(Operation(false, m_scratch / "tree", m_scratch / "quiet")->perform(), kZuvSuccess)
      << "without a callback";
}

// The final call comes after a failure too.
TEST_F(PathOperationTest, FailuresByVersion) {
  WriteFile(m_scratch / "taken", "keep");
  const struct {
    bool move;
    uint32_t version;
    const char* source;
    ZuvResult result;
  } cases[] = {
      {false, 0x1068, "tree", kZuvErrAccessDenied},
      {false, 0x1070, "tree", kZuvErrAlreadyExists},
      {false, 0x1050, "missing", kZuvErrNotFound},
      {true, 0x1070, "missing", kZuvErrAccessDenied},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    UseVersion(c.version);
    Callback callback;
    EXPECT_EQ(Operation(c.move, m_scratch / c.source, m_scratch / "taken", &callback)->perform(),
              c.result);
    EXPECT_EQ(callback.calls, 1);
    EXPECT_EQ(Contents(m_scratch / "taken"), "keep");
  }
}

TEST_F(PathOperationTest, CancelLeavesNothingAtTheCanceledPath) {
  UseVersion(0x1068);
  // The items in the order the walk makes them, the top not reported.
  const char* const items[] = {"empty", "one", "sub", "sub/link", "sub/two"};
  for (int stopAt = 1; stopAt <= 5; ++stopAt) {
    SCOPED_TRACE(stopAt);
    const std::string destination = m_scratch / ("copy" + std::to_string(stopAt));
    Callback callback{0, stopAt};
    EXPECT_EQ(Operation(false, m_scratch / "tree", destination, &callback)->perform(),
              kZuvErrCanceled);
    EXPECT_EQ(callback.calls, stopAt);  // no final call
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Exists(destination + "/" + items[i]), i < stopAt - 1);
  }
}

TEST_F(PathOperationTest, MoveReportsOnlyAcrossVolumes) {
  if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
  const std::string volume = m_scratch.MountTmpfs("volume");
  ASSERT_FALSE(volume.empty());
  const auto before = SnapshotTree(m_scratch / "tree");
  const std::string renamed = m_scratch / "renamed";
  Callback here;
  EXPECT_EQ(Operation(true, m_scratch / "tree", renamed, &here)->perform(), kZuvSuccess);
  EXPECT_EQ(here.calls, 1);  // only the final call
  Callback canceled{0, 3};
  EXPECT_EQ(Operation(true, renamed, volume + "/moved", &canceled)->perform(), kZuvErrCanceled);
  EXPECT_FALSE(Exists(volume + "/moved"));
  EXPECT_EQ(SnapshotTree(renamed), before);
  Callback across;
  EXPECT_EQ(Operation(true, renamed, volume + "/moved", &across)->perform(), kZuvSuccess);
  EXPECT_EQ(across.calls, 6);
  EXPECT_EQ(SnapshotTree(volume + "/moved"), before);
  EXPECT_FALSE(Exists(renamed));
}

}  // namespace
