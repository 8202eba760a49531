// Threads and locks offered to the application: a detached worker thread running an object, sleep
// and yield, a self-resetting event, a re-entrant critical section, and the one process-wide lock
// reached by id through ZuvMacEnterLock/ZuvMacLeaveLock. The library itself starts no thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "zuv/export.h"
#include "zuv/transfer/result.h"

/// Platform status of a thread or lock call: 0 is success.
typedef int32_t ZuvThreadStatus;

/// Status of a timed wait that ran out.
inline constexpr ZuvThreadStatus kZuvThreadStatusTimeout = -29296;

/// Id of the one process-wide lock known to ZuvMacEnterLock/ZuvMacLeaveLock.
inline constexpr int kZuvAudioLockId = 256;

/// The body of a worker thread. The caller owns the object and keeps it alive until Run() returns;
/// the library never deletes it.
class ZUV_EXPORT IZuvRunnableThread {
 public:
  /// The thread's work, called once on the new thread.
  virtual void Run() = 0;
  virtual ~IZuvRunnableThread();
};

/// Starts a detached thread that calls runnable->Run(). Returns 0 when the thread started, else the
/// system's error number (EAGAIN, ENOMEM). The thread cannot be joined: Run() signals its own
/// completion (for example with a CZuvEvent).
ZUV_EXPORT ZuvThreadStatus ZuvBeginThread(IZuvRunnableThread* runnable);

/// Entry of the threads started by ZuvBeginThread: runs the IZuvRunnableThread at `runnable`.
/// Returns 0.
ZUV_EXPORT ZuvThreadStatus ZuvThreadProc(void* runnable);

/// Blocks for `milliseconds`; 0 (or a negative value) only yields the processor. Returns 0.
ZUV_EXPORT ZuvThreadStatus ZuvSleep(int milliseconds);

/// Yields the processor. Returns 0.
ZUV_EXPORT ZuvThreadStatus ZuvSwitchThread();

/// An event that resets itself: Set() raises its flags, and a wait that sees them consumes them,
/// so one Set() releases one waiter, a Set() before the wait is not lost, and several Set() calls
/// before a wait count as one.
class ZUV_EXPORT CZuvEvent {
 public:
  CZuvEvent();
  ~CZuvEvent();
  CZuvEvent(const CZuvEvent&) = delete;
  CZuvEvent& operator=(const CZuvEvent&) = delete;

  /// Raises the flags (0x01010101). Returns 0.
  ZuvThreadStatus Set();
  /// Waits without limit for the flags and consumes them. Returns 0.
  ZuvThreadStatus Wait();
  /// Waits at most `milliseconds` for the flags and consumes them. False only on a timeout.
  bool WaitTime(unsigned int milliseconds);

 private:
  ZuvThreadStatus WaitUntil(const std::chrono::steady_clock::time_point* deadline);

  std::mutex m_mutex;
  std::condition_variable m_condition;
  uint32_t m_flags = 0;
};

/// A re-entrant lock: the thread that holds it may enter again, and each Enter() needs its Leave().
class ZUV_EXPORT CZuvCriticalSection {
 public:
  CZuvCriticalSection();
  ~CZuvCriticalSection();
  CZuvCriticalSection(const CZuvCriticalSection&) = delete;
  CZuvCriticalSection& operator=(const CZuvCriticalSection&) = delete;

  /// Enters the region, waiting as long as it takes. Returns 0.
  ZuvThreadStatus Enter() const;
  /// Leaves the region entered by this thread. Returns 0.
  ZuvThreadStatus Leave() const;

 private:
  mutable std::recursive_mutex m_mutex;
};

/// Enters the process-wide lock `lockId` (only kZuvAudioLockId exists), waiting as long as it
/// takes. Returns kZuvSuccess, or kZuvErrNotSupported for any other id, which locks nothing.
ZUV_EXPORT ZuvResult ZuvMacEnterLock(int lockId);
/// Leaves the process-wide lock `lockId`. Returns kZuvSuccess, or kZuvErrNotSupported.
ZUV_EXPORT ZuvResult ZuvMacLeaveLock(int lockId);
