// ZuvCopyPath and ZuvMovePath: which notices reach the callback, the final call, cancelling, and
// the results on the system versions that report items and on those that do not.
#include "zuv/transfer/path_operation.h"

#include <memory>
#include <string>
#include <tuple>

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
  ScratchFolder m_scratch;
  FakeMachineFacts m_facts;
  ScopedReplacement<zuv::platform::MachineFacts> m_replaced{&m_facts};
};

TEST_F(PathOperationTest, NoticesPassOverTheDestinationAndForAMoveTheSource) {
  for (const bool move : {false, true}) {
    EXPECT_EQ(Operation(move, "", "/b"), nullptr);
    EXPECT_EQ(Operation(move, "/a", ""), nullptr);
  }
  // Move or copy of "/s" to "/d", the path noticed, whether it reaches the callback.
  const std::tuple<bool, const char*, bool> cases[] = {
      {false, "/d", false}, {false, "/s/x", true}, {true, "/d", false},
      {true, "/d/x", true}, {true, "/s/x", false}, {true, "/sx", false},  // a plain text prefix
  };
  for (const auto& [move, path, reported] : cases) {
    SCOPED_TRACE(path);
    Callback callback;
    const auto operation = Operation(move, "/s", "/d", &callback);
    EXPECT_TRUE(operation->willProcessPath(Text(path)));
    EXPECT_FALSE(operation->shouldProceedAfterError());
    EXPECT_EQ(callback.calls, reported ? 1 : 0);
  }
}

// Versions 0x1060 to 0x106F report the five items below the small tree's top, then make the final
// call. A stop at an item leaves nothing from there on, and no final call is made.
TEST_F(PathOperationTest, CopyReportsItemsOnlyOnSomeVersionsAndStopsWhereAsked) {
  const char* const items[] = {"empty", "one", "sub", "sub/link", "sub/two"};  // in walk order
  const struct {
    uint32_t version;
    int stopAt, calls;
  } cases[] = {{0x105F, 0, 1}, {0x1060, 0, 6}, {0x106F, 0, 6}, {0x1070, 0, 1}, {0x1068, 1, 1},
               {0x1068, 2, 2}, {0x1068, 3, 3}, {0x1068, 4, 4}, {0x1068, 5, 5}};
  int run = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << c.version << " stop " << c.stopAt);
    m_facts.systemVersion = c.version;
    const std::string destination = m_scratch / ("copy" + std::to_string(++run));
    Callback callback{0, c.stopAt};
    EXPECT_EQ(Operation(false, m_scratch / "tree", destination, &callback)->perform(),
              c.stopAt ? kZuvErrCanceled : kZuvSuccess);
    EXPECT_EQ(callback.calls, c.calls);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(Exists(destination + "/" + items[i]), c.stopAt == 0 || i < c.stopAt - 1);
    }
  }
  EXPECT_EQ(Operation(false, m_scratch / "tree", m_scratch / "quiet")->perform(), kZuvSuccess)
      << "without a callback";
  EXPECT_EQ(Tree(m_scratch / "quiet"), Tree(m_scratch / "tree"));
}

// The final call comes after a failure too.
TEST_F(PathOperationTest, FailuresByVersion) {
  WriteFile(m_scratch / "taken", "keep");
  const std::tuple<bool, uint32_t, const char*, ZuvResult> cases[] = {
      {false, 0x1068, "tree", kZuvErrAccessDenied},
      {false, 0x1070, "tree", kZuvErrAlreadyExists},
      {false, 0x1050, "missing", kZuvErrNotFound},
      {true, 0x1070, "missing", kZuvErrAccessDenied}};
  for (const auto& [move, version, source, result] : cases) {
    SCOPED_TRACE(version);
    m_facts.systemVersion = version;
    Callback callback;
    EXPECT_EQ(Operation(move, m_scratch / source, m_scratch / "taken", &callback)->perform(),
              result);
    EXPECT_EQ(callback.calls, 1);
    EXPECT_EQ(Contents(m_scratch / "taken"), "keep");
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
