#include "zuv/files/thread.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
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

TEST(ThreadTest, BeginThreadRunsTheObjectOnAnotherThread) {
  struct Runnable : IZuvRunnableThread {
    void Run() override {
      runner = std::this_thread::get_id();
      done.Set();
    }
    std::thread::id runner;
    CZuvEvent done;
  } runnable;
  ASSERT_EQ(0, ZuvBeginThread(&runnable));
  ASSERT_TRUE(runnable.done.WaitTime(kHangMs));
  EXPECT_NE(std::this_thread::get_id(), runnable.runner);
}

TEST(EventTest, AWaitConsumesTheFlagsOfEverySetBeforeIt) {
  CZuvEvent event;
  const auto start = steady_clock::now();
  EXPECT_FALSE(event.WaitTime(20));
  EXPECT_EQ(0, ZuvSleep(20));
  EXPECT_GE(steady_clock::now() - start, milliseconds(40));
  EXPECT_EQ(0, event.Set());
  EXPECT_TRUE(event.WaitTime(0));
  EXPECT_FALSE(event.WaitTime(0));
  event.Set();
  event.Set();
  EXPECT_EQ(0, event.Wait());
  EXPECT_FALSE(event.WaitTime(0));
}

TEST(EventTest, OneSetReleasesExactlyOneOfTwoWaiters) {
  CZuvEvent event, released;
  std::atomic<int> releasedCount{0};
  const auto waiter = [&] {
    event.Wait();
    ++releasedCount;
    released.Set();
  };
  Worker first(waiter), second(waiter);
  ZuvSleep(kSettleMs);  // most often both are blocked by now; the outcome must not depend on it
  event.Set();
  ASSERT_TRUE(released.WaitTime(kHangMs));
  ZuvSleep(kSettleMs);
  EXPECT_EQ(1, releasedCount);
  event.Set();
  ASSERT_TRUE(first.Finished());
  ASSERT_TRUE(second.Finished());
  EXPECT_EQ(2, releasedCount);
}

// The two ways to hold a re-entrant lock: an object of one's own, and the process-wide lock by id.
struct Lock {
  const char* name;
  std::function<void()> enter, leave;
};

std::vector<Lock> Locks() {
  const auto section = std::make_shared<CZuvCriticalSection>();
  return {{"CriticalSection", [section] { EXPECT_EQ(0, section->Enter()); },
           [section] { EXPECT_EQ(0, section->Leave()); }},
          {"AudioLock", [] { EXPECT_EQ(kZuvSuccess, ZuvMacEnterLock(kZuvAudioLockId)); },
           [] { EXPECT_EQ(kZuvSuccess, ZuvMacLeaveLock(kZuvAudioLockId)); }}};
}

// The holder may enter again, others wait for its last leave, and threads take turns.
TEST(LockTest, LocksAreReentrantAndExclusive) {
  for (const Lock& lock : Locks()) {
    SCOPED_TRACE(lock.name);
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

    int counter = 0;  // deliberately not atomic: only the lock protects it
    std::vector<Worker> workers;
    for (int i = 0; i < 4; ++i) {
      workers.emplace_back([&] {
        for (int round = 0; round < 10000; ++round) {
          lock.enter();
          lock.enter();
          ++counter;
          lock.leave();
          lock.leave();
        }
      });
    }
    for (Worker& worker : workers) ASSERT_TRUE(worker.Finished());
    EXPECT_EQ(4 * 10000, counter);
  }
}

// Had another id reached the audio lock held here, entering it from another thread would block;
// nor does leaving another id release it.
TEST(LockTest, OtherIdsAreRefusedWithoutTouchingTheAudioLock) {
  ASSERT_EQ(kZuvSuccess, ZuvMacEnterLock(kZuvAudioLockId));
  EXPECT_EQ(kZuvErrNotSupported, ZuvMacLeaveLock(0));
  std::vector<ZuvResult> results;
  CZuvEvent refused;
  std::atomic<bool> entered{false};
  Worker other([&] {
    for (int id : {0, 1, 255, 257, -256}) {
      results.push_back(ZuvMacEnterLock(id));
      results.push_back(ZuvMacLeaveLock(id));
    }
    refused.Set();
    ZuvMacEnterLock(kZuvAudioLockId);
    entered = true;
    ZuvMacLeaveLock(kZuvAudioLockId);
  });
  ASSERT_TRUE(refused.WaitTime(kHangMs));
  EXPECT_EQ(std::vector<ZuvResult>(10, kZuvErrNotSupported), results);
  ZuvSleep(kSettleMs);
  EXPECT_FALSE(entered);
  EXPECT_EQ(kZuvSuccess, ZuvMacLeaveLock(kZuvAudioLockId));
  ASSERT_TRUE(other.Finished());
  EXPECT_TRUE(entered);
}

}  // namespace
