// The tree copy and move on real file systems, with their pool of writers and their check: trees
// arrive whole (on XFS sharing their extents), and stops, failures, kills, denials, changes on the
// device and links swapped in by a notice lose nothing and leave nothing.
#include "zuv/platform/tree_transfer.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <signal.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/scoped_environment.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/transfer_steps.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/testing/files.h"
#include "zuv/transfer/path_operation.h"

namespace {

using namespace zuv::platform::testing;
using zuv::platform::Replaceable;
using zuv::platform::TransferSteps;
using zuv::platform::TreeNotice;
using zuv::platform::TreeTransfer;
using zuv::testing::Contents;
using zuv::testing::Exists;
using zuv::testing::RefOf;
using zuv::testing::Text;
using zuv::testing::Tree;
using Steps = FaultyTransferSteps;

TreeTransfer& Transfer() { return Replaceable<TreeTransfer>::Current(); }

int CopyOrMove(bool move, const std::string& source, const std::string& destination,
               const TreeNotice& notice = {}) {
  return move ? Transfer().Move(source, destination, notice)
              : Transfer().Copy(source, destination, notice);
}

bool RemoveTree(const std::string& path) {
  return Replaceable<zuv::platform::FileSystem>::Current().RemoveTree(path);
}

// Every file present in the partial copy holds what its source holds.
void ExpectCopiedFilesWhole(const Snapshot& source, const std::string& destination) {
  for (const auto& [path, item] : SnapshotTree(destination)) {
    if (item.kind == 'f') {
      EXPECT_TRUE(source.count(path) == 1 && item.data == source.at(path).data) << path;
    }
  }
}

class TreeTransferTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
    m_volume = m_scratch.MountTmpfs("volume", "8g");
    ASSERT_FALSE(m_volume.empty());
  }
  ScratchFolder m_scratch;
  std::string m_volume;  // another device than the scratch folder
};

// The number of extents of the file and how many of them are shared with another file; {-1, -1}
// when FIEMAP fails.
std::pair<int, int> ExtentsOf(const std::string& path) {
  std::vector<char> buffer(sizeof(fiemap) + 64 * sizeof(fiemap_extent));
  auto* map = reinterpret_cast<fiemap*>(buffer.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_flags = FIEMAP_FLAG_SYNC;
  map->fm_extent_count = 64;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool read = fd >= 0 && ioctl(fd, FS_IOC_FIEMAP, map) == 0;
  close(fd);
  if (!read) return {-1, -1};
  int shared = 0;
  for (uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
    shared += (map->fm_extents[i].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
  }
  return {static_cast<int>(map->fm_mapped_extents), shared};
}

TEST_F(TreeTransferTest, CopiesOnXfsShareEveryExtentWithTheirSource) {
  if (!HaveTool("mkfs.xfs")) GTEST_SKIP() << "mkfs.xfs is missing (xfsprogs)";
  const std::string volume = m_scratch.MountXfsImage("xfs");
  ASSERT_FALSE(volume.empty()) << "the XFS image could not be made or mounted";
  // A file alone, and one inside a folder the copy walks into, of bytes no file system can
  // compress or find twice.
  std::string raw(8 << 20, '\0');
  for (char& byte : raw) byte = static_cast<char>(std::rand());
  ASSERT_EQ(mkdir((volume + "/card").c_str(), 0755), 0);
  WriteFile(volume + "/raw.nef", raw);
  WriteFile(volume + "/card/img.jpg", raw.substr(0, 300 << 10));
  ASSERT_EQ(ExtentsOf(volume + "/raw.nef").second, 0) << "a new file shares extents already";
  ASSERT_EQ(Transfer().Copy(volume + "/raw.nef", volume + "/raw copy.nef", {}), 0);
  ASSERT_EQ(Transfer().Copy(volume + "/card", volume + "/card copy", {}), 0);
  for (const std::string copy : {"/raw copy.nef", "/card copy/img.jpg"}) {
    SCOPED_TRACE(copy);
    const std::string original = copy == "/raw copy.nef" ? raw : raw.substr(0, 300 << 10);
    EXPECT_TRUE(Contents(volume + copy) == original) << "the copy reads otherwise";
    const auto [all, shared] = ExtentsOf(volume + copy);
    EXPECT_GT(all, 0);
    EXPECT_EQ(shared, all) << "the copy's data was written anew";
  }
}

TEST_F(TreeTransferTest, RefusesWhatItCannotDo) {
  ASSERT_TRUE(MakeSmallTree(m_scratch / "tree"));
  WriteFile(m_scratch / "taken", "keep");
  ASSERT_EQ(mknod((m_scratch / "socket").c_str(), S_IFSOCK | 0666, 0), 0);
  ASSERT_EQ(mknod((m_scratch / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  const Snapshot before = SnapshotTree(m_scratch.Path());
  const std::tuple<bool, std::string, std::string, int> cases[] = {
      {false, m_scratch / "tree", m_scratch / "taken", EEXIST},
      {true, m_scratch / "tree", m_scratch / "taken", EEXIST},
      {true, m_scratch / "missing", m_volume + "/new", ENOENT},
      {false, m_scratch / "socket", m_scratch / "new", EOPNOTSUPP},
      {true, m_scratch / "null", m_volume + "/new", EOPNOTSUPP},  // a device moved away
      {false, m_scratch / "tree/sub/..", m_scratch / "new", EINVAL},
      {true, m_scratch / "tree", m_scratch / "tree/sub/.", EINVAL},
  };
  for (const auto& [move, from, to, error] : cases) {
    SCOPED_TRACE(from + " -> " + to);
    int notices = 0;
    EXPECT_EQ(CopyOrMove(move, from, to, [&](auto&) { return ++notices, true; }), error);
    EXPECT_LE(notices, move ? 1 : 0);  // a move notices its destination before it tries
    EXPECT_EQ(SnapshotTree(m_scratch.Path()), before);
    EXPECT_FALSE(Exists(m_scratch / "new"));
  }
  EXPECT_EQ(Transfer().Copy(m_scratch / "tree", m_scratch / "tree/sub/copy", {}), EINVAL);
  EXPECT_FALSE(Exists(m_scratch / "tree/sub/copy/sub/copy"));
}

// At each call of each step in turn: a failure of the step for a copy and for a move across
// volumes, a stop at the notice (the last "step") for both, and the process killed mid-move.
TEST_F(TreeTransferTest, FailureStopOrKillAtEveryStepLosesNothing) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  ASSERT_EQ(setxattr(source.c_str(), "user.a", "1", 1, 0), 0);
  ASSERT_EQ(setxattr((source + "/one").c_str(), "user.b", "2", 1, 0), 0);
  ASSERT_EQ(mkfifo((source + "/sub/fifo").c_str(), 0600), 0);
  const Snapshot before = SnapshotTree(source);
  const std::string destination = m_volume + "/copy";
  for (const int run : {0, 1, 2}) {  // a copy, a move, a killed move
    const bool move = run > 0;
    const bool kill = run == 2;
    for (int kind = 0; kind <= Steps::kKindCount - kill; ++kind) {
      const bool notice = kind == Steps::kKindCount;
      for (int call = 1;; ++call) {
        SCOPED_TRACE(testing::Message() << "run " << run << ", step " << kind << ", call " << call);
        Steps steps;
        steps.BeforeEach([&](Steps::Kind at, int number) {
          if (kill && at == kind && number == call) raise(SIGKILL);
          return at == kind && number == call ? EIO : 0;
        });
        int notices = 0;
        std::string stoppedAt;
        const auto transfer = [&] {
          const ScopedReplacement<TransferSteps> replaced(&steps);
          return CopyOrMove(move, source, destination, [&](const std::string& path) {
            if (notice && ++notices == call) stoppedAt = path;
            return stoppedAt.empty();
          });
        };
        const int error = kill ? RunInChild(transfer) : transfer();
        if (kill     ? error == 0
            : notice ? stoppedAt.empty()
                     : steps.Calls(Steps::Kind(kind)) < call) {
          EXPECT_EQ(error, 0);  // not reached: done whole
          EXPECT_EQ(SnapshotTree(destination), before);
          ASSERT_TRUE(move ? Transfer().Move(destination, source, {}) == 0
                           : RemoveTree(destination));
          break;
        }
        EXPECT_EQ(error, kill ? -1 : notice ? ECANCELED : EIO);
        EXPECT_FALSE(notice && Exists(stoppedAt));
        EXPECT_EQ(SnapshotTree(source), before);
        // A failed removal leaves the source and the copy whole; a killed move may leave a part.
        if (move && (!kill || kind == Steps::kRemoveSource)) {
          EXPECT_EQ(SnapshotTree(destination), kind == Steps::kRemoveSource ? before : Snapshot{});
        }
        if (!kill) ExpectCopiedFilesWhole(before, destination);
        RemoveTree(destination);
      }
    }
  }
}

// Of several failed items, the one first in walk order gives the answer, also when a later item
// fails after it: the second file is made only once the first one's write has failed.
TEST_F(TreeTransferTest, TheEarliestFailedItemGivesTheAnswer) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "2");
  ASSERT_TRUE(MakeSmallTree(m_scratch / "tree"));
  Steps steps;
  steps.BeforeEach([&](Steps::Kind kind, int call) {
    if (kind == Steps::kWriteData) {  // the first file's write waits for the second file
      while (call == 1 && steps.Calls(Steps::kCreateFile) < 2) std::this_thread::yield();
      return call == 1 ? EIO : ENOSPC;
    }
    if (kind == Steps::kCreateFile && call == 2) {
      while (steps.Calls(Steps::kClose) == 0) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return 0;
  });
  const ScopedReplacement<TransferSteps> replaced(&steps);
  EXPECT_EQ(Transfer().Copy(m_scratch / "tree", m_volume + "/copy", {}), EIO);
  EXPECT_EQ(steps.Calls(Steps::kWriteData), 2);
}

// With verify, an undisturbed copy passes and arrives whole, sparse file included; a move whose
// "sub/b.raw" changes on the device before its read-back fails by that name and keeps its source.
TEST_F(TreeTransferTest, VerifyFailsAChangedFileByNameAndAMoveKeepsItsSource) {
  std::string raw(3 << 20, '\0');
  for (char& byte : raw) byte = static_cast<char>(std::rand());
  for (const bool changed : {false, true}) {
    SCOPED_TRACE(changed);
    const std::string source = m_volume + "/card" + std::to_string(changed);
    const std::string destination = m_scratch / ("copy" + std::to_string(changed));
    ASSERT_TRUE(MakeSmallTree(source));
    WriteFile(source + "/sub/b.raw", raw);
    WriteFile(source + "/sparse", "start");
    ASSERT_EQ(truncate((source + "/sparse").c_str(), 8 << 20), 0);
    const Snapshot before = SnapshotTree(source);
    Steps steps;
    steps.BeforeEach([&](Steps::Kind kind, int call) {
      if (changed && kind == Steps::kOpenWritten && call == 1) {  // all written and durable
        std::fstream file(destination + "/sub/b.raw", std::ios::in | std::ios::out);
        const char byte = static_cast<char>(file.seekg(1000).get() ^ 0x5a);
        EXPECT_TRUE(file.seekp(1000).put(byte).flush());
      }
      return 0;
    });
    const auto operation = changed ? std::unique_ptr<ZuvPathOperation>(
                                         ZuvMovePath::Create(Text(source), Text(destination)))
                                   : ZuvCopyPath::Create(Text(source), Text(destination));
    operation->setVerify(true);
    {
      const ScopedReplacement<TransferSteps> replaced(&steps);
      EXPECT_EQ(operation->perform(), changed ? kZuvErrFileSystem : kZuvSuccess);
    }
    EXPECT_EQ(steps.Calls(Steps::kOpenWritten), 4);
    EXPECT_EQ(operation->verifyMismatches(),
              changed ? std::vector{destination + "/sub/b.raw"} : std::vector<std::string>{});
    Snapshot copied = SnapshotTree(destination);
    EXPECT_EQ(copied["sub/b.raw"].data == raw, !changed);
    copied["sub/b.raw"] = before.at("sub/b.raw");
    EXPECT_EQ(copied, before);
    struct stat st;
    EXPECT_TRUE(stat((destination + "/sparse").c_str(), &st) == 0 && st.st_blocks * 512 < 1 << 20);
    // The move keeps only the changed file's source, in its folders.
    const Snapshot kept = SnapshotTree(source);
    if (changed) {
      EXPECT_EQ(kept.size(), 3u);
      EXPECT_EQ(kept.count("sub"), 1u);
      EXPECT_EQ(kept.at("sub/b.raw"), before.at("sub/b.raw"));
    } else {
      EXPECT_EQ(kept, before);
    }
  }
}

TEST_F(TreeTransferTest, PermissionDeniedLeavesNothing) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeSmallTree(source));
  WriteFile(source + "/sub/secret", "root only");
  ASSERT_EQ(chmod((source + "/sub/secret").c_str(), 0600), 0);
  const std::string open = m_scratch / "open";
  const std::string closed = m_scratch / "closed";
  ASSERT_TRUE(mkdir(open.c_str(), 0) == 0 && chmod(open.c_str(), 0777) == 0 &&
              mkdir(closed.c_str(), 0755) == 0);
  // Read as another user, the source's access times change; its bytes must not.
  const std::map<std::string, std::string> before = Tree(source);
  EXPECT_EQ(RunAsNobody([&] {
              if (Transfer().Copy(source, open + "/copy", {}) != EACCES) return 1;
              if (Exists(open + "/copy/sub/secret") || !Exists(open + "/copy/one")) return 2;
              if (Transfer().Copy(source + "/one", closed + "/one", {}) != EACCES) return 3;
              return Transfer().Move(open + "/copy", closed + "/moved", {}) != EACCES ? 4 : 0;
            }),
            0);
  EXPECT_EQ(Tree(source), before);
  EXPECT_TRUE(Tree(closed).empty());
}

// A notice swaps a destination folder already made for a link to a folder outside; the copy goes
// on into the folder it made, and a stopped move removes its partial copy without following it.
TEST_F(TreeTransferTest, LinkSwappedInByANoticeLeadsNowhere) {
  const std::string source = m_scratch / "tree";
  const std::string outside = m_scratch / "outside";
  ASSERT_TRUE(MakeSmallTree(source) && MakeSmallTree(outside));
  const std::map<std::string, std::string> outsideBefore = Tree(outside);
  const std::string destination = m_volume + "/copy";
  const std::string sub = destination + "/sub";
  for (const bool move : {false, true}) {
    SCOPED_TRACE(move);
    const TreeNotice notice = [&](const std::string& path) {
      if (path == sub + "/link") {
        EXPECT_TRUE(rename(sub.c_str(), (destination + "/away").c_str()) == 0 &&
                    symlink(outside.c_str(), sub.c_str()) == 0);
      }
      return !(move && path == sub + "/two");
    };
    EXPECT_EQ(CopyOrMove(move, source, destination, notice), move ? ECANCELED : 0);
    EXPECT_EQ(Tree(outside), outsideBefore);
    EXPECT_TRUE(Exists(source + "/sub/two"));
    EXPECT_EQ(Exists(destination + "/away/two"), !move);
    RemoveTree(destination);
  }
}

// On a volume that refuses to be asked not to replace in a rename (NFS, FUSE ones such as bindfs),
// a move and a rename still rename, and still refuse a taken name.
TEST_F(TreeTransferTest, RenamesWhereNotReplacingCannotBeAsked) {
  if (!HaveTool("bindfs")) GTEST_SKIP() << "bindfs is missing";
  if (access("/dev/fuse", R_OK | W_OK) != 0) GTEST_SKIP() << "no /dev/fuse: FUSE cannot mount";
  const std::string volume = m_scratch.MountBindfs("backing", "fuse");
  ASSERT_FALSE(volume.empty()) << "bindfs could not mount";
  ASSERT_TRUE(MakeSmallTree(volume + "/tree"));
  WriteFile(volume + "/taken", "keep");
  const auto inode = [](const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 ? st.st_ino : 0;
  };
  const ino_t tree = inode(volume + "/tree");
  const std::map<std::string, std::string> before = Tree(volume + "/tree");
  EXPECT_EQ(Transfer().Move(volume + "/tree", volume + "/taken", {}), EEXIST);
  EXPECT_EQ(Transfer().Move(volume + "/tree", volume + "/moved", {}), 0);
  EXPECT_EQ(inode(volume + "/moved"), tree) << "copied, not renamed";
  EXPECT_EQ(Tree(volume + "/moved"), before);
  auto& fileSystem = Replaceable<zuv::platform::FileSystem>::Current();
  FSRef renamed;
  EXPECT_EQ(fileSystem.Rename(RefOf(volume + "/moved/one"), u"sub", &renamed),
            zuv::platform::kErrDuplicateName);
  EXPECT_EQ(fileSystem.Rename(RefOf(volume + "/moved/one"), u"uno", &renamed), 0);
  EXPECT_EQ(Contents(volume + "/moved/uno"), "one");
  EXPECT_EQ(Contents(volume + "/taken"), "keep");
  EXPECT_FALSE(Exists(volume + "/tree"));
}

// Trees arrive whole, a sparse file staying sparse, written by as many threads as
// ZUV_COPY_THREADS allows: copied on the same volume and to another, then moved across volumes.
TEST_F(TreeTransferTest, TreesArriveWholeByTheThreadsTheEnvironmentAllows) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeRandomTree(source, 7, 60));
  WriteFile(source + "/sparse", "start");
  ASSERT_EQ(truncate((source + "/sparse").c_str(), 16 << 20), 0);
  const Snapshot before = SnapshotTree(source);
  // The value, the copy, the most threads that write data, and whether the caller is the only one.
  const std::tuple<const char*, std::string, size_t, bool> cases[] = {
      {"1", m_scratch / "copy", 1, true},
      {"junk", m_volume + "/copy", std::max(1u, std::thread::hardware_concurrency()), false},
      {"", m_volume + "/moved", 0, false}};  // a move of the first copy
  for (const auto& [value, destination, most, callerWrites] : cases) {
    SCOPED_TRACE(value);
    const ScopedEnvironment threads("ZUV_COPY_THREADS", value);
    if (most == 0) {
      ASSERT_EQ(Transfer().Move(m_scratch / "copy", destination, {}), 0);
      EXPECT_FALSE(Exists(m_scratch / "copy"));
    } else {
      Steps steps;
      std::mutex lock;
      std::set<std::thread::id> writers;
      steps.BeforeEach([&](Steps::Kind kind, int) {
        const std::lock_guard<std::mutex> hold(lock);
        if (kind == Steps::kWriteData) writers.insert(std::this_thread::get_id());
        return 0;
      });
      const ScopedReplacement<TransferSteps> replaced(&steps);
      ASSERT_EQ(Transfer().Copy(source, destination, {}), 0);
      EXPECT_LE(writers.size(), most);
      EXPECT_EQ(writers.count(std::this_thread::get_id()) == 1, callerWrites);
    }
    EXPECT_EQ(SnapshotTree(destination), before);
    struct stat st;
    EXPECT_TRUE(stat((destination + "/sparse").c_str(), &st) == 0 && st.st_blocks * 512 < 1 << 20);
  }
  EXPECT_EQ(SnapshotTree(source), before);
}

// Copies and moves across volumes, several at once, each stopped at a random notice or not at
// all: nothing at the stopped path, every file there whole, a stopped move's source whole and its
// destination gone.
TEST_F(TreeTransferTest, ManyTransfersStoppedAtRandomLoseNothing) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "4");
  std::vector<std::thread> workers;
  for (int worker = 0; worker < 4; ++worker) {
    workers.emplace_back([&, worker] {
      const std::string source = m_scratch / ("tree" + std::to_string(worker));
      ASSERT_TRUE(MakeRandomTree(source, 40 + worker, 60));
      const Snapshot before = SnapshotTree(source);
      std::mt19937 random(static_cast<unsigned>(worker));
      for (int round = 0; round < 6; ++round) {
        const bool move = round % 2 == 1;
        const std::string destination = m_volume + "/copy" + std::to_string(worker * 10 + round);
        const size_t stopAt = random() % (before.size() + 4);  // past the end: no stop
        size_t index = 0;
        std::string stoppedAt;
        const int error = CopyOrMove(move, source, destination, [&](const std::string& path) {
          if (index++ == stopAt) stoppedAt = path;
          return stoppedAt.empty();
        });
        SCOPED_TRACE(destination);
        const bool stopped = !stoppedAt.empty();
        EXPECT_EQ(error, stopped ? ECANCELED : 0);
        EXPECT_TRUE(!stopped || (!Exists(stoppedAt) && !(move && Exists(destination))));
        EXPECT_EQ(SnapshotTree(move && !stopped ? destination : source), before);
        ExpectCopiedFilesWhole(before, destination);
        if (!move || stopped) RemoveTree(destination);
        EXPECT_TRUE(!move || stopped || Transfer().Move(destination, source, {}) == 0);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
}

// A stop while a file of some GiB is being written ends the write within a step: the copy answers
// at once, and neither the large file nor anything at the stopped path is left.
TEST_F(TreeTransferTest, StopDuringALargeFileEndsItsWriteSoon) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "2");
  const std::string source = m_volume + "/film";
  ASSERT_EQ(mkdir(source.c_str(), 0755), 0);
  ASSERT_TRUE(RunCommand("fallocate -l 3G " + source + "/a.mov"));  // data, not a hole, on tmpfs
  WriteFile(source + "/b.xmp", "sidecar");
  const std::string destination = m_volume + "/copy";
  std::chrono::steady_clock::time_point stopped;
  const TreeNotice notice = [&](const std::string& path) {
    if (path != destination + "/b.xmp") return true;
    struct stat st {};  // the stop waits until the large file is well on its way, not done
    while (stat((destination + "/a.mov").c_str(), &st) == 0 && st.st_size < (off_t{256} << 20)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LT(st.st_size, off_t{3} << 30);
    stopped = std::chrono::steady_clock::now();
    return false;
  };
  EXPECT_EQ(Transfer().Copy(source, destination, notice), ECANCELED);
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, std::chrono::milliseconds(500));
  EXPECT_EQ(zuv::testing::Names(destination), std::vector<std::string>{});
}

}  // namespace
