// The tree copy's pool: its size taken from ZUV_COPY_THREADS, many copies and moves at once with
// stops at random points (run under the thread sanitizer too), a stop while a large file is being
// written honoured within a step, and a process killed while the pool writes losing nothing.
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/testing/scoped_environment.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/testing/transfer_steps.h"
#include "zuv/platform/testing/trees.h"
#include "zuv/platform/tree_transfer.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::Replaceable;
using zuv::platform::TreeNotice;
using zuv::platform::TreeTransfer;
using zuv::platform::testing::FaultyTransferSteps;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::MakeRandomTree;
using zuv::platform::testing::RunInChild;
using zuv::platform::testing::ScopedEnvironment;
using zuv::platform::testing::ScopedReplacement;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::SnapshotTree;
using zuv::platform::testing::TreeItem;
using zuv::testing::Exists;

using Snapshot = std::map<std::string, TreeItem>;

TreeTransfer& Transfer() { return Replaceable<TreeTransfer>::Current(); }

class ParallelCopyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!IsRoot()) GTEST_SKIP() << "a second volume (tmpfs) needs root";
    m_volume = m_scratch.MountTmpfs("volume", "8g");
    ASSERT_FALSE(m_volume.empty());
  }
  ScratchFolder m_scratch;
  std::string m_volume;  // another device than the scratch folder
};

TEST_F(ParallelCopyTest, ThreadsComeFromTheEnvironment) {
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeRandomTree(source, 7, 60));
  struct Case {
    const char* value;
    size_t most;  // threads that write data, the caller's among them when it is the only one
    bool callerWrites;
  } const cases[] = {
      {"1", 1, true},
      {"3", 3, false},
      {"junk", std::max(1u, std::thread::hardware_concurrency()), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    const ScopedEnvironment threads("ZUV_COPY_THREADS", c.value);
    FaultyTransferSteps steps;
    std::mutex lock;
    std::set<std::thread::id> writers;
    steps.BeforeEach([&](FaultyTransferSteps::Kind kind, int) {
      const std::lock_guard<std::mutex> hold(lock);
      if (kind == FaultyTransferSteps::kWriteData) writers.insert(std::this_thread::get_id());
    });
    const std::string destination = m_volume + "/copy";
    {
      const ScopedReplacement<zuv::platform::TransferSteps> replaced(&steps);
      ASSERT_EQ(Transfer().Copy(source, destination, {}), 0);
    }
    EXPECT_EQ(SnapshotTree(destination), SnapshotTree(source));
    EXPECT_LE(writers.size(), c.most);
    EXPECT_EQ(writers.count(std::this_thread::get_id()) == 1, c.callerWrites);
    ASSERT_TRUE(Replaceable<zuv::platform::FileSystem>::Current().RemoveTree(destination));
  }
}

// Copies and moves across volumes, several at once, each stopped at a random notice or not at
// all: nothing at the stopped path, every file there whole, a stopped move's source whole and its
// destination gone.
TEST_F(ParallelCopyTest, ManyTransfersStoppedAtRandomLoseNothing) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "4");
  constexpr int kWorkers = 4;
  constexpr int kRounds = 6;
  std::vector<std::string> sources;
  std::vector<Snapshot> before;
  for (int worker = 0; worker < kWorkers; ++worker) {
    sources.push_back(m_scratch / ("tree" + std::to_string(worker)));
    ASSERT_TRUE(MakeRandomTree(sources.back(), 40 + worker, 60));
    before.push_back(SnapshotTree(sources.back()));
  }
  std::vector<std::thread> workers;
  for (int worker = 0; worker < kWorkers; ++worker) {
    workers.emplace_back([&, worker] {
      std::mt19937 random(static_cast<unsigned>(worker));
      for (int round = 0; round < kRounds; ++round) {
        const bool move = round % 2 == 1;
        const std::string destination =
            m_volume + "/copy" + std::to_string(worker) + "-" + std::to_string(round);
        const size_t stopAt = random() % (before[worker].size() + 4);  // past the end: no stop
        size_t index = 0;
        std::string stoppedAt;
        const TreeNotice notice = [&](const std::string& path) {
          if (index++ != stopAt) return true;
          stoppedAt = path;
          return false;
        };
        const int error = move ? Transfer().Move(sources[worker], destination, notice)
                               : Transfer().Copy(sources[worker], destination, notice);
        SCOPED_TRACE(destination);
        EXPECT_EQ(error, stoppedAt.empty() ? 0 : ECANCELED);
        if (!stoppedAt.empty()) {
          EXPECT_FALSE(Exists(stoppedAt));
        }
        if (move && !stoppedAt.empty()) {
          EXPECT_FALSE(Exists(destination));
        }
        const std::string& whole = move && stoppedAt.empty() ? destination : sources[worker];
        EXPECT_EQ(SnapshotTree(whole), before[worker]);
        for (const auto& [path, item] : SnapshotTree(destination)) {
          if (item.kind == 'f') {
            EXPECT_EQ(item.data, before[worker].at(path).data) << path;
          }
        }
        if (move && stoppedAt.empty()) {
          EXPECT_EQ(Transfer().Move(destination, sources[worker], {}), 0);
        } else {
          Replaceable<zuv::platform::FileSystem>::Current().RemoveTree(destination);
        }
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
}

// A stop while a file of some GiB is being written ends the write within a step: the copy answers
// at once, and neither the large file nor anything at the stopped path is left.
TEST_F(ParallelCopyTest, StopDuringALargeFileEndsItsWriteSoon) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "2");
  const std::string source = m_volume + "/film";
  ASSERT_EQ(mkdir(source.c_str(), 0755), 0);
  constexpr off_t kLarge = off_t{3} << 30;
  const int fd = open((source + "/a.mov").c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(posix_fallocate(fd, 0, kLarge), 0);  // data, not a hole, on a tmpfs
  close(fd);
  zuv::platform::testing::WriteFile(source + "/b.xmp", "sidecar");
  const std::string destination = m_volume + "/copy";
  std::chrono::steady_clock::time_point stopped;
  const TreeNotice notice = [&](const std::string& path) {
    if (path != destination + "/b.xmp") return true;
    struct stat st {};  // wait until the large file is well on its way
    while (stat((destination + "/a.mov").c_str(), &st) == 0 && st.st_size < (off_t{256} << 20)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LT(st.st_size, kLarge);
    stopped = std::chrono::steady_clock::now();
    return false;
  };
  EXPECT_EQ(Transfer().Copy(source, destination, notice), ECANCELED);
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, std::chrono::milliseconds(500));
  EXPECT_FALSE(Exists(destination + "/a.mov"));
  EXPECT_FALSE(Exists(destination + "/b.xmp"));
}

// A move across volumes killed while several threads write: the source is whole.
TEST_F(ParallelCopyTest, KilledWhileThePoolWritesLosesNothing) {
  const ScopedEnvironment threads("ZUV_COPY_THREADS", "4");
  const std::string source = m_scratch / "tree";
  ASSERT_TRUE(MakeRandomTree(source, 11, 60));
  const Snapshot before = SnapshotTree(source);
  for (const FaultyTransferSteps::Kind kind :
       {FaultyTransferSteps::kWriteData, FaultyTransferSteps::kClose}) {
    SCOPED_TRACE(kind);
    const std::string destination = m_volume + "/moved" + std::to_string(kind);
    const int status = RunInChild([&] {
      FaultyTransferSteps steps;
      steps.BeforeEach([&](FaultyTransferSteps::Kind at, int call) {
        if (at == kind && call == 6) raise(SIGKILL);
      });
      const ScopedReplacement<zuv::platform::TransferSteps> replaced(&steps);
      return Transfer().Move(source, destination, {});
    });
    EXPECT_EQ(status, -1);  // killed
    EXPECT_EQ(SnapshotTree(source), before);
  }
}

}  // namespace
