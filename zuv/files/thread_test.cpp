#include "zuv/files/thread.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Long enough that only a hang reaches it.
constexpr unsigned int kHangMs = 10000;
// Time given to a thread that is expected to stay blocked, so that a wrong release would show.
constexpr int kSettleMs = 50;

// A thread whose end is awaited with a limit, so that a deadlock fails the test instead of hanging
// it. A thread still stuck at the limit is left behind.
class Worker {
 public:
  explicit Worker(std::function<void()> body) : m_done(std::make_shared<CZuvEvent>()) {
    std::thread([body = std::move(body), done = m_done] {
      body();
      done->Set();
    }).detach();
  }
  bool Finished() { return m_done->WaitTime(kHangMs); }

 private:
  std::shared_ptr<CZuvEvent> m_done;
};

class SignallingRunnable : public IZuvRunnableThread {
 public:
  void Run() override {
    m_runner = std::this_thread::get_id();
    m_done.Set();
  }

  std::thread::id m_runner;
  CZuvEvent m_done;
};

TEST(ThreadTest, BeginThreadRunsTheObjectOnAnotherThread) {
  SignallingRunnable runnable;
  ASSERT_EQ(ZuvBeginThread(&runnable), 0);
  ASSERT_TRUE(runnable.m_done.WaitTime(kHangMs));
  EXPECT_NE(runnable.m_runner, std::this_thread::get_id());
}

TEST(ThreadTest, SleepLastsAtLeastTheTimeAsked) {
  EXPECT_EQ(ZuvSleep(0), 0);
  const auto start = steady_clock::now();
  EXPECT_EQ(ZuvSleep(20), 0);
  EXPECT_GE(steady_clock::now() - start, milliseconds(20));
}

TEST(EventTest, AWaitConsumesTheFlagsOfEverySetBeforeIt) {
  CZuvEvent event;
  EXPECT_FALSE(event.WaitTime(0));

  EXPECT_EQ(event.Set(), 0);
  EXPECT_TRUE(event.WaitTime(0));
  EXPECT_FALSE(event.WaitTime(0));

  event.Set();
  event.Set();
  EXPECT_EQ(event.Wait(), 0);
  EXPECT_FALSE(event.WaitTime(0));
}

TEST(EventTest, TimedWaitRunsOutAfterItsTime) {
  CZuvEvent event;
  const auto start = steady_clock::now();
  EXPECT_FALSE(event.WaitTime(20));
  EXPECT_GE(steady_clock::now() - start, milliseconds(20));
}

TEST(EventTest, OneSetReleasesExactlyOneOfTwoWaiters) {
  CZuvEvent event;
  CZuvEvent released;
  std::atomic<int> releasedCount{0};
  auto waiter = [&] {
    event.Wait();
    ++releasedCount;
    released.Set();
  };
  Worker first(waiter);
  Worker second(waiter);
  ZuvSleep(kSettleMs);  // most often both are blocked by now; the outcome must not depend on it

  event.Set();
  ASSERT_TRUE(released.WaitTime(kHangMs));
  ZuvSleep(kSettleMs);
  EXPECT_EQ(releasedCount, 1);

  event.Set();
  ASSERT_TRUE(first.Finished());
  ASSERT_TRUE(second.Finished());
  EXPECT_EQ(releasedCount, 2);
}

// The two ways to hold a re-entrant lock: an object of one's own, and the process-wide lock by id.
struct LockCase {
  const char* name;
  std::function<void()> enter;
  std::function<void()> leave;
};

void PrintTo(const LockCase& lock, std::ostream* out) { *out << lock.name; }

class LockTest : public testing::TestWithParam<LockCase> {};

TEST_P(LockTest, HolderMayEnterAgainAndOthersWaitForTheLastLeave) {
  const LockCase& lock = GetParam();
  lock.enter();
  lock.enter();

  std::atomic<bool> entered{false};
  Worker contender([&] {
    lock.enter();
    entered = true;
    lock.leave();
  });
  ZuvSleep(kSettleMs);
  EXPECT_FALSE(entered);
  lock.leave();
  ZuvSleep(kSettleMs);
  EXPECT_FALSE(entered);
  lock.leave();
  ASSERT_TRUE(contender.Finished());
  EXPECT_TRUE(entered);
}

TEST_P(LockTest, ThreadsTakeTurnsUnderTheLock) {
  const LockCase& lock = GetParam();
  constexpr int kThreads = 4;
  constexpr int kRounds = 10000;
  int counter = 0;  // deliberately not atomic: only the lock protects it
  std::vector<Worker> workers;
  for (int i = 0; i < kThreads; ++i) {
    workers.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        lock.enter();
        lock.enter();
        ++counter;
        lock.leave();
        lock.leave();
      }
    });
  }
  for (Worker& worker : workers) ASSERT_TRUE(worker.Finished());
  EXPECT_EQ(counter, kThreads * kRounds);
}

LockCase CriticalSectionCase() {
  auto section = std::make_shared<CZuvCriticalSection>();
  return {"CriticalSection", [section] { EXPECT_EQ(section->Enter(), 0); },
          [section] { EXPECT_EQ(section->Leave(), 0); }};
}

LockCase AudioLockCase() {
  return {"AudioLock", [] { EXPECT_EQ(ZuvMacEnterLock(kZuvAudioLockId), kZuvSuccess); },
          [] { EXPECT_EQ(ZuvMacLeaveLock(kZuvAudioLockId), kZuvSuccess); }};
}

INSTANTIATE_TEST_SUITE_P(Locks, LockTest, testing::Values(CriticalSectionCase(), AudioLockCase()),
                         [](const testing::TestParamInfo<LockCase>& param) {
                           return std::string(param.param.name);
                         });

TEST(AudioLockTest, OtherIdsAreRefusedWithoutTouchingTheLock) {
  ASSERT_EQ(ZuvMacEnterLock(kZuvAudioLockId), kZuvSuccess);

  // Had one of these ids reached the lock held above, entering would block.
  std::vector<ZuvResult> results;
  Worker other([&] {
    for (int id : {0, 1, 255, 257, -256}) {
      results.push_back(ZuvMacEnterLock(id));
      results.push_back(ZuvMacLeaveLock(id));
    }
  });
  ASSERT_TRUE(other.Finished());
  for (ZuvResult result : results) EXPECT_EQ(result, kZuvErrNotSupported);

  // Nor does the holder release the lock by leaving another id.
  EXPECT_EQ(ZuvMacLeaveLock(0), kZuvErrNotSupported);
  std::atomic<bool> entered{false};
  Worker contender([&] {
    ZuvMacEnterLock(kZuvAudioLockId);
    entered = true;
    ZuvMacLeaveLock(kZuvAudioLockId);
  });
  ZuvSleep(kSettleMs);
  EXPECT_FALSE(entered);
  EXPECT_EQ(ZuvMacLeaveLock(kZuvAudioLockId), kZuvSuccess);
  ASSERT_TRUE(contender.Finished());
  EXPECT_TRUE(entered);
}

}  // namespace
