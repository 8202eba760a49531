#include "zuv/platform/linux/copy_pool.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace zuv::platform {
namespace {

// Queued jobs per thread before Run blocks: enough to keep every thread busy with small files.
// With the cap on threads, the descriptors held by jobs stay a few hundred at most.
constexpr size_t kQueuedPerThread = 4;
constexpr unsigned kMostThreads = 32;

}  // namespace

CopyPool::CopyPool(unsigned threads) : m_threads(threads) {}

CopyPool::~CopyPool() {
  Wait();
  {
    const std::lock_guard<std::mutex> hold(m_lock);
    m_ending = true;
  }
  m_work.notify_all();
  for (std::thread& worker : m_workers) worker.join();
}

unsigned CopyPool::ThreadsForCopy() {
  if (const char* text = std::getenv("ZUV_COPY_THREADS")) {
    char* end = nullptr;
    errno = 0;
    const unsigned long threads = std::strtoul(text, &end, 10);
    if (errno == 0 && end != text && *end == '\0' && threads > 0) {
      return static_cast<unsigned>(std::min<unsigned long>(threads, kMostThreads));
    }
  }
  return std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads);
}

void CopyPool::Run(std::function<void()> job) {
  if (m_threads <= 1) {
    job();
    return;
  }
  std::unique_lock<std::mutex> hold(m_lock);
  if (m_workers.empty()) {
    for (unsigned i = 0; i < m_threads; ++i) m_workers.emplace_back([this] { Serve(); });
  }
  m_room.wait(hold, [this] { return m_queue.size() < kQueuedPerThread * m_threads; });
  m_queue.push_back(std::move(job));
  hold.unlock();
  m_work.notify_one();
}

void CopyPool::Wait() {
  std::unique_lock<std::mutex> hold(m_lock);
  m_room.wait(hold, [this] { return m_queue.empty() && m_running == 0; });
}

void CopyPool::Serve() {
  std::unique_lock<std::mutex> hold(m_lock);
  for (;;) {
    m_work.wait(hold, [this] { return m_ending || !m_queue.empty(); });
    if (m_queue.empty()) return;
    std::function<void()> job = std::move(m_queue.front());
    m_queue.pop_front();
    ++m_running;
    hold.unlock();
    m_room.notify_all();
    job();
    job = nullptr;
    hold.lock();
    --m_running;
    m_room.notify_all();
  }
}

}  // namespace zuv::platform
