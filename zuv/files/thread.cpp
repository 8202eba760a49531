#include "zuv/files/thread.h"

#include <cerrno>
#include <new>
#include <system_error>
#include <thread>

namespace {

constexpr uint32_t kEventFlags = 0x01010101;

// The process-wide lock behind ZuvMacEnterLock/ZuvMacLeaveLock, alive from load to exit.
CZuvCriticalSection g_QtAudioLock;

}  // namespace

IZuvRunnableThread::~IZuvRunnableThread() = default;

ZuvThreadStatus ZuvBeginThread(IZuvRunnableThread* runnable) {
  try {
    std::thread(ZuvThreadProc, runnable).detach();
  } catch (const std::system_error& error) {
    return error.code().value();
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
  return 0;
}

ZuvThreadStatus ZuvThreadProc(void* runnable) {
  static_cast<IZuvRunnableThread*>(runnable)->Run();
  return 0;
}

ZuvThreadStatus ZuvSleep(int milliseconds) {
  if (milliseconds <= 0) return ZuvSwitchThread();
  std::this_thread::sleep_until(std::chrono::steady_clock::now() +
                                std::chrono::milliseconds(milliseconds));
  return 0;
}

ZuvThreadStatus ZuvSwitchThread() {
  std::this_thread::yield();
  return 0;
}

CZuvEvent::CZuvEvent() = default;
CZuvEvent::~CZuvEvent() = default;

ZuvThreadStatus CZuvEvent::Set() {
  // Notified under the lock: a waiter that returns may destroy the event at once.
  std::lock_guard<std::mutex> lock(m_mutex);
  m_flags = kEventFlags;
  m_condition.notify_one();
  return 0;
}

ZuvThreadStatus CZuvEvent::Wait() { return WaitUntil(nullptr); }

bool CZuvEvent::WaitTime(unsigned int milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  return WaitUntil(&deadline) != kZuvThreadStatusTimeout;
}

// A null deadline waits forever. The flags are consumed, so one Set() releases one waiter.
ZuvThreadStatus CZuvEvent::WaitUntil(const std::chrono::steady_clock::time_point* deadline) {
  std::unique_lock<std::mutex> lock(m_mutex);
  const auto raised = [this] { return m_flags != 0; };
  if (deadline == nullptr) {
    m_condition.wait(lock, raised);
  } else if (!m_condition.wait_until(lock, *deadline, raised)) {
    return kZuvThreadStatusTimeout;
  }
  m_flags = 0;
  return 0;
}

CZuvCriticalSection::CZuvCriticalSection() = default;
CZuvCriticalSection::~CZuvCriticalSection() = default;

ZuvThreadStatus CZuvCriticalSection::Enter() const {
  m_mutex.lock();
  return 0;
}

ZuvThreadStatus CZuvCriticalSection::Leave() const {
  m_mutex.unlock();
  return 0;
}

ZuvResult ZuvMacEnterLock(int lockId) {
  if (lockId != kZuvAudioLockId) return kZuvErrNotSupported;
  g_QtAudioLock.Enter();
  return kZuvSuccess;
}

ZuvResult ZuvMacLeaveLock(int lockId) {
  if (lockId != kZuvAudioLockId) return kZuvErrNotSupported;
  g_QtAudioLock.Leave();
  return kZuvSuccess;
}
