// The tree copy and move on real file systems: whole trees copied and moved byte for byte with
// their metadata, a stop at each notice and a failure at each step leaving nothing behind at that
// path and the source whole, a process killed mid-move losing nothing, and links swapped in by a
// notice never leading a write or a removal out of the destination.
#include "zuv/platform/tree_transfer.h"

#include <cerrno>
#include <map>
#include <signal.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/transfer_steps.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::Replaceable;
using zuv::platform::TreeNotice;
using zuv::platform::TreeTransfer;
using zuv::platform::testing::FaultyTransferSteps;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::MakeRandomTree;
using zuv::platform::testing::MakeSmallTree;
using zuv::platform::testing::RunAsNobody;
using zuv::platform::testing::RunInChild;
using zuv::platform::testing::ScopedReplacement;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::SnapshotTree;
using zuv::platform::testing::StartChild;
using zuv::platform::testing::TreeItem;
using zuv::platform::testing::WriteFile;
using zuv::testing::Exists;
using zuv::testing::Tree;

using Snapshot = std::map<std::string, TreeItem>;

TreeTransfer& Transfer() { return Replaceable<TreeTransfer>::Current(); }

bool RemoveTree(const std::string& path) {
  return Replaceable<zuv::platform::FileSystem>::Current().RemoveTree(path);
}

// Every file of `before` (a snapshot of a source) is whole at the same relative path under
// `source` or under `destination`.
void ExpectEveryFileSomewhere(const Snapshot& before, const std::string& source,
                              const std::string& destination) {
  const Snapshot atSource = SnapshotTree(source);
  const Snapshot atDestination = SnapshotTree(destination);
  for (const auto& [path, item] : before) {
    if (item.kind != 'f') continue;
    const auto there = atSource.find(path);
    const auto here = atDestination.find(path);
    const bool whole = (there != atSource.end() && there->second.data == item.data) ||
                       (here != atDestination.end() && here->second.data == item.data);
    EXPECT_TRUE(whole) << path;
  }
}

// Every file present in the partial copy holds what its source holds.
void ExpectCopiedFilesWhole(const Snapshot& source, const std::string& destination) {
  for (const auto& [path, item] : SnapshotTree(destination)) {
    if (item.kind != 'f') continue;
    const auto original = source.find(path);
    ASSERT_NE(original, source.end()) << path;
    EXPECT_EQ(item.data, original->second.data) << path;
  }
}

class TreeTransferTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
    m_volume = m_scratch.MountTmpfs("volume", "96m");
    ASSERT_FALSE(m_volume.empty());
  }
  ScratchFolder m_scratch;
  std::string m_volume;  // another device than the scratch folder
};

TEST_F(TreeTransferTest, RandomTreesAreCopiedAndMovedWhole) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeRandomTree(source, 3));
  const Snapshot before = SnapshotTree(source);

  const std::string copy = m_scratch / "copy";
  ASSERT_EQ(Transfer().Copy(source, copy, {}), 0);
  EXPECT_EQ(SnapshotTree(copy), before);
  EXPECT_EQ(SnapshotTree(source), before);
  ASSERT_EQ(Transfer().Move(copy, m_volume + "/moved", {}), 0);
  EXPECT_EQ(SnapshotTree(m_volume + "/moved"), before);
  EXPECT_FALSE(Exists(copy));
}

TEST_F(TreeTransferTest, SparseFilesStaySparse) {
  const std::string source = m_scratch / "sparse";
  WriteFile(source, "start");
  ASSERT_EQ(truncate(source.c_str(), 16 << 20), 0);
  for (const std::string& destination : {m_scratch / "here", m_volume + "/there"}) {
    ASSERT_EQ(Transfer().Copy(source, destination, {}), 0);
    struct stat st;
    ASSERT_EQ(lstat(destination.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 16 << 20);
    EXPECT_LT(st.st_blocks * 512, 1 << 20) << destination;
    EXPECT_EQ(SnapshotTree(destination), SnapshotTree(source));
  }
}

TEST_F(TreeTransferTest, RefusesWhatItCannotDo) {
  ASSERT_TRUE(MakeSmallTree(m_scratch / "tree"));
  WriteFile(m_scratch / "taken", "keep");
  const int socketFd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string socketPath = m_scratch / "socket";
  socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(mknod((m_scratch / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  const Snapshot before = SnapshotTree(m_scratch.Path());
  struct Case {
    const char* name;
    bool move;
    std::string source;
    std::string destination;
    int error;
  } const cases[] = {
      {"destination taken", false, m_scratch / "tree", m_scratch / "taken", EEXIST},
      {"destination taken on move", true, m_scratch / "tree", m_scratch / "taken", EEXIST},
      {"no source", true, m_scratch / "missing", m_volume + "/new", ENOENT},
      {"a socket", false, socketPath, m_scratch / "new", EOPNOTSUPP},
      {"a device moved away", true, m_scratch / "null", m_volume + "/new", EOPNOTSUPP},
      {"source ..", false, m_scratch / "tree/sub/..", m_scratch / "new", EINVAL},
      {"destination .", true, m_scratch / "tree", m_scratch / "tree/sub/.", EINVAL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    int notices = 0;
    const TreeNotice notice = [&](const std::string&) { return ++notices, true; };
    EXPECT_EQ(c.move ? Transfer().Move(c.source, c.destination, notice)
                     : Transfer().Copy(c.source, c.destination, notice),
              c.error);
    EXPECT_LE(notices, c.move ? 1 : 0);  // a move notices its destination before it tries
    EXPECT_EQ(SnapshotTree(m_scratch.Path()), before);
    EXPECT_FALSE(Exists(m_scratch / "new"));
  }
  close(socketFd);
}

TEST_F(TreeTransferTest, CopyIntoItsOwnSourceStops) {
  ASSERT_TRUE(MakeSmallTree(m_scratch / "tree"));
  EXPECT_EQ(Transfer().Copy(m_scratch / "tree", m_scratch / "tree/sub/copy", {}), EINVAL);
  EXPECT_FALSE(Exists(m_scratch / "tree/sub/copy/sub/copy"));
}

// For a copy and for a move across volumes, a stop at each notice in turn.
TEST_F(TreeTransferTest, StopAtEveryNoticeLeavesNothingThere) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  const Snapshot before = SnapshotTree(source);
  for (const bool move : {false, true}) {
    const std::string destination = m_volume + "/copy";
    const auto run = [&](const TreeNotice& notice) {
      return move ? Transfer().Move(source, destination, notice)
                  : Transfer().Copy(source, destination, notice);
    };
    std::vector<std::string> noticed;
    ASSERT_EQ(Transfer().Copy(source, destination,
                              [&](const std::string& path) {
                                noticed.push_back(path);
                                return true;
                              }),
              0);
    ASSERT_EQ(noticed.size(), before.size());
    ASSERT_TRUE(RemoveTree(destination));
    for (size_t stop = 0; stop < noticed.size(); ++stop) {
      SCOPED_TRACE(testing::Message() << (move ? "move" : "copy") << " stopped at " << stop);
      size_t index = 0;
      EXPECT_EQ(run([&](const std::string& path) {
                  EXPECT_EQ(path, noticed[index]);
                  return index++ != stop;
                }),
                ECANCELED);
      EXPECT_FALSE(Exists(noticed[stop]));
      EXPECT_EQ(SnapshotTree(source), before);
      if (move) {
        EXPECT_FALSE(Exists(destination));
      } else {
        ExpectCopiedFilesWhole(before, destination);
      }
      RemoveTree(destination);
    }
  }
}

// A failure of each step in turn, at each of its calls, for a copy and for a move across volumes.
TEST_F(TreeTransferTest, FailureAtEveryStepLosesNothing) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  ASSERT_EQ(setxattr(source.c_str(), "user.a", "1", 1, 0), 0);
  ASSERT_EQ(setxattr((source + "/one").c_str(), "user.b", "2", 1, 0), 0);
  ASSERT_EQ(mkfifo((source + "/sub/fifo").c_str(), 0600), 0);
  const Snapshot before = SnapshotTree(source);
  const std::string destination = m_volume + "/copy";
  for (const bool move : {false, true}) {
    for (int kind = 0; kind < FaultyTransferSteps::kKindCount; ++kind) {
      for (int call = 1;; ++call) {
        SCOPED_TRACE(testing::Message()
                     << (move ? "move" : "copy") << ", step " << kind << ", call " << call);
        FaultyTransferSteps steps;
        steps.Fail(FaultyTransferSteps::Kind(kind), call, EIO);
        int error = 0;
        {
          const ScopedReplacement<zuv::platform::TransferSteps> replaced(&steps);
          error = move ? Transfer().Move(source, destination, {})
                       : Transfer().Copy(source, destination, {});
        }
        const bool reached = steps.Calls(FaultyTransferSteps::Kind(kind)) >= call;
        if (!reached) {
          EXPECT_EQ(error, 0);
          EXPECT_EQ(SnapshotTree(destination), before);
          if (move) {
            ASSERT_EQ(Transfer().Move(destination, source, {}), 0);
          } else {
            RemoveTree(destination);
          }
          break;
        }
        EXPECT_EQ(error, EIO);
        EXPECT_EQ(SnapshotTree(source), before);
        if (move && kind == FaultyTransferSteps::kRemoveSource) {
          EXPECT_EQ(SnapshotTree(destination), before);  // whole at both ends
        } else if (move) {
          EXPECT_FALSE(Exists(destination));
        } else {
          ExpectCopiedFilesWhole(before, destination);
        }
        RemoveTree(destination);
      }
    }
  }
}

// A process killed at points of a move across volumes: while writing, before the copy is made
// durable, before the source goes and halfway through its removal.
TEST_F(TreeTransferTest, KilledMidMoveLosesNothing) {
  struct Point {
    const char* name;
    FaultyTransferSteps::Kind kind;
    int call;
  } const points[] = {
      {"third write", FaultyTransferSteps::kWriteData, 3},
      {"before the sync", FaultyTransferSteps::kSyncVolume, 1},
      {"before the removal", FaultyTransferSteps::kRemoveSource, 1},
      {"during the removal", FaultyTransferSteps::kRemoveSource, 0},
  };
  int run = 0;
  for (const Point& point : points) {
    SCOPED_TRACE(point.name);
    const std::string source = m_scratch / ("tree" + std::to_string(++run));
    const std::string destination = m_volume + "/moved" + std::to_string(run);
    ASSERT_TRUE(MakeRandomTree(source, 100 + run, 20));
    const Snapshot before = SnapshotTree(source);
    const int status = RunInChild([&] {
      FaultyTransferSteps steps;
      steps.BeforeEach([&](FaultyTransferSteps::Kind kind, int call) {
        if (kind != point.kind) return;
        if (point.call == 0) {  // remove a part of the source, then die
          for (const auto& [path, item] : before) {
            if (item.kind == 'f') unlink((source + "/" + path).c_str());
            if (item.kind == 'f' && path.size() % 2 == 0) break;
          }
          raise(SIGKILL);
        }
        if (call == point.call) raise(SIGKILL);
      });
      const ScopedReplacement<zuv::platform::TransferSteps> replaced(&steps);
      return Transfer().Move(source, destination, {});
    });
    EXPECT_EQ(status, -1);  // killed
    ExpectEveryFileSomewhere(before, source, destination);
  }
}

TEST_F(TreeTransferTest, PermissionDeniedLeavesNothing) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  WriteFile(source + "/sub/secret", "root only");
  ASSERT_EQ(chmod((source + "/sub/secret").c_str(), 0600), 0);
  const std::string open = m_scratch / "open";
  ASSERT_EQ(mkdir(open.c_str(), 0777), 0);
  ASSERT_EQ(chmod(open.c_str(), 0777), 0);
  const std::string closed = m_scratch / "closed";
  ASSERT_EQ(mkdir(closed.c_str(), 0755), 0);
  // Read as another user, the source's access times change; its bytes must not.
  const std::map<std::string, std::string> before = Tree(source);
  // 1: the copy did not fail as denied; 2: something was left where it was denied.
  EXPECT_EQ(RunAsNobody([&] {
              if (Transfer().Copy(source, open + "/copy", {}) != EACCES) return 1;
              if (Exists(open + "/copy/sub/secret") || !Exists(open + "/copy/one")) return 2;
              if (Transfer().Copy(source + "/one", closed + "/one", {}) != EACCES) return 3;
              if (Transfer().Move(open + "/copy", closed + "/moved", {}) != EACCES) return 4;
              return 0;
            }),
            0);
  EXPECT_EQ(Tree(source), before);
  EXPECT_TRUE(Tree(closed).empty());
}

// A notice swaps a destination folder already made for a link to a folder outside; the copy goes
// on into the folder it made, and a stopped move removes its partial copy without following it.
TEST_F(TreeTransferTest, LinkSwappedInByANoticeLeadsNowhere) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  const std::string outside = m_scratch / "outside";
  ASSERT_EQ(mkdir(outside.c_str(), 0755), 0);
  WriteFile(outside + "/keep", "keep");
  const std::map<std::string, std::string> outsideBefore = Tree(outside);
  for (const bool move : {false, true}) {
    SCOPED_TRACE(move ? "move" : "copy");
    const std::string destination = m_volume + "/copy";
    const TreeNotice notice = [&](const std::string& path) {
      if (path == destination + "/sub/link") {
        EXPECT_EQ(rename((destination + "/sub").c_str(), (destination + "/away").c_str()), 0);
        EXPECT_EQ(symlink(outside.c_str(), (destination + "/sub").c_str()), 0);
      }
      return !(move && path == destination + "/sub/two");
    };
    const int error = move ? Transfer().Move(source, destination, notice)
                           : Transfer().Copy(source, destination, notice);
    EXPECT_EQ(error, move ? ECANCELED : 0);
    EXPECT_EQ(Tree(outside), outsideBefore);
    EXPECT_TRUE(Exists(source + "/sub/two"));
    if (!move) {
      EXPECT_TRUE(Exists(destination + "/away/two"));
    }
    RemoveTree(destination);
  }
}

}  // namespace
