#include "zuv/files/thread.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr unsigned int kHangMs = 10000;  // only a hang reaches it
constexpr int kSettleMs = 50;            // for a thread to block, so that a wrong release shows

// A thread of ZuvBeginThread awaited with a limit, so that a deadlock fails instead of hanging.
struct Worker : IZuvRunnableThread {
  explicit Worker(std::function<void()> f) : body(std::move(f)) {}
  void Run() override {
    const std::shared_ptr<Worker> keep = std::move(self);
    EXPECT_NE(starter, std::this_thread::get_id());
    body();
    done.Set();
  }
  bool Finished() { return done.WaitTime(kHangMs); }
  std::function<void()> body;
  std::shared_ptr<Worker> self;
  CZuvEvent done;
  std::thread::id starter = std::this_thread::get_id();
};

std::shared_ptr<Worker> Start(std::function<void()> body) {
  auto worker = std::make_shared<Worker>(std::move(body));
  worker->self = worker;
  EXPECT_EQ(0, ZuvBeginThread(worker.get()));
  return worker;
}

// A wait consumes the flags of every set before it, and one set releases one of two waiters.
TEST(EventTest, OneSetReleasesOneWait) {
  CZuvEvent event, released;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(event.WaitTime(20));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
  event.Set();
  event.Set();
  EXPECT_EQ(0, event.Wait());
  EXPECT_FALSE(event.WaitTime(0));
  std::atomic<int> releasedCount{0};
  const auto waiter = [&] {
    event.Wait();
    ++releasedCount;
    released.Set();
  };
  const auto first = Start(waiter), second = Start(waiter);
  ZuvSleep(kSettleMs);  // most often both are blocked by now; the outcome must not depend on it
  event.Set();
  ASSERT_TRUE(released.WaitTime(kHangMs));
  ZuvSleep(kSettleMs);
  EXPECT_EQ(1, releasedCount);
  event.Set();
  ASSERT_TRUE(first->Finished() && second->Finished());
  EXPECT_EQ(2, releasedCount);
}

// Other ids are refused without touching the audio lock: else the contender would block on it.
TEST(LockTest, LocksAreReentrantAndExclusive) {
  const auto section = std::make_shared<CZuvCriticalSection>();
  const std::pair<std::function<void()>, std::function<void()>> locks[] = {
      {[section] { EXPECT_EQ(0, section->Enter()); },
       [section] { EXPECT_EQ(0, section->Leave()); }},
      {[] { EXPECT_EQ(kZuvSuccess, ZuvMacEnterLock(kZuvAudioLockId)); },
       [] { EXPECT_EQ(kZuvSuccess, ZuvMacLeaveLock(kZuvAudioLockId)); }}};
  for (const auto& [enter, leave] : locks) {
    enter();
    enter();
    EXPECT_EQ(kZuvErrNotSupported, ZuvMacLeaveLock(0));
    std::atomic<int> refused{0};
    std::atomic<bool> entered{false};
    const auto contender = Start([&] {
      for (int id : {0, 255, 257, -256}) {
        refused += ZuvMacEnterLock(id) == kZuvErrNotSupported;
        refused += ZuvMacLeaveLock(id) == kZuvErrNotSupported;
      }
      enter();
      entered = true;
      leave();
    });
    ZuvSleep(kSettleMs);
    leave();
    ZuvSleep(kSettleMs);
    EXPECT_FALSE(entered);
    leave();
    ASSERT_TRUE(contender->Finished());
    EXPECT_TRUE(entered);
    ASSERT_EQ(8, refused);  // else the audio lock may be held by a thread that has ended
  }
}

}  // namespace
